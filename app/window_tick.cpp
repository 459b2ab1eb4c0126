#include "app/window_tick.h"

#include <optional>
#include <utility>

#include "app/commands.h"
#include "app/timeline_paint.h"
#include "app/transport_bar.h"
#include "app/ui_state.h"
#include "edit/edit_state.h"
#include "edit/fades.h"
#include "edit/open_flow.h"
#include "export/export_job_core.h"
#include "playback/audio_peaks.h"
#include "playback/resource_stats.h"

namespace velkantrix {
namespace {

void tickTransport() {
    UiState& state = ui();
    POINT cursor = {};
    if (!state.fullscreen || !editState().videoLoaded || !GetCursorPos(&cursor)) return;
    switch (hideOrShowTransport(state.transportHiding, {cursor.x, cursor.y}, GetTickCount64(),
                                IsWindowVisible(state.transport), state.volumeDragged)) {
    case TransportChange::Show:
        ShowWindow(state.transport, SW_SHOWNA);
        break;
    case TransportChange::Hide:
        ShowWindow(state.transport, SW_HIDE);
        break;
    case TransportChange::None:
        break;
    }
}

void tickPeaks() {
    if (notePeaks(ui().tickMemory, peaksVersion())) repaintTimeline();
}

void tickReveal(bool playing) {
    UiState& state = ui();
    if (state.firstFrameShown) return;
    // Where it goes on at a stored place, the video's first picture isn't the one to be shown.
    const bool presented = playback()->enginePresented() && !playback()->isSeeking();
    if (!isTimeToReveal({.presented = presented,
                         .playing = playing,
                         .sinceOpen = GetTickCount64() - state.openTick,
                         .time = editState().playhead,
                         .resumedAt = openState().resumedAt})) {
        repaint(); // the dots of the loading card
        return;
    }
    state.firstFrameShown = true;
    ShowWindow(state.video, SW_SHOWNA);
    playback()->requestRedraw();
    // The same file, opened again for another device, has its peaks already, or is getting them.
    if (!audioPeaksStarted()) startAudioPeaks(openState().path, editState().duration);
    repaint();
}

void tickPlayOn(bool playing) {
    EditState& edit = editState();
    if (playback()->isSeeking()) return;
    const PlayOn step = playOn(edit.clips, edit.playhead);
    const std::int32_t before = std::exchange(ui().tickMemory.playedClip, step.clip);
    if (!playing) return;
    edit.selectedClip = followedSelection(edit.selectedClip, before, step.clip);
    if (step.step == PlayOn::Step::Pause) playback()->pause();
    const double jumpedBefore = std::exchange(ui().tickMemory.jumpedTo, jumpTarget(step));
    // An engine that says the time of the frame that it landed on may be a little before the place.
    if (step.step == PlayOn::Step::Jump && step.time != jumpedBefore) jumpTo(step);
}

void tickTime() {
    const EditState& edit = editState();
    // The old time stays until the engine has the file again.
    if (openState().phase == OpenPhase::Reopening) {
        repaintTransport(); // whether it will play can change at any time
        return repaint();
    }
    takeEngineTime();
    const bool loaded = edit.videoLoaded && playback();
    const bool playing = loaded && playback()->state() == PlaybackState::Playing;
    if (loaded) {
        tickReveal(playing);
        tickPlayOn(playing);
    }
    // One that only waits for its seek counts as well: it may be paused before it has begun.
    const bool plays = loaded && isOrWillBePlaying();
    const std::optional<UINT> period =
        newTickPeriod({.jobRuns = edit.exportBusy,
                       .awaitsPicture = loaded && !ui().firstFrameShown,
                       .playing = plays},
                      ui().tickPeriod);
    if (period) setTickPeriod(*period);
    const TickChange change = noteTime(ui().tickMemory, edit.playhead, plays);
    if (!change.anything) return;
    if (change.playingChanged) repaintTransport();
    applyFadePreview();
    repaintTimeline();
}

} // namespace

void setTickPeriod(UINT milliseconds) {
    ui().tickPeriod = milliseconds;
    SetTimer(ui().window, TICK_TIMER, milliseconds, nullptr);
}

void hurryTick() {
    if (!editState().exportBusy) setTickPeriod(PLAYING_TICK);
}

void onTimer(UINT_PTR timer) {
    if (timer == TICK_TIMER) {
        tickTransport();
        tickPeaks();
        refreshExportProgress();
        tickTime();
    } else if (timer == DIAGNOSTICS_TIMER) {
        sampleResourceStats(ui().stats);
        repaintDiagnostics();
    }
}

void beginReveal() {
    ui().openTick = GetTickCount64();
    ui().tickMemory = {};
    hurryTick();
}

} // namespace velkantrix
