#include "edit/clip_geometry.h"

#include <algorithm>
#include <cstdlib>
#include <limits>

#include "edit/edit_state.h"
#include "edit/timeline_map.h"

namespace velkantrix {
namespace {

constexpr std::int32_t GRAB_UNITS = 6;  // how far from a cut the pointer still holds it
constexpr std::int32_t BELOW_UNITS = 4; // how far below the track

// Walks along the track clip by clip with a running sum, so that a call over all clips stays
// linear.
class TrackWalk {
public:
    TrackWalk(const ClipList& clips, const PixelRect& track)
        : track_(track), total_(track.empty() ? 0 : editedDuration(clips)), x_(track.left) {}

    // Without edited time, or without a track, no clip covers anything.
    [[nodiscard]] bool showsNothing() const { return !(total_ > 0); }

    // Steps over the next clip and gives the x at which it ends.
    std::int32_t pass(const Segment& clip) {
        passed_ += clipLength(clip);
        const double share = passed_ / total_;
        const double width = static_cast<double>(std::int64_t{track_.right} - track_.left);
        const double kept = share > 0 ? std::min(share, 1.0) : 0.0;
        x_ = static_cast<std::int32_t>(track_.left + static_cast<std::int64_t>(width * kept));
        return x_;
    }

    // Where the walk stands: the start of the clip to come.
    [[nodiscard]] std::int32_t x() const { return x_; }

private:
    PixelRect track_;
    double total_;
    double passed_ = 0;
    std::int32_t x_;
};

} // namespace

std::int32_t scaledPixels(std::int32_t units, std::int32_t dpi) {
    if (dpi <= 0) return 0;
    const std::int64_t product = std::int64_t{units} * dpi;
    const std::int64_t pixels = (product + (product < 0 ? -48 : 48)) / 96;
    using Limits = std::numeric_limits<std::int32_t>;
    return static_cast<std::int32_t>(
        std::clamp<std::int64_t>(pixels, Limits::min(), Limits::max()));
}

PixelRect clipRect(const PixelRect& track, std::int32_t i) {
    return clipRect(editState().clips, track, i);
}

PixelRect clipRect(const ClipList& clips, const PixelRect& track, std::int32_t i) {
    TrackWalk walk(clips, track);
    if (!isClip(clips, i) || walk.showsNothing()) return {};
    for (std::size_t before = 0; std::cmp_less(before, i); ++before) walk.pass(clips[before]);
    const std::int32_t left = walk.x();
    return {left, track.top, walk.pass(clips[static_cast<std::size_t>(i)]), track.bottom};
}

std::vector<PixelRect> clipRects(const ClipList& clips, const PixelRect& track) {
    std::vector<PixelRect> rects(clips.size());
    TrackWalk walk(clips, track);
    if (walk.showsNothing()) return rects;
    for (std::size_t i = 0; i < clips.size(); ++i) {
        const std::int32_t left = walk.x();
        rects[i] = {left, track.top, walk.pass(clips[i]), track.bottom};
    }
    return rects;
}

std::int32_t clipAtX(const PixelRect& track, std::int32_t x) {
    return clipAtX(editState().clips, track, x);
}

std::int32_t clipAtX(const ClipList& clips, const PixelRect& track, std::int32_t x) {
    const std::int32_t last = static_cast<std::int32_t>(clips.size()) - 1;
    TrackWalk walk(clips, track);
    if (walk.showsNothing()) return last;
    for (std::int32_t i = 0; i < last; ++i) {
        const std::int32_t left = walk.x();
        const std::int32_t right = walk.pass(clips[static_cast<std::size_t>(i)]);
        if (left <= x && x < right) return i;
    }
    return last;
}

std::int32_t boundaryAtX(const PixelRect& track, std::int32_t dpi, std::int32_t x, std::int32_t y) {
    return boundaryAtX(editState().clips, track, dpi, x, y);
}

std::int32_t boundaryAtX(const ClipList& clips, const PixelRect& track, std::int32_t dpi,
                         std::int32_t x, std::int32_t y) {
    if (clips.size() < 2) return -1;
    if (y < track.top || y > std::int64_t{track.bottom} + scaledPixels(BELOW_UNITS, dpi)) return -1;
    TrackWalk walk(clips, track);
    if (walk.showsNothing()) return -1;

    std::int32_t nearest = -1;
    std::int64_t best = std::int64_t{scaledPixels(GRAB_UNITS, dpi)} + 1;
    for (std::size_t i = 0; i + 1 < clips.size(); ++i) {
        const std::int64_t distance = std::abs(std::int64_t{walk.pass(clips[i])} - x);
        if (distance >= best) continue;
        best = distance;
        nearest = static_cast<std::int32_t>(i);
    }
    return nearest;
}

} // namespace velkantrix
