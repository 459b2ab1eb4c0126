// encode_rules.h: how large a re-encoded picture is, how many there are a second, and how many bits
// they get.
//
// All of it is pure, and takes whatever a file may say of itself.
#pragma once

#include <cstdint>
#include <optional>

namespace velkantrix {

struct FrameSize {
    std::uint32_t width = 0; // pixels
    std::uint32_t height = 0;
    bool operator==(const FrameSize&) const = default;
};

struct Ratio {
    std::uint32_t numerator = 0;
    std::uint32_t denominator = 0;
    bool operator==(const Ratio&) const = default;
};

// The size in square pixels of a frame whose pixels may not be square: the height stays, the width
// makes the shape. An aspect that says nothing (a part of it is 0) is that of a square.
[[nodiscard]] FrameSize inSquarePixels(FrameSize coded, Ratio pixelAspect);

// The size of the output: the largest of the source's shape that fits into the box, also when the
// source is smaller; in even numbers, at least 2 x 2. A dimension of the box of 0 or less is the
// source's own; with one alone the shape isn't kept. None where neither says a dimension.
[[nodiscard]] std::optional<FrameSize> encodedSize(FrameSize source, std::int32_t maxWidth,
                                                   std::int32_t maxHeight);

// The source's frame rate, or 30 a second when a part of it is 0.
[[nodiscard]] Ratio encodedRate(Ratio source);

// In bits a second. The source's own bitrate counts, 0 when it states none, for pictures of
// `source` size as they are coded; one without a size counts as of the output's.
[[nodiscard]] std::uint32_t videoBitrate(FrameSize output, Ratio rate, FrameSize source,
                                         std::uint32_t sourceBitrate);

} // namespace velkantrix
