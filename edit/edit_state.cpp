#include "edit/edit_state.h"

#include <algorithm>
#include <cmath>

#include "edit/fades.h"

namespace velkantrix {
namespace {

EditState theEditState;
EditHost theEditHost;

// Not std::clamp: the fades of a damaged clip may be no numbers, and must come out as 0.
double within(double value, double high) {
    if (!(value > 0) || !(high > 0)) return 0;
    return value > high ? high : value;
}

} // namespace

EditState& editState() {
    return theEditState;
}

EditHost& editHost() {
    return theEditHost;
}

void emptyEdit() {
    EditState& state = editState();
    state.videoLoaded = false;
    state.clips.clear();
    state.selectedClip = -1;
    state.playhead = 0;
    state.duration = 0;
    state.undoStack.clear();
    state.redoStack.clear();
    state.edited = false;
    state.exportedExposure = 0;
    endGesture();
}

void startEdit(double duration) {
    emptyEdit();
    EditState& state = editState();
    state.duration = std::isfinite(duration) && duration > 0 ? duration : 0;
    state.clips = {Segment{.start = 0, .end = state.duration}};
    state.selectedClip = 0;
    state.videoLoaded = true;
}

bool hasEdits() {
    const EditState& state = editState();
    return state.videoLoaded && hasEdits(state.clips, state.duration);
}

bool hasEdits(const ClipList& clips, double duration) {
    if (clips.size() != 1) return true;
    const Segment& clip = clips.front();
    return !(clip.start < 0.001 && std::abs(clip.end - duration) < 0.05);
}

void endGesture() {
    editState().rollCutIndex = -1;
    editState().gestureRecorded = false;
}

double frameDuration() {
    const double rate = editHost().frameRate ? editHost().frameRate() : 0;
    return std::isfinite(rate) && rate > 1 ? 1 / rate : 1.0 / 30;
}

void seekTo(double seconds) {
    EditState& state = editState();
    const EditHost& host = editHost();
    if (!host.engineExists || !host.engineExists() || !state.videoLoaded) return;
    if (std::isnan(seconds)) return;
    const double target = std::clamp(seconds, 0.0, state.duration);
    if (host.seekEngine) host.seekEngine(target);
    state.playhead = target;
    applyFadePreview();
    repaint();
}

void normalizeFades() {
    normalizeFades(editState().clips);
}

void normalizeFades(ClipList& clips) {
    for (Segment& clip : clips) {
        const double length = clipLength(clip);
        clip.fadeIn = within(clip.fadeIn, length);
        clip.fadeOut = within(clip.fadeOut, length - clip.fadeIn);
        if (clip.fadeIn < MIN_FADE) clip.fadeIn = 0;
        if (clip.fadeOut < MIN_FADE) clip.fadeOut = 0;
    }
}

void repaint() {
    if (editHost().repaint) editHost().repaint();
}

void refreshUi() {
    if (editHost().refreshUi) editHost().refreshUi();
}

} // namespace velkantrix
