#include "app/volume.h"

#include <algorithm>
#include <cmath>

namespace velkantrix {
namespace {

constexpr double STEP = 0.05;

double moved(double level, double by) {
    return std::clamp(level + by, 0.0, 1.0);
}

} // namespace

double levelWithin(double level) {
    return level > 0 ? std::min(level, 1.0) : 0.0;
}

int volumePercent(double level) {
    return static_cast<int>(std::lround(levelWithin(level) * 100));
}

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
