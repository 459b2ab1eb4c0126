// strip_drawing.h: the clips on the timeline, with their names, lengths, fades and waveform.
//
// Drawing them costs the most of all that the window shows, so the window keeps the picture: it
// stays as long as its key does.
#pragma once

#include <cstdint>
#include <span>

#include "app/drawing.h"
#include "edit/segment.h"
#include "playback/peak_table.h"

namespace velkantrix {

struct StripState {
    PixelRect track;
    std::int32_t dpi = 96;
    const ClipList* clips = nullptr; // never null when drawn
    std::int32_t selectedClip = -1;
    std::int32_t selectedCut = -1;  // named by the clip that ends at it
    std::int32_t renamedClip = -1;  // its name is in the field over it
    std::span<const float> peaks;   // 0 to 1; those that are complete
    std::uint64_t peaksVersion = 0; // another one whenever they are others
    double sourceDuration = 0;      // seconds
};

// Two states with the same key look the same.
std::uint64_t stripKey(const StripState& state);

void drawStrip(Drawing& drawing, const StripState& state);

} // namespace velkantrix
