#include "edit/roll_cut.h"

#include <algorithm>
#include <cmath>

#include "base/time_text.h"
#include "edit/edge_limits.h"
#include "edit/edit_state.h"
#include "edit/history.h"

namespace velkantrix {
namespace {

double cutTime(std::int32_t i) {
    return editState().clips[static_cast<std::size_t>(i)].end;
}

std::wstring cutNumber(std::int32_t i) {
    return L"Cut " + std::to_wstring(std::int64_t{i} + 1) + L"–" +
           std::to_wstring(std::int64_t{i} + 2);
}

std::wstring cutStatus(std::int32_t i) {
    return cutNumber(i) + L"  " + formatTime(cutTime(i)) + NUDGE_HINT;
}

} // namespace

std::optional<double> rolledCut(const ClipList& clips, double duration, std::int32_t i, double t) {
    if (!isCut(clips, i) || std::isnan(t)) return std::nullopt;
    const Segment& left = clips[static_cast<std::size_t>(i)];
    const Segment& right = clips[static_cast<std::size_t>(i) + 1];
    const double gap = right.start - left.end;
    const double low = std::max(-gap, left.start + MIN_CLIP_LENGTH);
    const double high = std::min(right.end - MIN_CLIP_LENGTH - gap, duration);
    const double cut = keptWithin(t, low, high);
    // Two clips that are too short to share: the upper bound keeps the right one's minimum, and the
    // left one, which can't have its own, must not pay for it. It may still grow.
    if (cut < left.start + MIN_CLIP_LENGTH && cut < left.end) return std::nullopt;
    return cut;
}

void rollCut(std::int32_t i, double t) {
    EditState& state = editState();
    if (state.exportBusy) return;
    const std::optional<double> cut = rolledCut(state.clips, state.duration, i, t);
    if (!cut || isSameTime(*cut, cutTime(i))) return;

    if (!state.gestureRecorded) {
        pushHistory(L"roll cut");
        state.gestureRecorded = true;
    }
    Segment& left = state.clips[static_cast<std::size_t>(i)];
    Segment& right = state.clips[static_cast<std::size_t>(i) + 1];
    const double gap = right.start - left.end;
    left.end = *cut;
    right.start = *cut + gap;
    normalizeFades();
    state.selectedClip = i;
    state.statusText = cutStatus(i);
    repaint();
}

void rollNudge(double delta) {
    const EditState& state = editState();
    if (state.exportBusy || !isCut(state.clips, state.rollCutIndex) || std::isnan(delta)) return;
    rollCut(state.rollCutIndex, cutTime(state.rollCutIndex) + delta);
    seekTo(cutTime(state.rollCutIndex));
}

void beginCutDrag(std::int32_t i) {
    EditState& state = editState();
    if (state.exportBusy || !isCut(state.clips, i)) return;
    state.rollCutIndex = i;
    state.gestureRecorded = false;
    state.selectedClip = i;
    const EditHost& host = editHost();
    if (host.isPlaying && host.isPlaying() && host.pause) host.pause();
    if (!isCut(state.clips, i)) return; // the video was closed while it paused
    seekTo(cutTime(i));
    state.statusText = cutNumber(i) + L" — drag to move" + NUDGE_HINT;
    repaint();
}

void dragCut(double t) {
    rollCut(editState().rollCutIndex, t);
}

void endCutDrag() {
    EditState& state = editState();
    if (state.exportBusy || !isCut(state.clips, state.rollCutIndex)) return;
    state.statusText = cutStatus(state.rollCutIndex);
    repaint();
}

void cancelGesture() {
    EditState& state = editState();
    if (state.rollCutIndex < 0) return;
    endGesture();
    if (!state.exportBusy) state.statusText = L"Ready"; // a job tells its progress there
    repaint();
}

} // namespace velkantrix
