// edit_invariants.h: what holds for the edit between any two operations, whatever they were given.
// For tests and fuzzers alike, so it knows no test framework.
#pragma once

#include <cmath>
#include <string>

#include "edit/edit_state.h"

namespace velkantrix {

// Sums of doubles are off by less than this in any video that fits on a disk.
inline constexpr double INVARIANT_TOLERANCE = 1e-9;

// Each returns what is wrong, or an empty text.

inline std::string fadeProblem(const Segment& clip) {
    const double length = clipLength(clip);
    for (const double fade : {clip.fadeIn, clip.fadeOut}) {
        if (!(fade >= 0)) return "a fade is negative or no number";
        if (fade != 0 && fade < 0.05) return "a fade is too short to be one";
        if (fade > length + INVARIANT_TOLERANCE) return "a fade is longer than its clip";
    }
    if (clip.fadeIn + clip.fadeOut > length + INVARIANT_TOLERANCE) return "fades overlap";
    return {};
}

inline std::string clipListProblem(const ClipList& clips, double duration) {
    // A video without length has one clip without length.
    if (duration == 0 && clips.size() == 1) {
        return clips[0] == Segment{.name = clips[0].name} ? ""
                                                          : "a video without length has a clip";
    }
    double previousEnd = 0;
    for (const Segment& clip : clips) {
        if (!std::isfinite(clip.start) || !std::isfinite(clip.end)) return "a time is no number";
        if (!(clip.start < clip.end)) return "a clip is empty or reversed";
        if (clip.start < previousEnd) return "a clip begins before the one before it ends";
        previousEnd = clip.end;
        if (std::string problem = fadeProblem(clip); !problem.empty()) return problem;
    }
    ClipList normal = clips;
    normalizeFades(normal);
    if (normal != clips) return "the next change of any clip would change a fade";
    return previousEnd > duration ? "a clip ends behind the source" : std::string();
}

inline std::string historyProblem(const EditState& state) {
    if (state.undoStack.size() + state.redoStack.size() > 50) return "more than 50 steps are kept";
    for (const auto* stack : {&state.undoStack, &state.redoStack}) {
        for (const HistoryEntry& entry : *stack) {
            if (entry.clips.empty()) return "a step without clips";
            if (!entry.label || !*entry.label) return "a step without a label";
            if (!(entry.playhead >= 0 && entry.playhead <= state.duration)) {
                return "a step whose playhead is outside of the source";
            }
        }
    }
    return {};
}

// Does not look into the clip lists of the history: they were the state once, and were looked at
// then.
inline std::string editProblem(const EditState& state) {
    if (!(state.duration >= 0) || !std::isfinite(state.duration)) return "no duration";
    if (!(state.playhead >= 0 && state.playhead <= state.duration)) {
        return "the playhead is outside of the source";
    }
    if (state.videoLoaded == state.clips.empty()) return "a loaded video has clips, none has none";
    if (state.selectedClip != -1 && !isClip(state.clips, state.selectedClip)) {
        return "a clip is selected that does not exist";
    }
    if (state.rollCutIndex != -1 && !isCut(state.clips, state.rollCutIndex)) {
        return "a cut is selected that does not exist";
    }
    if (!state.undoStack.empty() && !state.videoLoaded) return "history without a video";
    if (std::string problem = clipListProblem(state.clips, state.duration); !problem.empty()) {
        return problem;
    }
    return historyProblem(state);
}

} // namespace velkantrix
