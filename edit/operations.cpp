#include "edit/operations.h"

#include <algorithm>
#include <cmath>

#include "base/time_text.h"
#include "edit/edge_limits.h"
#include "edit/edit_state.h"
#include "edit/history.h"

namespace velkantrix {
namespace {

bool mayTrim(std::int32_t i) {
    return !editState().exportBusy && isClip(editState().clips, i);
}

double& edgeOf(std::int32_t i, bool atEnd) {
    Segment& clip = editState().clips[static_cast<std::size_t>(i)];
    return atEnd ? clip.end : clip.start;
}

std::wstring clipNumber(std::int32_t i) {
    return L"Clip " + std::to_wstring(std::int64_t{i} + 1);
}

} // namespace

bool canSplit(const Segment& clip, double t) {
    return clip.start + MIN_SPLIT_MARGIN < t && t < clip.end - MIN_SPLIT_MARGIN;
}

void splitClip(std::int32_t i, double t) {
    EditState& state = editState();
    if (!state.videoLoaded || state.exportBusy || !isClip(state.clips, i)) return;
    const auto left = state.clips.begin() + i;
    if (!canSplit(*left, t)) return;

    endGesture();
    pushHistory(L"split");
    Segment right = *left;
    right.start = t;
    right.fadeIn = 0;
    left->end = t;
    left->fadeOut = 0;
    state.clips.insert(left + 1, std::move(right));
    normalizeFades(); // the fades that stay may be longer than their pieces
    state.selectedClip = i + 1;
    state.statusText = L"Split created";
    refreshUi();
}

void splitAtPlayhead() {
    const EditState& state = editState();
    const auto found = std::ranges::find_if(
        state.clips, [&](const Segment& clip) { return canSplit(clip, state.playhead); });
    if (found == state.clips.end()) return;
    splitClip(static_cast<std::int32_t>(found - state.clips.begin()), state.playhead);
}

void removeSelectedClip() {
    EditState& state = editState();
    if (state.exportBusy || state.clips.size() < 2) return;
    if (!isClip(state.clips, state.selectedClip)) return;

    endGesture();
    pushHistory(L"remove clip");
    const auto removed = state.clips.begin() + state.selectedClip;
    const bool playheadInside = removed->start <= state.playhead && state.playhead <= removed->end;
    state.clips.erase(removed);
    const std::int32_t last = static_cast<std::int32_t>(state.clips.size()) - 1;
    state.selectedClip = std::min(state.selectedClip, last);
    if (playheadInside) seekTo(edgeOf(state.selectedClip, false));
    state.statusText = L"Clip removed — Ctrl+Z to undo";
    refreshUi();
}

std::optional<double> trimmedEdge(const ClipList& clips, double duration, std::int32_t i,
                                  bool atEnd, double t) {
    if (!isClip(clips, i) || std::isnan(t)) return std::nullopt;
    const auto clip = clips.begin() + i;
    if (atEnd) {
        const double next = clip + 1 == clips.end() ? duration : (clip + 1)->start;
        const double edge = keptWithin(t, clip->start + MIN_CLIP_LENGTH, next);
        return edge > clip->start ? std::optional(edge) : std::nullopt;
    }
    const double previous = clip == clips.begin() ? 0 : (clip - 1)->end;
    const double edge = keptWithin(t, previous, clip->end - MIN_CLIP_LENGTH);
    // The upper bound wins, and of a clip that has no room to grow to the minimum it lies in the
    // clip before, or before the source begins. Clips never overlap, so such a start stays.
    return edge >= previous && edge < clip->end ? std::optional(edge) : std::nullopt;
}

void trimClip(std::int32_t i, bool atEnd, double t) {
    EditState& state = editState();
    if (!mayTrim(i)) return;
    const std::optional<double> edge = trimmedEdge(state.clips, state.duration, i, atEnd, t);
    if (!edge || isSameTime(*edge, edgeOf(i, atEnd))) return;

    if (!state.gestureRecorded) {
        pushHistory(L"trim");
        state.gestureRecorded = true;
    }
    edgeOf(i, atEnd) = *edge;
    normalizeFades();
    state.selectedClip = i;
    state.statusText =
        clipNumber(i) + (atEnd ? L" end  " : L" start  ") + formatTime(*edge) + NUDGE_HINT;
    repaint();
}

void trimClipToHere(std::int32_t i, bool atEnd, double t) {
    EditState& state = editState();
    if (!mayTrim(i) || std::isnan(t)) return;
    endGesture();
    trimClip(i, atEnd, t); // an edge that can't move is still gone to and told
    const double edge = edgeOf(i, atEnd);
    seekTo(edge);
    endGesture();
    state.statusText = clipNumber(i) + (atEnd ? L" end" : L" start") + L" trimmed to " +
                       formatTime(edge) + L" — Ctrl+Z to undo";
    repaint();
}

} // namespace velkantrix
