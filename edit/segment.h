// segment.h: one kept clip of the source.
#pragma once

#include <cstdint>
#include <string>
#include <utility>
#include <vector>

namespace velkantrix {

// A clip: the part [start, end) of the source that is kept, start < end. All times are seconds.
struct Segment {
    double start = 0;
    double end = 0;
    std::wstring name; // empty: the clip is shown by its default label
    double fadeIn = 0; // lengths of the fades; 0 means none
    double fadeOut = 0;

    bool operator==(const Segment&) const = default;
};

// The edit: clips in the order of their starts, none overlapping the next. Gaps are removed
// material.
using ClipList = std::vector<Segment>;

inline double clipLength(const Segment& clip) {
    return clip.end - clip.start;
}

inline bool isClip(const ClipList& clips, std::int32_t i) {
    return i >= 0 && std::cmp_less(i, clips.size());
}

// A cut is named by the clip that ends at it; the clip that begins behind it must exist.
inline bool isCut(const ClipList& clips, std::int32_t i) {
    return isClip(clips, i) && std::cmp_less(std::int64_t{i} + 1, clips.size());
}

} // namespace velkantrix
