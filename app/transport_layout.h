// transport_layout.h: where the controls of the transport bar lie, and which of them a point hits.
// Pixels of the bar. Free of any thread: these only calculate.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>

#include "app/layout.h"
#include "edit/clip_geometry.h"

namespace velkantrix {

// Their order is that of the tooltips and, from 1, of the accessible children.
enum TransportControl : std::int32_t {
    TRANSPORT_NONE = -1,
    TRANSPORT_BACK,
    TRANSPORT_PLAY,
    TRANSPORT_FORWARD,
    TRANSPORT_SPLIT,
    TRANSPORT_REMOVE,
    TRANSPORT_MUTE,
    TRANSPORT_VOLUME, // a slider; all others are buttons
    TRANSPORT_PREVIOUS_FRAME,
    TRANSPORT_NEXT_FRAME,
    TRANSPORT_DARKER,
    TRANSPORT_EXPOSURE,
    TRANSPORT_BRIGHTER,
    TRANSPORT_ZOOM,
};
inline constexpr std::size_t TRANSPORT_CONTROL_COUNT = 13;

struct TransportLayout {
    std::array<PixelRect, TRANSPORT_CONTROL_COUNT> controls; // empty: it isn't shown
    bool wide = false;                                       // with the controls of the exposure

    [[nodiscard]] PixelRect operator[](TransportControl control) const {
        return controls[static_cast<std::size_t>(control)];
    }
};

// Playing and editing lie in the middle, the sound at the right. Where a bar is narrower than that
// needs (a fullscreen one on a small monitor), first the zoom, then the mute button, then the
// slider give way: no two ever overlap.
TransportLayout layOutTransport(std::int32_t width, std::int32_t dpi);

// The first control that contains the point.
TransportControl transportControlAt(const TransportLayout& layout, std::int32_t x, std::int32_t y);

// The slider's track, and the knob on it for a volume from 0 to 1, which is kept within that.
struct SliderTrack {
    std::int32_t left = 0;
    std::int32_t right = 0;
    std::int32_t middle = 0; // vertically
};
SliderTrack sliderTrack(const PixelRect& slider, std::int32_t dpi);
std::int32_t sliderKnob(const SliderTrack& track, double volume);

// The volume that x means: 0 at the left end of the track and before it, 1 at the right.
double volumeAtX(const SliderTrack& track, std::int32_t x);

} // namespace velkantrix
