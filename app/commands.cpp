#include "app/commands.h"

#include <windows.h>

#include <algorithm>

#include "app/command_table.h"
#include "app/placing.h"
#include "app/ui_state.h"
#include "edit/edit_state.h"
#include "edit/fades.h"
#include "edit/history.h"
#include "edit/open_flow.h"
#include "edit/operations.h"
#include "edit/roll_cut.h"
#include "edit/timeline_map.h"

namespace velkantrix {
namespace {

constexpr double VOLUME_STEP = 0.05;

PlaybackController* playback() {
    return ui().playback.get();
}

bool isPlaying() {
    return playback() && playback()->state() == PlaybackState::Playing;
}

void togglePlaying() {
    if (!playback()) return;
    if (isPlaying())
        playback()->pause();
    else
        playFromHere();
}

void skip(double seconds) {
    seekToEdited(currentEditedTime() + seconds);
}

bool isCutSelected() {
    return editState().rollCutIndex >= 0;
}

void skipOrMoveCut(double seconds) {
    if (isCutSelected())
        rollNudge(seconds);
    else
        skip(seconds);
}

// One frame of kept time, from a picture that stands still.
void stepFrame(int frames) {
    if (isCutSelected()) return rollNudge(frames * frameDuration());
    if (playback()) playback()->pause();
    skip(frames * frameDuration());
}

void changeVolume(double step) {
    ui().volume = std::clamp(ui().volume + step, 0.0, 1.0);
    applyVolume();
}

void toggleMute() {
    ui().muted = !ui().muted;
    applyVolume();
}

void louder() {
    ui().muted = false;
    changeVolume(VOLUME_STEP);
}

// What is muted stays muted.
void softer() {
    changeVolume(-VOLUME_STEP);
}

void escape() {
    if (isCutSelected())
        cancelGesture();
    else if (ui().fullscreen)
        toggleFullscreen();
}

void videoClicked(std::uint16_t notification) {
    if (notification != STN_CLICKED && notification != STN_DBLCLK) return;
    togglePlaying();
    // The first click of the two has toggled it already: now it plays, or doesn't, as before.
    if (notification == STN_DBLCLK) toggleFullscreen();
}

void toggleZoom() {
    ui().doubled = !ui().doubled;
    sizeWindowToVideo();
    InvalidateRect(ui().transport, nullptr, FALSE);
}

struct CommandHandler {
    std::uint16_t command;
    void (*run)();
};

// What isn't here is still to come, or comes from a control of its own.
constexpr CommandHandler HANDLERS[] = {
    {COMMAND_OPEN, openVideoCommand},
    {COMMAND_PLAY_PAUSE, togglePlaying},
    {COMMAND_SPLIT, splitAtPlayhead},
    {COMMAND_REMOVE, removeSelectedClip},
    {COMMAND_UNDO, undo},
    {COMMAND_EXIT,
     [] {
         SendMessageW(ui().window, WM_CLOSE, 0, 0);
     }},
    {COMMAND_BACK,
     [] {
         skipOrMoveCut(-KEY_NUDGE);
     }},
    {COMMAND_FORWARD,
     [] {
         skipOrMoveCut(KEY_NUDGE);
     }},
    {COMMAND_REDO, redo},
    {COMMAND_NEXT_FRAME,
     [] {
         stepFrame(1);
     }},
    {COMMAND_PREVIOUS_FRAME,
     [] {
         stepFrame(-1);
     }},
    {COMMAND_START,
     [] {
         seekToEdited(0);
     }},
    {COMMAND_END,
     [] {
         seekToEdited(editedDuration());
     }},
    {COMMAND_ESCAPE, escape},
    {COMMAND_FULLSCREEN, toggleFullscreen},
    {COMMAND_MUTE, toggleMute},
    {COMMAND_LOUDER, louder},
    {COMMAND_SOFTER, softer},
    {COMMAND_FADE_IN,
     [] {
         toggleFadeOfSelectedClip(false);
     }},
    {COMMAND_FADE_OUT,
     [] {
         toggleFadeOfSelectedClip(true);
     }},
    {COMMAND_ZOOM, toggleZoom},
};

} // namespace

void applyVolume() {
    if (!playback()) return;
    playback()->setVolume(ui().volume);
    playback()->setMuted(ui().muted);
}

void playFromHere() {
    if (!playback() || !editState().videoLoaded) return;
    if (isAtTheEnd(editState().clips, editState().playhead)) seekToEdited(0);
    playback()->play();
}

void runCommand(std::uint16_t command, std::uint16_t notification) {
    const EditState& edit = editState();
    if (!mayRun(command, {.videoLoaded = edit.videoLoaded, .exportBusy = edit.exportBusy})) return;
    if (command == COMMAND_VIDEO) return videoClicked(notification);
    for (const CommandHandler& handler : HANDLERS) {
        if (handler.command == command) return handler.run();
    }
}

} // namespace velkantrix
