#include "export/picture_effects.h"

#include <algorithm>
#include <cmath>
#include <cstring>

namespace velkantrix {
namespace {

constexpr double BLACK = 16, WHITE = 235;
// Keeps sizes of planes far from the end of their range.
constexpr std::uint32_t MOST_LINES = 1u << 24;

// 0: no size that a picture has.
std::uint64_t nv12Size(FrameSize size) {
    if (size.height > MOST_LINES || size.width % 2 != 0) return 0;
    return std::uint64_t{size.width} * size.height / 2 * 3;
}

std::uint32_t wholeBlocksOf(std::uint32_t lines) {
    return lines <= MOST_LINES ? (lines + 15) / 16 * 16 : lines;
}

constexpr double MOST_FADED = 0.999; // a gain from here on can't be told from none

// (value - middle) * gain / 256 + middle, rounded down. All sums fit into 16 bits without a sign,
// in which twice as many bytes are done at once as in 32.
void fadeTowards(std::span<std::uint8_t> bytes, Gain gain, unsigned middle) {
    const auto factor = static_cast<std::uint16_t>(std::clamp(gain, 0, NO_FADE));
    const auto offset = static_cast<std::uint16_t>(middle * (256u - factor));
    std::uint8_t* const data = bytes.data();
    const std::size_t count = bytes.size();
    for (std::size_t i = 0; i < count; i++) {
        const auto sum = static_cast<std::uint16_t>(data[i] * factor + offset);
        data[i] = static_cast<std::uint8_t>(sum >> 8);
    }
}

// Some lines of a plane: where they lie in the picture as it comes, and where they go.
struct Band {
    bool luma = true;
    std::size_t width = 0; // bytes of a line that are seen
    std::size_t lines = 0;
    std::size_t from = 0, to = 0; // bytes
};

constexpr std::size_t BAND_SIZE = 16'384; // fits into the nearest caches

// From the first line to the last. Lines only move towards the front.
template <class Work>
void forEachBand(FrameSize size, const Nv12Layout& layout, const Work& work) {
    const std::size_t width = size.width;
    const std::size_t most = std::max<std::size_t>(1, BAND_SIZE / std::max<std::size_t>(1, width));
    const auto forPlane = [&](bool luma, std::size_t from, std::size_t to, std::size_t lines) {
        for (std::size_t y = 0; y < lines; y += most) {
            work(Band{.luma = luma,
                      .width = width,
                      .lines = std::min(most, lines - y),
                      .from = from + y * layout.stride,
                      .to = to + y * width});
        }
    };
    forPlane(true, 0, 0, size.height);
    forPlane(false, layout.chromaOffset, width * size.height, size.height / 2);
}

void copyLines(std::uint8_t* to, const std::uint8_t* from, const Band& band, std::size_t stride) {
    if (stride == band.width) {
        std::memmove(to, from, band.width * band.lines);
        return;
    }
    for (std::size_t y = 0; y < band.lines; y++) {
        std::memmove(to + y * band.width, from + y * stride, band.width);
    }
}

void applyTo(std::span<std::uint8_t> bytes, bool luma, const PictureEffect& effect) {
    if (luma && effect.luma) {
        applyTable(bytes, *effect.luma);
    } else if (effect.gain != NO_FADE) {
        luma ? fadeLuma(bytes, effect.gain) : fadeChroma(bytes, effect.gain);
    }
}

} // namespace

Gain fadeGain(const ExportSpan& span, double seconds) {
    const double length = span.end - span.start;
    double gain = 1;
    if (span.fadeIn > 0 && seconds < span.fadeIn) gain = std::min(seconds / span.fadeIn, 1.0);
    if (span.fadeOut > 0 && seconds > length - span.fadeOut) {
        gain = std::min(gain, (length - seconds) / span.fadeOut);
    }
    gain = std::clamp(gain, 0.0, 1.0);
    return gain >= MOST_FADED ? NO_FADE : static_cast<Gain>(gain * 256);
}

LumaTable exposureTable(double exposure) {
    const double exponent = 1 / std::pow(3.0, std::clamp(exposure, -1.0, 1.0));
    LumaTable table{};
    for (std::size_t i = 0; i < table.size(); i++) {
        const double x = std::clamp((static_cast<double>(i) - BLACK) / (WHITE - BLACK), 0.0, 1.0);
        const double y = std::pow(x, exponent) * (WHITE - BLACK) + BLACK + 0.5;
        table[i] = static_cast<std::uint8_t>(std::clamp(y, BLACK, WHITE));
    }
    return table;
}

std::optional<Nv12Layout> nv12LayoutWithin(std::size_t bytes, FrameSize size, FrameSize whole) {
    const bool even = size.width % 2 == 0 && size.height % 2 == 0 && whole.height % 2 == 0;
    const bool holds = whole.width >= size.width && whole.height >= size.height;
    if (size.width == 0 || size.height == 0 || !even || !holds) return std::nullopt;
    if (bytes == 0 || bytes != nv12Size(whole)) return std::nullopt;
    return Nv12Layout{.stride = whole.width,
                      .chromaOffset = std::size_t{whole.width} * whole.height};
}

std::optional<Nv12Layout> nv12Layout(std::size_t bytes, FrameSize size, FrameSize coded) {
    if (coded.width < size.width || coded.height < size.height) return std::nullopt;
    const FrameSize wholeBlocks = {size.width, wholeBlocksOf(size.height)};
    const FrameSize codedBlocks = {coded.width, wholeBlocksOf(coded.height)};
    for (const FrameSize& given : {size, wholeBlocks, coded, codedBlocks}) {
        if (const auto found = nv12LayoutWithin(bytes, size, given)) return found;
    }
    return std::nullopt;
}

std::optional<Nv12Layout> nv12LayoutOfLines(std::size_t bytes, FrameSize size, FrameSize coded) {
    if (const auto found = nv12Layout(bytes, size, coded)) return found;
    if (coded.width < size.width || coded.height < size.height) return std::nullopt;
    for (const std::uint32_t width : {coded.width, size.width}) {
        if (width == 0) continue;
        const std::size_t lines = bytes / 3 * 2 / width;
        if (lines > MOST_LINES) continue;
        const FrameSize whole = {width, static_cast<std::uint32_t>(lines)};
        if (const auto found = nv12LayoutWithin(bytes, size, whole)) return found;
    }
    return std::nullopt;
}

PictureEffect pictureEffect(const LumaTable* exposure, Gain gain) {
    PictureEffect effect{.luma = std::nullopt, .gain = gain};
    if (!exposure) return effect;
    effect.luma = *exposure;
    if (gain != NO_FADE) fadeLuma(*effect.luma, gain);
    return effect;
}

// While it is in the caches.
void copyChanged(std::span<const std::uint8_t> from, const Nv12Layout& layout, FrameSize size,
                 const PictureEffect& effect, std::span<std::uint8_t> to) {
    forEachBand(size, layout, [&](const Band& band) {
        std::uint8_t* const target = to.data() + band.to;
        copyLines(target, from.data() + band.from, band, layout.stride);
        applyTo({target, band.width * band.lines}, band.luma, effect);
    });
}

void change(std::span<std::uint8_t> bytes, const Nv12Layout& layout, FrameSize size,
            const PictureEffect& effect) {
    forEachBand(size, layout, [&](const Band& band) {
        std::uint8_t* const target = bytes.data() + band.to;
        if (band.to != band.from || layout.stride != band.width) {
            copyLines(target, bytes.data() + band.from, band, layout.stride);
        }
        applyTo({target, band.width * band.lines}, band.luma, effect);
    });
}

// Four bytes for one load and one store; written out, as not every compiler unrolls it.
void applyTable(std::span<std::uint8_t> luma, const LumaTable& table) {
    const auto becomes = [&table](std::uint32_t values, unsigned shift) {
        return std::uint32_t{table[(values >> shift) & 0xFF]} << shift;
    };
    std::uint8_t* data = luma.data();
    std::size_t left = luma.size();
    for (; left >= 4; left -= 4, data += 4) {
        std::uint32_t values = 0;
        std::memcpy(&values, data, 4);
        values =
            becomes(values, 0) | becomes(values, 8) | becomes(values, 16) | becomes(values, 24);
        std::memcpy(data, &values, 4);
    }
    for (; left > 0; left--, data++) *data = table[*data];
}

void fadeLuma(std::span<std::uint8_t> luma, Gain gain) {
    fadeTowards(luma, gain, 16);
}

void fadeChroma(std::span<std::uint8_t> chroma, Gain gain) {
    fadeTowards(chroma, gain, 128);
}

void fadeSound(std::span<std::int16_t> sound, Gain gain) {
    const int factor = std::clamp(gain, 0, NO_FADE);
    std::int16_t* const data = sound.data();
    const std::size_t count = sound.size();
    for (std::size_t i = 0; i < count; i++) {
        data[i] = static_cast<std::int16_t>((data[i] * factor) >> 8);
    }
}

} // namespace velkantrix
