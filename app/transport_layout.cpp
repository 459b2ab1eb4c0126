#include "app/transport_layout.h"

#include <algorithm>
#include <cmath>

#include "app/timeline_layout.h"
#include "app/volume.h"

namespace velkantrix {
namespace {

// In 96-dpi units.
constexpr std::int32_t WIDE_FROM = 1180; // a bar of this very width is narrow
constexpr std::int32_t WIDE_CLUSTER = 636;
constexpr std::int32_t NARROW_CLUSTER = 490;
constexpr std::int32_t LEAST_MARGIN = 12;
constexpr std::int32_t SOUND = 232; // what is left free for the sound and the zoom
constexpr std::int32_t TOP = 5;
constexpr std::int32_t BOTTOM = 57;
constexpr std::int32_t SLIDER_TOP = 15;
constexpr std::int32_t SLIDER_BOTTOM = 47;
constexpr std::int32_t SLIDER_WIDTH = 110;
constexpr std::int32_t RIGHT_MARGIN = 18;
constexpr std::int32_t MUTE_FROM_SLIDER = 44;
constexpr std::int32_t GAP_AFTER_MUTE = 4;
constexpr std::int32_t ZOOM_FROM_MUTE = 48;
constexpr std::int32_t GAP_AFTER_ZOOM = 8;
constexpr std::int32_t TRACK_MARGIN = 8;

struct Range {
    TransportControl control;
    std::int32_t from; // 96-dpi units from the cluster's origin
    std::int32_t to;
};

constexpr Range PLAYING[] = {
    {TRANSPORT_PREVIOUS_FRAME, 0, 40}, {TRANSPORT_BACK, 40, 94},         {TRANSPORT_PLAY, 94, 154},
    {TRANSPORT_FORWARD, 154, 208},     {TRANSPORT_NEXT_FRAME, 208, 248},
};
constexpr Range EXPOSURE[] = {
    {TRANSPORT_DARKER, 264, 304},
    {TRANSPORT_EXPOSURE, 304, 354},
    {TRANSPORT_BRIGHTER, 354, 394},
};
constexpr std::int32_t EDITING_WIDE = 410;
constexpr std::int32_t EDITING_NARROW = 264;
constexpr Range EDITING[] = {{TRANSPORT_SPLIT, 0, 106}, {TRANSPORT_REMOVE, 110, 226}};

class Placing {
public:
    Placing(std::int32_t width, std::int32_t dpi) : width_(width), dpi_(dpi) {}

    TransportLayout layOut() {
        layout_.wide = width_ > S(WIDE_FROM);
        const std::int32_t cluster = S(layout_.wide ? WIDE_CLUSTER : NARROW_CLUSTER);
        const std::int32_t origin = std::max(
            S(LEAST_MARGIN), std::min(width_ - cluster - S(SOUND), (width_ - cluster) / 2));
        for (const Range& range : PLAYING) place(origin, range);
        if (layout_.wide) {
            for (const Range& range : EXPOSURE) place(origin, range);
        }
        const std::int32_t editing = origin + S(layout_.wide ? EDITING_WIDE : EDITING_NARROW);
        for (const Range& range : EDITING) place(editing, range);
        placeSound();
        return layout_;
    }

private:
    [[nodiscard]] std::int32_t S(std::int32_t units) const { return scaledPixels(units, dpi_); }

    PixelRect& at(TransportControl control) {
        return layout_.controls[static_cast<std::size_t>(control)];
    }

    void place(std::int32_t origin, const Range& range) {
        at(range.control) = {origin + S(range.from), S(TOP), origin + S(range.to), S(BOTTOM)};
    }

    // From the right edge; only what has room behind the last button.
    void placeSound() {
        const std::int32_t taken = at(TRANSPORT_REMOVE).right;
        const auto placeFree = [&](TransportControl control, const PixelRect& rect) {
            if (rect.left >= taken) at(control) = rect;
        };
        const std::int32_t right = width_ - S(RIGHT_MARGIN);
        const std::int32_t slider = right - S(SLIDER_WIDTH);
        placeFree(TRANSPORT_VOLUME, {slider, S(SLIDER_TOP), right, S(SLIDER_BOTTOM)});
        const std::int32_t mute = slider - S(MUTE_FROM_SLIDER);
        placeFree(TRANSPORT_MUTE, {mute, S(TOP), slider - S(GAP_AFTER_MUTE), S(BOTTOM)});
        placeFree(TRANSPORT_ZOOM,
                  {mute - S(ZOOM_FROM_MUTE), S(TOP), mute - S(GAP_AFTER_ZOOM), S(BOTTOM)});
    }

    std::int32_t width_;
    std::int32_t dpi_;
    TransportLayout layout_;
};

} // namespace

TransportLayout layOutTransport(std::int32_t width, std::int32_t dpi) {
    return Placing(width, dpi).layOut();
}

TransportControl transportControlAt(const TransportLayout& layout, std::int32_t x, std::int32_t y) {
    for (std::size_t i = 0; i < TRANSPORT_CONTROL_COUNT; ++i) {
        if (isInside(layout.controls[i], x, y)) return static_cast<TransportControl>(i);
    }
    return TRANSPORT_NONE;
}

SliderTrack sliderTrack(const PixelRect& slider, std::int32_t dpi) {
    const std::int32_t margin = scaledPixels(TRACK_MARGIN, dpi);
    return {slider.left + margin, slider.right - margin, (slider.top + slider.bottom) / 2};
}

std::int32_t sliderKnob(const SliderTrack& track, double volume) {
    const std::int32_t length = std::max(0, track.right - track.left);
    return track.left + static_cast<std::int32_t>(std::lround(levelWithin(volume) * length));
}

double volumeAtX(const SliderTrack& track, std::int32_t x) {
    const double length = std::max(1, track.right - track.left);
    return levelWithin((static_cast<double>(x) - track.left) / length);
}

} // namespace velkantrix
