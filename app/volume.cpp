#include "app/volume.h"

#include <algorithm>

namespace velkantrix {
namespace {

constexpr double STEP = 0.05;

double moved(double level, double by) {
    return std::clamp(level + by, 0.0, 1.0);
}

} // namespace

Volume louder(Volume volume) {
    return {.level = moved(volume.level, STEP), .muted = false};
}

Volume softer(Volume volume) {
    return {.level = moved(volume.level, -STEP), .muted = volume.muted};
}

Volume toggledMute(Volume volume) {
    return {.level = volume.level, .muted = !volume.muted};
}

} // namespace velkantrix
