// edge_limits.h: how the moving edges of trims and roll cuts are kept in bounds.
#pragma once

#include <cmath>

#include "edit/edit_state.h"

namespace velkantrix {

// Where there is no room between the bounds, the upper one wins whatever t is. Comparing t with one
// after the other doesn't do: a t below both would land on the lower bound, past the upper.
inline double keptWithin(double t, double low, double high) {
    if (t > high || low > high) return high;
    return t < low ? low : t;
}

inline bool isSameTime(double a, double b) {
    return std::abs(a - b) <= CHANGE_THRESHOLD;
}

// What the keys do while an edge is being moved; ends the status text of trims and roll cuts.
inline constexpr wchar_t NUDGE_HINT[] = L"   ·   ← → 5 s   ·   , . frame   ·   Esc done";

} // namespace velkantrix
