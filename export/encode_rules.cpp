#include "export/encode_rules.h"

#include <algorithm>
#include <cmath>
#include <limits>

namespace velkantrix {
namespace {

constexpr double MOST_BITS = 40'000'000;

// Keeps a whole number that a division has left just below itself: 854 * (1920 / 854) is 1920.
constexpr double BELOW_WHOLE = 1e-6;

double areaOf(FrameSize size) {
    return static_cast<double>(size.width) * size.height;
}

std::uint32_t wholePart(double value) {
    constexpr double MOST = std::numeric_limits<std::uint32_t>::max();
    return static_cast<std::uint32_t>(std::clamp(value, 0.0, MOST));
}

std::uint32_t evenBelow(std::uint32_t length) {
    return std::max(2u, length & ~1u);
}

} // namespace

FrameSize inSquarePixels(FrameSize coded, Ratio pixelAspect) {
    const auto [wide, high] = pixelAspect;
    if (wide == 0 || high == 0 || wide == high || coded.width == 0) return coded;
    const double width = static_cast<double>(coded.width) * wide / high;
    return {std::max(1u, wholePart(std::round(width))), coded.height};
}

std::optional<FrameSize> encodedSize(FrameSize source, std::int32_t maxWidth,
                                     std::int32_t maxHeight) {
    FrameSize size{maxWidth > 0 ? static_cast<std::uint32_t>(maxWidth) : source.width,
                   maxHeight > 0 ? static_cast<std::uint32_t>(maxHeight) : source.height};
    if (size.width == 0 || size.height == 0) return std::nullopt;
    if (maxWidth > 0 && maxHeight > 0 && source.width > 0 && source.height > 0) {
        const double width = source.width, height = source.height;
        const double scale = std::min(maxWidth / width, maxHeight / height);
        size = {wholePart(width * scale + BELOW_WHOLE), wholePart(height * scale + BELOW_WHOLE)};
    }
    return FrameSize{evenBelow(size.width), evenBelow(size.height)};
}

Ratio encodedRate(Ratio source) {
    return source.numerator != 0 && source.denominator != 0 ? source : Ratio{30, 1};
}

std::uint32_t videoBitrate(FrameSize output, Ratio rate, FrameSize source,
                           std::uint32_t sourceBitrate) {
    if (sourceBitrate == 0) {
        const auto [pictures, seconds] = encodedRate(rate);
        const double perSecond = static_cast<double>(pictures) / seconds;
        return wholePart(std::clamp(areaOf(output) * perSecond * 0.045, 2'000'000.0, MOST_BITS));
    }
    const bool known = source.width > 0 && source.height > 0;
    const double sourceArea = std::max(1.0, areaOf(known ? source : output));
    const double wanted = std::sqrt(areaOf(output) / sourceArea) * sourceBitrate * 1.8;
    return wholePart(std::clamp(wanted, 1'000'000.0, MOST_BITS));
}

} // namespace velkantrix
