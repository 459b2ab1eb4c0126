// picture_effects.h: exposure and fades, rendered into decoded pictures and sound.
//
// Pictures are NV12 in video range: luma 16 to 235, chroma around 128. Sound is 16-bit PCM.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>

#include "export/encode_rules.h"
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

// What becomes of a picture.
struct PictureEffect {
    std::optional<LumaTable> luma; // of exposure and fade in one
    Gain gain = NO_FADE;           // of the chroma, and without a table of the luma too
};
// `exposure` may be null.
[[nodiscard]] PictureEffect pictureEffect(const LumaTable* exposure, Gain gain);

// Where the planes of a contiguous NV12 picture lie in its bytes: chroma follows the last line of
// luma. There may be more columns and lines than are seen, behind those.
struct Nv12Layout {
    std::size_t stride = 0; // bytes from line to line
    std::size_t chromaOffset = 0;
};

// Of pictures of `size` that may have been given as larger ones, of `coded` size: of whole
// macroblocks, or whatever their decoder says. None when the bytes are as many as neither has.
[[nodiscard]] std::optional<Nv12Layout> nv12Layout(std::size_t bytes, FrameSize size,
                                                   FrameSize coded);

// The same of buffers that know of lines, which may be padded by any even number of them.
[[nodiscard]] std::optional<Nv12Layout> nv12LayoutOfLines(std::size_t bytes, FrameSize size,
                                                          FrameSize coded);

// Of pictures of `size` in the top left of larger ones, of `whole` size exactly.
[[nodiscard]] std::optional<Nv12Layout> nv12LayoutWithin(std::size_t bytes, FrameSize size,
                                                         FrameSize whole);

// Both leave the picture in the first bytes of `to`, or of `bytes`, without what isn't seen.
// `from` and `to` don't overlap.
void copyChanged(std::span<const std::uint8_t> from, const Nv12Layout& layout, FrameSize size,
                 const PictureEffect& effect, std::span<std::uint8_t> to);
void change(std::span<std::uint8_t> bytes, const Nv12Layout& layout, FrameSize size,
            const PictureEffect& effect);

void applyTable(std::span<std::uint8_t> luma, const LumaTable& table);

// Towards black. `gain` is 0 to NO_FADE.
void fadeLuma(std::span<std::uint8_t> luma, Gain gain);
void fadeChroma(std::span<std::uint8_t> chroma, Gain gain);

// Towards silence.
void fadeSound(std::span<std::int16_t> sound, Gain gain);

} // namespace velkantrix
