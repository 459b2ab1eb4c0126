#include "edit/timeline_map.h"

#include <algorithm>
#include <cmath>

#include "edit/edit_state.h"

namespace velkantrix {

double editedDuration() {
    return editedDuration(editState().clips);
}

double editedDuration(const ClipList& clips) {
    double total = 0;
    for (const Segment& clip : clips) total += clipLength(clip);
    return total;
}

double sourceToEdited(double t) {
    return sourceToEdited(editState().clips, t);
}

double sourceToEdited(const ClipList& clips, double t) {
    if (std::isnan(t)) return 0;
    double passed = 0;
    for (const Segment& clip : clips) {
        if (clip.start > t) return passed;
        if (t <= clip.end) return passed + (t - clip.start);
        passed += clipLength(clip);
    }
    return passed;
}

double editedToSource(double e, std::int32_t& clipIndex) {
    return editedToSource(editState().clips, e, clipIndex);
}

double editedToSource(const ClipList& clips, double e, std::int32_t& clipIndex) {
    clipIndex = -1;
    if (clips.empty()) return 0;
    if (!(e > 0)) e = 0;
    // Ends at the last clip when nothing reaches e: no need to know the total beforehand.
    double passed = 0;
    std::size_t i = 0;
    while (i + 1 < clips.size() && passed + clipLength(clips[i]) < e) {
        passed += clipLength(clips[i]);
        ++i;
    }
    clipIndex = static_cast<std::int32_t>(i);
    const double offset = std::max(std::min(e - passed, clipLength(clips[i])), 0.0);
    // Start and length may add up to the next double behind the end.
    return std::min(clips[i].start + offset, clips[i].end);
}

std::int32_t clipBehindGapAt(const ClipList& clips, double e, double tolerance) {
    double start = 0;
    for (std::size_t i = 1; i < clips.size(); i++) {
        start += clipLength(clips[i - 1]);
        if (start > e + tolerance) return -1;
        if (start >= e - tolerance && clips[i].start > clips[i - 1].end)
            return static_cast<std::int32_t>(i);
    }
    return -1;
}

double currentEditedTime() {
    return sourceToEdited(editState().playhead);
}

void seekToEdited(double e) {
    if (std::isnan(e)) return;
    std::int32_t clip = -1;
    const double t = editedToSource(e, clip);
    if (clip < 0) return;
    editState().selectedClip = clip;
    seekTo(t);
}

} // namespace velkantrix
