// picture_effects.h: exposure and fades, rendered into decoded pictures and sound.
//
// Pictures are NV12 in video range: luma 16 to 235, chroma around 128. Sound is 16-bit PCM.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "export/export_request.h"

namespace velkantrix {

// What a fade leaves of a picture or a sound, in parts of 256. NO_FADE changes nothing.
using Gain = int;
inline constexpr Gain NO_FADE = 256;

// The gain `seconds` after the beginning of a span. Fades may overlap: the smaller gain counts.
[[nodiscard]] Gain fadeGain(const ExportSpan& span, double seconds);

// What each luma becomes: brighter for positive stops (of base 3, at most one), darker for negative
// ones; black and white of the video range stay.
using LumaTable = std::array<std::uint8_t, 256>;
[[nodiscard]] LumaTable exposureTable(double exposure);

// Where the planes of a contiguous NV12 picture lie in its bytes. Lines have no padding, but there
// may be so many more than are seen that they make whole macroblocks: chroma follows the last.
struct Nv12Planes {
    std::size_t lumaSize = 0; // of the lines that are seen
    std::size_t chromaOffset = 0;
    std::size_t chromaSize = 0;
};

// None when the bytes are too few, or as many as no such picture has.
[[nodiscard]] std::optional<Nv12Planes> nv12Planes(std::size_t bytes, std::uint32_t width,
                                                   std::uint32_t height);

void applyTable(std::span<std::uint8_t> luma, const LumaTable& table);

// Towards black. `gain` is 0 to NO_FADE.
void fadeLuma(std::span<std::uint8_t> luma, Gain gain);
void fadeChroma(std::span<std::uint8_t> chroma, Gain gain);

// Towards silence.
void fadeSound(std::span<std::int16_t> sound, Gain gain);

} // namespace velkantrix
