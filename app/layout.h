// layout.h: where the window and what is in it are placed. Pixels; what is given in 96-dpi units is
// scaled by the window's dpi. UI thread or any other: these only calculate.
#pragma once

#include <cstdint>

#include "edit/clip_geometry.h"
#include "edit/open_flow.h"

namespace velkantrix {

// In 96-dpi units.
inline constexpr std::int32_t WINDOW_WIDTH = 1320; // at the very first start
inline constexpr std::int32_t WINDOW_HEIGHT = 820;
inline constexpr std::int32_t LEAST_WINDOW_WIDTH = 820;
inline constexpr std::int32_t LEAST_WINDOW_HEIGHT = 640;
inline constexpr std::int32_t DIAGNOSTICS_STRIP = 24; // the top of the window

struct PixelSize {
    std::int32_t width = 0;
    std::int32_t height = 0;
    bool operator==(const PixelSize&) const = default;
};

struct ChildLayout {
    PixelRect video; // the video child itself, of the video's shape
    PixelRect transport;
};

// Nothing is ever smaller than one pixel, however small the window.
ChildLayout layOutChildren(PixelSize client, std::int32_t dpi, bool fullscreen, VideoSize video);

// The client area that shows the video pixel by pixel, or with two pixels for each.
PixelSize clientSizeForVideo(VideoSize video, bool doubled, std::int32_t dpi);

// A window of this size in the work area: the size is cut to it, the middle kept where it was, and
// the place moved until all of it is inside.
PixelRect placeInWorkArea(PixelSize window, const PixelRect& current, const PixelRect& work);

// A window that is remembered, on a monitor with this work area: as it was, where its title can be
// seen and grabbed, else moved into it. As the system stores it, the window's place is counted from
// the work area's corner as if that were the monitor's.
PixelRect withinReach(const PixelRect& window, const PixelRect& monitor, const PixelRect& area);

// The window of the very first start, in the middle of the work area.
PixelRect firstPlacement(const PixelRect& work, std::int32_t dpi);

} // namespace velkantrix
