// window_drawing.h: what the main window itself shows: all but the video, the transport bar and the
// strip of clips, which lies between the two halves given here.
#pragma once

#include <cstdint>
#include <optional>
#include <string>

#include "app/drawing.h"
#include "app/layout.h"
#include "app/strip_drawing.h"

namespace velkantrix {

struct WindowState {
    PixelSize client;
    std::int32_t dpi = 96;
    bool fullscreen = false;
    bool videoLoaded = false;
    bool firstFrameShown = false;
    std::uint64_t tick = 0; // milliseconds, for what moves while a video is loaded
    std::wstring diagnostics;

    // With a video.
    StripState strip;
    double editedTime = 0;               // of the playhead, in seconds
    std::optional<std::int32_t> cutDrag; // the cut that is being dragged
    std::optional<std::int32_t> hoverX;  // of the pointer over the timeline
    bool scrubbing = false;
    std::wstring statusText;
    VideoSize videoSize;
    std::uint64_t fileSize = 0;             // bytes
    std::optional<double> exportShare;      // of a running export that knows it, 0 to 1
    std::optional<PixelRect> videoOnScreen; // the window's part that the video covers
};

// Under the strip: the background and, with a video, the card before its first picture and the bar.
void drawBackground(Drawing& drawing, const WindowState& state);

// Over the strip: the pointer's time, the playhead, the texts and how far an export is. Without a
// video what to do first.
void drawForeground(Drawing& drawing, const WindowState& state);

} // namespace velkantrix
