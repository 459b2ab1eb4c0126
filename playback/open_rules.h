// open_rules.h: what a file's own statements mean for playing it. Seconds are those of the source.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "base/ticks.h"

namespace velkantrix {

inline constexpr double DEFAULT_FPS = 30.0;

// The rate of the first video stream; 30 when the file states none, or one that can't be used.
double usableFrameRate(std::uint32_t numerator, std::uint32_t denominator);

// The container's duration, or the end of the video where that comes more than 20 ms earlier:
// behind it there is nothing to see or to cut. `scannedEnd` is negative as long as it isn't known;
// a container that states no duration has 0.
double usableDuration(double container, double scannedEnd);

// One sample of the video stream, in ticks.
struct ScannedSample {
    Ticks time = 0;
    Ticks duration = 0;
};

// What one reading gave: it may be neither, and then the next may give something.
struct ScanRead {
    bool ended = false; // there is no more, or reading failed
    std::optional<ScannedSample> sample;
};

struct EndScanCalls {
    std::function<bool(double seconds)> seek; // false: it can't
    std::function<ScanRead()> read;
    std::function<bool()> stopped;               // nobody waits for the result any more
    std::function<void(double start)> tellStart; // once it is known, long before the end may be
};

inline constexpr double END_SCAN_SPAN = 3.0; // seconds before the end, at first
inline constexpr std::uint32_t END_SCAN_READS = 1'000'000;

// Where the video's first frame begins and its last one ends, in seconds.
struct ScannedEnds {
    double start = 0;
    double end = 0; // 0 without any sample; negative when the scan was stopped
};

// Reads the first sample and, unless `onlyStart`, the last ones: the greatest end of all samples in
// the last seconds, whatever their order. Where those hold none, it looks further and further back.
// A sample that states no duration lasts for a frame.
ScannedEnds scanEnds(double container, double fps, bool onlyStart, const EndScanCalls& calls);

// The largest rectangle of the video's shape in the middle of a window's client area. Whole pixels,
// cut towards zero. All of the area while the size of the video isn't known.
struct PictureRect {
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t width = 0;
    std::int32_t height = 0;
    bool operator==(const PictureRect&) const = default;
};
PictureRect fitRect(std::int32_t clientWidth, std::int32_t clientHeight, std::int32_t videoWidth,
                    std::int32_t videoHeight);

} // namespace velkantrix
