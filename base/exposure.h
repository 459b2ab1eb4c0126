// exposure.h: when a picture counts as brightened or darkened.
#pragma once

#include <cmath>

namespace velkantrix {

// In stops of base 3, as the shader has it. A thousandth or less makes no picture another one.
[[nodiscard]] inline bool isExposed(double exposure) {
    return std::abs(exposure) > 0.001;
}

} // namespace velkantrix
