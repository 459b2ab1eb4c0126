// preview_rules.h: which decoded pictures can be shown as previews, and how their bytes come into
// place.
#pragma once

#include <cstdint>
#include <optional>
#include <span>
#include <vector>

namespace velkantrix {

struct PictureSize {
    std::int32_t width = 0;
    std::int32_t height = 0;
    bool operator==(const PictureSize&) const = default;
};

// What an NV12 preview of a video has: chroma comes for two pixels each way, so an odd size is
// shown one pixel narrower or lower.
PictureSize evenSize(PictureSize size);

// A decoded picture in its texture: what is to be shown of it, and how large the texture is.
struct DecodedPlace {
    PictureSize texture;
    PictureSize shown;
    bool atCorner = true; // what is to be shown begins at the texture's top left
};

// The part of the texture that is copied, from its top left: none when that wouldn't be the
// video's picture, which may be turned, stretched or cropped.
std::optional<PictureSize> previewPart(const DecodedPlace& decoded, PictureSize video);

// A frame rate as a media type takes it: two whole numbers.
struct FrameRate {
    std::uint32_t numerator = 0;
    std::uint32_t denominator = 1;
    bool operator==(const FrameRate&) const = default;
};
FrameRate frameRateOf(double fps);

// Copies the rows of a picture of 4 bytes a pixel, top row first, into `rows`. `stride` is the
// distance from one row to the next in `bytes`; a negative one means that the bottom row comes
// first. False, when `bytes` don't hold that much. Throws std::bad_alloc.
[[nodiscard]] bool copyRows(std::span<const std::uint8_t> bytes, std::int32_t stride,
                            PictureSize size, std::vector<std::uint8_t>& rows);

} // namespace velkantrix
