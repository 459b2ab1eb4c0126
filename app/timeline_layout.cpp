#include "app/timeline_layout.h"

#include <algorithm>

#include "edit/timeline_map.h"

namespace velkantrix {
namespace {

// In 96-dpi units.
constexpr std::int32_t SIDE = 28;
constexpr std::int32_t TOP_FROM_BOTTOM = 214;
constexpr std::int32_t BOTTOM_FROM_BOTTOM = 114;
constexpr std::int32_t LABEL_LEFT = 6;
constexpr std::int32_t LABEL_RIGHT = 170;
constexpr std::int32_t LABEL_FROM_RIGHT = 4;
constexpr std::int32_t LABEL_TOP = 3;
constexpr std::int32_t LABEL_BOTTOM = 28;

double widthOf(const PixelRect& track) {
    return std::max(1.0, static_cast<double>(track.right) - track.left);
}

} // namespace

PixelRect timelineRect(PixelSize client, std::int32_t dpi, bool fullscreen) {
    if (fullscreen) return {};
    const PixelRect rect{scaledPixels(SIDE, dpi),
                         client.height - scaledPixels(TOP_FROM_BOTTOM, dpi),
                         client.width - scaledPixels(SIDE, dpi),
                         client.height - scaledPixels(BOTTOM_FROM_BOTTOM, dpi)};
    return rect.empty() ? PixelRect{} : rect;
}

PixelRect labelRect(const PixelRect& clip, std::int32_t dpi) {
    if (clip.right <= clip.left) return {};
    const PixelRect rect{clip.left + scaledPixels(LABEL_LEFT, dpi),
                         clip.top + scaledPixels(LABEL_TOP, dpi),
                         std::min(clip.left + scaledPixels(LABEL_RIGHT, dpi),
                                  clip.right - scaledPixels(LABEL_FROM_RIGHT, dpi)),
                         clip.top + scaledPixels(LABEL_BOTTOM, dpi)};
    return rect.empty() ? PixelRect{} : rect;
}

std::int32_t clampedX(const PixelRect& track, std::int32_t x) {
    return std::max(track.left, std::min(x, track.right));
}

bool isInside(const PixelRect& rect, std::int32_t x, std::int32_t y) {
    return rect.left <= x && x < rect.right && rect.top <= y && y < rect.bottom;
}

double editedTimeAtX(const PixelRect& track, double editedDuration, std::int32_t x) {
    const double share = (static_cast<double>(x) - track.left) / widthOf(track);
    return std::clamp(share * editedDuration, 0.0, std::max(editedDuration, 0.0));
}

SourcePlace sourcePlaceAtX(const ClipList& clips, const PixelRect& track, std::int32_t x) {
    SourcePlace place;
    place.time = editedToSource(clips, editedTimeAtX(track, editedDuration(clips), x), place.clip);
    return place;
}

std::int32_t playheadX(const PixelRect& track, double editedDuration, double editedTime) {
    if (editedDuration <= 0) return track.left;
    const double width = static_cast<double>(track.right) - track.left;
    const double kept = std::clamp(editedTime, 0.0, editedDuration);
    return track.left + static_cast<std::int32_t>(width * kept / editedDuration);
}

} // namespace velkantrix
