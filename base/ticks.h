// ticks.h: between seconds (double) and ticks, the 100-nanosecond units of media times (signed
// 64-bit).
#pragma once

#include <cstdint>

namespace velkantrix {

using Ticks = std::int64_t;

inline constexpr Ticks TICKS_PER_SECOND = 10'000'000;

// How the boundary of an export span becomes ticks: it multiplies by 10,000,000, adds a half, then
// cuts towards zero. That differs from rounding to nearest below zero only: -1.4 ticks become 0.
// Seconds beyond the range of Ticks give its nearest end, not-a-number gives 0.
Ticks spanBoundaryTicks(double seconds);

// Rounded to nearest, halves away from zero: all other times that are handed to the platform.
// The range is kept as above.
Ticks nearestTicks(double seconds);

double secondsOf(Ticks ticks);

// `units` of which `unitsPerSecond`, above 0, make a second; cut towards zero, the range kept.
Ticks ticksFromUnits(std::int64_t units, std::uint32_t unitsPerSecond);

// a + b, kept at the ends of the range: times come from files, and files may say anything.
Ticks addTicks(Ticks a, Ticks b);

// a - b, kept likewise.
Ticks subtractTicks(Ticks a, Ticks b);

} // namespace velkantrix
