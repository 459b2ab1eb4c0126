#include "playback/exposure_rules.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cwchar>

#include "base/exposure.h"

namespace velkantrix {
namespace {

constexpr double STEP = 0.1;
constexpr double MOST = 1.0;
constexpr double ROUNDING = 1e-9; // what ten steps there and back may leave

constexpr std::size_t LUMA_STEP = 16;
constexpr double BLACK = 16; // code values
constexpr double LUMA_RANGE = 219;
constexpr double TARGET = 89 / LUMA_RANGE; // code value 105
constexpr int DEFAULT_MEDIAN = 118;
constexpr int DEFAULT_HIGH = 210;
constexpr double HIGH_SHARE = 0.95;
constexpr double HIGHEST = 215; // code values: nothing is made brighter than this by much
constexpr double HIGH_RAMP = 70;
constexpr double STRENGTH = 0.6;
constexpr double MOST_FIXED = 0.8;
constexpr double LEAST_LUMA = 0.02; // of 1; so that the logarithm is of something
constexpr double MOST_LUMA = 0.98;

constexpr int PICTURES = 8;
constexpr double LONG_ENOUGH_TO_SEEK = 1.0; // seconds
constexpr double SHARE_OF_DURATION = 0.125;

double stepped(double exposure, double by) {
    const double moved = std::clamp(exposure + by, -MOST, MOST);
    return std::abs(moved) < ROUNDING ? 0.0 : moved;
}

// The first value by which at least so many have been counted.
int valueReaching(const LumaHistogram& histogram, std::uint64_t count, int otherwise) {
    std::uint64_t sum = 0;
    for (std::size_t value = 0; value < histogram.counts.size(); ++value) {
        sum += histogram.counts[value];
        if (sum >= count) return static_cast<int>(value);
    }
    return otherwise;
}

} // namespace

double brighterExposure(double exposure) {
    return stepped(exposure, STEP);
}

double darkerExposure(double exposure) {
    return stepped(exposure, -STEP);
}

std::wstring exposureText(double exposure) {
    if (!isExposed(exposure)) return L"Exposure reset";
    std::array<wchar_t, 64> text{};
    std::swprintf(text.data(), text.size(), L"Exposure %+.0f%%", exposure * 100);
    return text.data();
}

void countLuma(LumaHistogram& histogram, std::span<const std::uint8_t> luma) {
    for (std::size_t i = 0; i < luma.size(); i += LUMA_STEP) {
        ++histogram.counts[luma[i]];
        ++histogram.total;
    }
}

std::optional<double> exposureFor(const LumaHistogram& histogram) {
    if (histogram.total == 0) return std::nullopt;
    const int median = valueReaching(histogram, histogram.total / 2, DEFAULT_MEDIAN);
    const auto most = static_cast<std::uint64_t>(static_cast<double>(histogram.total) * HIGH_SHARE);
    const int high = valueReaching(histogram, most, DEFAULT_HIGH);
    const double luma = std::clamp((median - BLACK) / LUMA_RANGE, LEAST_LUMA, MOST_LUMA);
    double exposure =
        std::clamp(std::log(std::log(luma) / std::log(TARGET)) / std::log(3.0), -MOST, MOST);
    if (exposure > 0) exposure *= std::clamp((HIGHEST - high) / HIGH_RAMP, 0.0, 1.0);
    return std::clamp(exposure * STRENGTH, -MOST_FIXED, MOST_FIXED);
}

void samplePictures(double duration, const ExposureCalls& calls) {
    for (int i = 0; i < PICTURES; ++i) {
        if (duration > LONG_ENOUGH_TO_SEEK)
            calls.seek(nearestTicks(i * duration * SHARE_OF_DURATION));
        if (!calls.countNext()) return;
    }
}

} // namespace velkantrix
