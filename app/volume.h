// volume.h: how loud the sound is, and whether it is heard.
#pragma once

namespace velkantrix {

struct Volume {
    double level = 1.0; // 0 to 1
    bool muted = false;
    bool operator==(const Volume&) const = default;
};

// The level kept within 0 and 1; what is no number is silent.
[[nodiscard]] double levelWithin(double level);

// In whole percent, as it is stored and read aloud.
[[nodiscard]] int volumePercent(double level);

// One step louder, and heard again.
Volume louder(Volume volume);

// One step softer. What is muted stays muted.
Volume softer(Volume volume);

Volume toggledMute(Volume volume);

} // namespace velkantrix
