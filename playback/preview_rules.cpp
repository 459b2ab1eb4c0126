#include "playback/preview_rules.h"

#include <algorithm>
#include <cmath>
#include <cstddef>
#include <cstdlib>
#include <cstring>

#include "playback/open_rules.h"

namespace velkantrix {
namespace {

constexpr std::size_t BYTES_PER_PIXEL = 4;
constexpr double NTSC = 1001.0; // 29.97 is 30000 / 1001
constexpr double MOST_FPS = 1'000'000;

// Coded sizes are even: a decoder that knows nothing of the odd one states that which holds it.
bool isSizeOf(std::int32_t shown, std::int32_t video) {
    return shown - shown % 2 == video - video % 2 || shown == video + video % 2;
}

} // namespace

PictureSize evenSize(PictureSize size) {
    return {size.width - size.width % 2, size.height - size.height % 2};
}

std::optional<PictureSize> previewPart(const DecodedPlace& decoded, PictureSize video) {
    const PictureSize part = evenSize(video);
    if (part.width <= 0 || part.height <= 0) return std::nullopt;
    if (!decoded.atCorner || !isSizeOf(decoded.shown.width, video.width) ||
        !isSizeOf(decoded.shown.height, video.height))
        return std::nullopt;
    if (decoded.texture.width < part.width || decoded.texture.height < part.height)
        return std::nullopt;
    return part;
}

FrameRate frameRateOf(double fps) {
    if (!(fps > 0) || fps > MOST_FPS) return frameRateOf(DEFAULT_FPS);
    for (const double denominator : {1.0, NTSC}) {
        const double numerator = denominator == 1.0 ? fps : fps * NTSC / 1000;
        if (std::abs(numerator - std::round(numerator)) > 1e-4) continue;
        const double scale = denominator == 1.0 ? 1 : 1000;
        const auto whole = static_cast<std::uint32_t>(std::round(numerator) * scale);
        if (whole > 0) return {whole, static_cast<std::uint32_t>(denominator)};
    }
    return {std::max(1U, static_cast<std::uint32_t>(std::lround(fps * 1000))), 1000};
}

bool copyRows(std::span<const std::uint8_t> bytes, std::int32_t stride, PictureSize size,
              std::vector<std::uint8_t>& rows) {
    if (size.width <= 0 || size.height <= 0) return false;
    const auto height = static_cast<std::size_t>(size.height);
    const std::size_t rowBytes = static_cast<std::size_t>(size.width) * BYTES_PER_PIXEL;
    const auto step = static_cast<std::size_t>(std::abs(std::int64_t{stride}));
    if (step < rowBytes || bytes.size() < rowBytes) return false;
    if ((bytes.size() - rowBytes) / step < height - 1) return false;
    rows.resize(rowBytes * height);
    if (stride > 0 && step == rowBytes) {
        std::memcpy(rows.data(), bytes.data(), rows.size());
        return true;
    }
    for (std::size_t row = 0; row < height; ++row) {
        const std::size_t from = stride < 0 ? height - 1 - row : row;
        std::memcpy(rows.data() + row * rowBytes, bytes.data() + from * step, rowBytes);
    }
    return true;
}

} // namespace velkantrix
