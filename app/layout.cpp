#include "app/layout.h"

#include <algorithm>
#include <limits>

namespace velkantrix {
namespace {

// In 96-dpi units.
constexpr double WHOLE_PIXEL = 1e-6; // what rounding may have cost
constexpr std::int32_t MARGIN = 24;
constexpr std::int32_t BELOW_VIDEO = 246; // timeline, transport bar and status
constexpr std::int32_t LEAST_VIDEO_HEIGHT = 180;
constexpr std::int32_t TRANSPORT_HEIGHT = 62;
constexpr std::int32_t TRANSPORT_FROM_BOTTOM = 106;
constexpr std::int32_t FULLSCREEN_TRANSPORT_WIDTH = 900;
constexpr std::int32_t FULLSCREEN_TRANSPORT_MARGINS = 48;
constexpr std::int32_t FULLSCREEN_TRANSPORT_FROM_BOTTOM = 86;

// Of a title bar, whatever the scale, in pixels.
constexpr std::int64_t TITLE_HEIGHT = 32;
constexpr std::int64_t LEAST_GRIP_HEIGHT = 16;
constexpr std::int64_t LEAST_GRIP_WIDTH = 64;

PixelRect rectAt(std::int32_t left, std::int32_t top, std::int32_t width, std::int32_t height) {
    return {left, top, left + std::max(width, 1), top + std::max(height, 1)};
}

std::int32_t widthOf(const PixelRect& rect) {
    return rect.right - rect.left;
}

std::int32_t heightOf(const PixelRect& rect) {
    return rect.bottom - rect.top;
}

PixelRect fitVideo(const PixelRect& area, VideoSize video) {
    if (video.width <= 0 || video.height <= 0) return area;
    const double scale = std::min(static_cast<double>(heightOf(area)) / video.height,
                                  static_cast<double>(widthOf(area)) / video.width);
    // A whole number may come out as a little less.
    const auto fitted = [scale](std::int32_t length) {
        return std::max(1, static_cast<std::int32_t>(scale * length + WHOLE_PIXEL));
    };
    const std::int32_t width = fitted(video.width);
    const std::int32_t height = fitted(video.height);
    return rectAt(area.left + (widthOf(area) - width) / 2, area.top + (heightOf(area) - height) / 2,
                  width, height);
}

PixelRect windowedVideoArea(PixelSize client, std::int32_t dpi) {
    const std::int32_t margin = scaledPixels(MARGIN, dpi);
    const std::int32_t height = std::max(scaledPixels(LEAST_VIDEO_HEIGHT, dpi),
                                         client.height - scaledPixels(BELOW_VIDEO, dpi));
    return rectAt(margin, margin, client.width - 2 * margin, height);
}

PixelRect windowedTransport(PixelSize client, std::int32_t dpi) {
    const std::int32_t margin = scaledPixels(MARGIN, dpi);
    return rectAt(margin, client.height - scaledPixels(TRANSPORT_FROM_BOTTOM, dpi),
                  client.width - 2 * margin, scaledPixels(TRANSPORT_HEIGHT, dpi));
}

PixelRect fullscreenTransport(PixelSize client, std::int32_t dpi) {
    const std::int32_t width =
        std::max(1, std::min(scaledPixels(FULLSCREEN_TRANSPORT_WIDTH, dpi),
                             client.width - scaledPixels(FULLSCREEN_TRANSPORT_MARGINS, dpi)));
    return rectAt((client.width - width) / 2,
                  client.height - scaledPixels(FULLSCREEN_TRANSPORT_FROM_BOTTOM, dpi), width,
                  scaledPixels(TRANSPORT_HEIGHT, dpi));
}

// Sizes come from files; a window is cut to the work area afterwards, so any large number will do.
std::int32_t withinPixels(std::int64_t value) {
    constexpr std::int64_t MOST = std::numeric_limits<std::int32_t>::max() / 4;
    return static_cast<std::int32_t>(std::clamp<std::int64_t>(value, 1, MOST));
}

// One axis: the range of `length` around the middle of what is now, moved into the work area. The
// far end gives way first, so that the near one, with the title, is what stays in sight.
void placeAxis(std::int32_t length, std::int32_t& near, std::int32_t& far, std::int32_t workNear,
               std::int32_t workFar) {
    const std::int32_t middle = near + (far - near) / 2;
    near = middle - length / 2;
    if (near + length > workFar) near = workFar - length;
    if (near < workNear) near = workNear;
    far = near + length;
}

} // namespace

ChildLayout layOutChildren(PixelSize client, std::int32_t dpi, bool fullscreen, VideoSize video) {
    if (fullscreen)
        return {fitVideo(rectAt(0, 0, client.width, client.height), video),
                fullscreenTransport(client, dpi)};
    return {fitVideo(windowedVideoArea(client, dpi), video), windowedTransport(client, dpi)};
}

PixelSize clientSizeForVideo(VideoSize video, bool doubled, std::int32_t dpi) {
    const std::int64_t factor = doubled ? 2 : 1;
    return {withinPixels(factor * video.width + 2LL * scaledPixels(MARGIN, dpi)),
            withinPixels(factor * video.height + scaledPixels(BELOW_VIDEO, dpi))};
}

PixelRect placeInWorkArea(PixelSize window, const PixelRect& current, const PixelRect& work) {
    PixelRect place = current;
    placeAxis(std::min(window.width, widthOf(work)), place.left, place.right, work.left,
              work.right);
    placeAxis(std::min(window.height, heightOf(work)), place.top, place.bottom, work.top,
              work.bottom);
    return place;
}

PixelRect withinReach(const PixelRect& window, const PixelRect& monitor, const PixelRect& area) {
    const PixelRect work{monitor.left, monitor.top, monitor.left + widthOf(area),
                         monitor.top + heightOf(area)};
    const auto shared = [](std::int64_t from, std::int64_t to, std::int64_t workFrom,
                           std::int64_t workTo) {
        return std::min(to, workTo) - std::max(from, workFrom);
    };
    const std::int64_t top = window.top;
    if (shared(window.left, window.right, work.left, work.right) >= LEAST_GRIP_WIDTH &&
        shared(top, top + TITLE_HEIGHT, work.top, work.bottom) >= LEAST_GRIP_HEIGHT)
        return window;
    return placeInWorkArea({widthOf(window), heightOf(window)}, window, work);
}

PixelRect firstPlacement(const PixelRect& work, std::int32_t dpi) {
    const std::int32_t width = std::min(scaledPixels(WINDOW_WIDTH, dpi), widthOf(work));
    const std::int32_t height = std::min(scaledPixels(WINDOW_HEIGHT, dpi), heightOf(work));
    return rectAt(work.left + (widthOf(work) - width) / 2, work.top + (heightOf(work) - height) / 2,
                  width, height);
}

} // namespace velkantrix
