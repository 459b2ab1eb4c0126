#include "base/ticks.h"

#include <cmath>
#include <limits>

namespace velkantrix {
namespace {

constexpr Ticks LOWEST = std::numeric_limits<Ticks>::min();
constexpr Ticks HIGHEST = std::numeric_limits<Ticks>::max();

// 2^63: the first double past the range; a cast from there on is undefined.
constexpr double RANGE_END = 9223372036854775808.0;

Ticks truncated(double ticks) {
    if (std::isnan(ticks)) return 0;
    if (ticks >= RANGE_END) return HIGHEST;
    if (ticks <= -RANGE_END) return LOWEST;
    return static_cast<Ticks>(ticks);
}

} // namespace

Ticks spanBoundaryTicks(double seconds) {
    return truncated(seconds * static_cast<double>(TICKS_PER_SECOND) + 0.5);
}

Ticks nearestTicks(double seconds) {
    return truncated(std::round(seconds * static_cast<double>(TICKS_PER_SECOND)));
}

double secondsOf(Ticks ticks) {
    return static_cast<double>(ticks) / static_cast<double>(TICKS_PER_SECOND);
}

Ticks ticksFromUnits(std::int64_t units, std::uint32_t unitsPerSecond) {
    const std::int64_t perSecond = unitsPerSecond;
    const std::int64_t seconds = units / perSecond;
    if (seconds > HIGHEST / TICKS_PER_SECOND) return HIGHEST;
    if (seconds < LOWEST / TICKS_PER_SECOND) return LOWEST;
    // The rest is below 2^32, so its product fits.
    return addTicks(seconds * TICKS_PER_SECOND, units % perSecond * TICKS_PER_SECOND / perSecond);
}

Ticks addTicks(Ticks a, Ticks b) {
    if (b > 0 && a > HIGHEST - b) return HIGHEST;
    if (b < 0 && a < LOWEST - b) return LOWEST;
    return a + b;
}

Ticks subtractTicks(Ticks a, Ticks b) {
    if (b < 0 && a > HIGHEST + b) return HIGHEST;
    if (b > 0 && a < LOWEST + b) return LOWEST;
    return a - b;
}

} // namespace velkantrix
