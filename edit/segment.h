// segment.h: one kept clip of the source.
#pragma once

#include <string>

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

} // namespace velkantrix
