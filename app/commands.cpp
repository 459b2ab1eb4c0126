#include "app/commands.h"

#include <windows.h>

#include <algorithm>

#include "app/about.h"
#include "app/command_table.h"
#include "app/exposure_commands.h"
#include "app/placing.h"
#include "app/settings.h"
#include "app/timeline_mouse.h"
#include "app/transport_bar.h"
#include "app/ui_state.h"
#include "app/window_tick.h"
#include "edit/edit_state.h"
#include "edit/fades.h"
#include "edit/history.h"
#include "edit/open_flow.h"
#include "edit/operations.h"
#include "edit/rename.h"
#include "edit/roll_cut.h"
#include "edit/timeline_map.h"
#include "export/export_job_core.h"
#include "export/save_in_place.h"

namespace velkantrix {
namespace {

void togglePlaying() {
    if (!playback()) return;
    if (isDragging()) endTimelineGesture();
    if (isOrWillBePlaying())
        pausePlaying();
    else if (openState().phase == OpenPhase::Reopening)
        openState().playAfterReopen = true;
    else
        playFromHere();
}

// Where one clip ends and the next begins at one edited time, the next one's picture is meant: the
// other is the first of those that were removed.
void skip(double seconds) {
    const ClipList& clips = editState().clips;
    const double target = currentEditedTime() + seconds;
    const std::int32_t next = clipBehindGapAt(clips, target, frameDuration() / 2);
    if (next < 0) return seekToEdited(target);
    editState().selectedClip = next;
    seekTo(clips[static_cast<std::size_t>(next)].start);
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
    pausePlaying();
    takeEngineTime();
    skip(frames * frameDuration());
}

void changeVolume(Volume (*change)(Volume)) {
    ui().volume = change(ui().volume);
    applyVolume();
}

void escape() {
    if (isScrubbing() || isDragging())
        endTimelineGesture();
    else if (isCutSelected())
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

// A drag would go on with other clips, and the name under way be given to another one.
void edit(void (*operation)()) {
    commitRename(true);
    endTimelineGesture();
    operation();
}

void toggleZoom() {
    ui().doubled = !ui().doubled;
    sizeWindowToVideo();
    repaintTransport();
}

void renameFieldSays(std::uint16_t notification) {
    if (notification == EN_KILLFOCUS) commitRename(true);
}

struct CommandHandler {
    std::uint16_t command;
    void (*run)();
};

// What isn't here comes from a control of its own.
constexpr CommandHandler HANDLERS[] = {
    {COMMAND_OPEN, openVideoCommand},
    {COMMAND_PLAY_PAUSE, togglePlaying},
    {COMMAND_SPLIT,
     [] {
         edit(splitAtPlayhead);
     }},
    {COMMAND_REMOVE,
     [] {
         edit(removeSelectedClip);
     }},
    {COMMAND_UNDO,
     [] {
         edit(undo);
     }},
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
    {COMMAND_REDO,
     [] {
         edit(redo);
     }},
    {COMMAND_RENAME,
     [] {
         endTimelineGesture();
         beginRename();
     }},
    {COMMAND_EXPORT, exportAsCommand},
    {COMMAND_SHOW_EXPORT, showLastExport},
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
    {COMMAND_FULLSCREEN,
     [] {
         endTimelineGesture(); // the timeline goes
         toggleFullscreen();
     }},
    {COMMAND_MUTE,
     [] {
         changeVolume(toggledMute);
     }},
    {COMMAND_LOUDER,
     [] {
         changeVolume(louder);
     }},
    {COMMAND_SOFTER,
     [] {
         changeVolume(softer);
     }},
    {COMMAND_FADE_IN,
     [] {
         toggleFadeOfSelectedClip(false);
     }},
    {COMMAND_FADE_OUT,
     [] {
         toggleFadeOfSelectedClip(true);
     }},
    {COMMAND_AUTO_EXPOSURE, exposureAuto},
    {COMMAND_BRIGHTER, exposureBrighter},
    {COMMAND_DARKER, exposureDarker},
    {COMMAND_RESET_EXPOSURE, exposureReset},
    {COMMAND_TOGGLE_EXPOSURE, exposureResetOrAuto},
    {COMMAND_ZOOM, toggleZoom},
    {COMMAND_SAVE, saveCommand},
    {COMMAND_OPTIMISE, optimiseCommand},
    {COMMAND_ABOUT,
     [] {
         showAbout(ui().window);
     }},
    {COMMAND_CLEAR_RECENT, clearRecent},
};

// Menus of several commands with one meaning each.
bool runOneOfMany(std::uint16_t command) {
    if (command >= COMMAND_FIRST_RECENT && command < COMMAND_FIRST_RECENT + MAX_RECENT_FILES) {
        openRecent(static_cast<std::size_t>(command - COMMAND_FIRST_RECENT));
        return true;
    }
    if (command >= COMMAND_FIRST_LAYOUT && command < COMMAND_FIRST_LAYOUT + LAYOUT_COUNT) {
        exportJob().exportLayout = command - COMMAND_FIRST_LAYOUT;
        return true;
    }
    if (command >= COMMAND_FIRST_QUALITY && command < COMMAND_FIRST_QUALITY + QUALITY_COUNT) {
        exportJob().exportQuality = command - COMMAND_FIRST_QUALITY;
        return true;
    }
    return false;
}

} // namespace

MenuExtras menuExtras() {
    const ExportJobState& job = exportJob();
    return {.lastExportPath = job.lastExportPath,
            .exposure = ui().exposure,
            .exportLayout = job.exportLayout,
            .exportQuality = job.exportQuality,
            .recents = ui().recentFiles};
}

void applyVolume() {
    repaintTransport();
    if (!playback()) return;
    playback()->setVolume(ui().volume.level);
    playback()->setMuted(ui().volume.muted);
}

void takeEngineTime() {
    EditState& edit = editState();
    // An engine that opens, again too, or that failed is nowhere.
    if (!playback() || !edit.videoLoaded || openState().phase != OpenPhase::None || isScrubbing() ||
        isDragging())
        return;
    const PlaybackState state = playback()->state();
    if (state != PlaybackState::Paused && state != PlaybackState::Playing) return;
    if (!playback()->isSeeking())
        edit.playhead = std::clamp(playback()->currentTime(), 0.0, edit.duration);
}

bool isOrWillBePlaying() {
    if (openState().phase == OpenPhase::Reopening) return openState().playAfterReopen;
    return playback() && playback()->isOrWillBePlaying();
}

void pausePlaying() {
    openState().playAfterReopen = false;
    if (playback()) playback()->pause();
}

void playFromHere() {
    const EditState& edit = editState();
    if (!playback() || !edit.videoLoaded) return;
    // The device was lost, and opening the file again failed then.
    if (playback()->state() == PlaybackState::Closed) return reopenAfterDeviceLoss(true);
    const PlayOn step = playOn(edit.clips, edit.playhead);
    if (step.step == PlayOn::Step::Pause) seekToEdited(0);
    // Not the beginning of what was removed, until the next tick sees it.
    if (step.step == PlayOn::Step::Jump) jumpTo(step);
    playback()->play();
    // What was removed is to be jumped over in time.
    hurryTick();
}

void jumpTo(const PlayOn& step) {
    editState().selectedClip = step.clip;
    ui().tickMemory.jumpedTo = step.time;
    seekTo(step.time);
}

void runCommand(std::uint16_t command, std::uint16_t notification) {
    const EditState& edit = editState();
    if (!mayRun(command, {.videoLoaded = edit.videoLoaded, .exportBusy = edit.exportBusy})) return;
    takeEngineTime(); // the tick's may be a few pictures old
    if (command == COMMAND_VIDEO) return videoClicked(notification);
    if (command == COMMAND_RENAME_FIELD) return renameFieldSays(notification);
    if (runOneOfMany(command)) return;
    for (const CommandHandler& handler : HANDLERS) {
        if (handler.command == command) return handler.run();
    }
}

} // namespace velkantrix
