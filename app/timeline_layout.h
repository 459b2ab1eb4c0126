// timeline_layout.h: where the timeline is, and what its points mean. Pixels of the window, lengths
// in 96-dpi units scaled by its dpi; times are seconds. These only calculate.
#pragma once

#include <cstdint>

#include "app/layout.h"
#include "edit/clip_geometry.h"
#include "edit/segment.h"

namespace velkantrix {

// Empty in fullscreen, and where the window is too small for it.
PixelRect timelineRect(PixelSize client, std::int32_t dpi, bool fullscreen);

// Where a clip's name stands, and a press means the name; empty for a clip that covers nothing.
PixelRect labelRect(const PixelRect& clip, std::int32_t dpi);

// The pointer kept within the timeline.
std::int32_t clampedX(const PixelRect& track, std::int32_t x);

bool isInside(const PixelRect& rect, std::int32_t x, std::int32_t y);

// The edited time at x. A track without any width counts as one pixel.
double editedTimeAtX(const PixelRect& track, double editedDuration, std::int32_t x);

// A point of the source, and the clip that it belongs to.
struct SourcePlace {
    std::int32_t clip = -1;
    double time = 0;
    bool operator==(const SourcePlace&) const = default;
};

// What is shown at x: the first clip whose end reaches it, the last one behind all. No clip: -1.
SourcePlace sourcePlaceAtX(const ClipList& clips, const PixelRect& track, std::int32_t x);

// Where the playhead's line stands for a position in edited time.
std::int32_t playheadX(const PixelRect& track, double editedDuration, double editedTime);

} // namespace velkantrix
