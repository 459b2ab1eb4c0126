// clip_geometry.h: where clips lie on the timeline, and what a point of it hits.
//
// The track shows edited time: clips lie end to end over its whole width, removed material isn't
// shown. Everything is in pixels of the window; no call looks at a clip more than twice.
// UI thread where the edit state is read; the overloads that take the clips depend on nothing else.
#pragma once

#include <cstdint>
#include <vector>

#include "edit/segment.h"

namespace velkantrix {

// left <= x < right, top <= y < bottom; empty when no pixel is inside.
struct PixelRect {
    std::int32_t left = 0;
    std::int32_t top = 0;
    std::int32_t right = 0;
    std::int32_t bottom = 0;

    [[nodiscard]] bool empty() const { return left >= right || top >= bottom; }
    bool operator==(const PixelRect&) const = default;
};

// A length of 96-dpi units in pixels, rounded to nearest, as the rest of the window scales it,
// and kept within the type.
std::int32_t scaledPixels(std::int32_t units, std::int32_t dpi);

// The part of the track that clip i covers, both ends truncated to whole pixels. All zero when
// there is no such clip, no edited time or no track.
PixelRect clipRect(const PixelRect& track, std::int32_t i);
PixelRect clipRect(const ClipList& clips, const PixelRect& track, std::int32_t i);

// The same for every clip, in one pass.
std::vector<PixelRect> clipRects(const ClipList& clips, const PixelRect& track);

// The first clip that covers x, else the last clip; -1 when there are none.
std::int32_t clipAtX(const PixelRect& track, std::int32_t x);
std::int32_t clipAtX(const ClipList& clips, const PixelRect& track, std::int32_t x);

// The cut under the pointer, named by the clip that ends at it, or -1: the nearest one within 6
// units of x, the first of equals. Below the track 4 more units still count.
std::int32_t boundaryAtX(const PixelRect& track, std::int32_t dpi, std::int32_t x, std::int32_t y);
std::int32_t boundaryAtX(const ClipList& clips, const PixelRect& track, std::int32_t dpi,
                         std::int32_t x, std::int32_t y);

} // namespace velkantrix
