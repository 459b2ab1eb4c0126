#include "export/sound_line.h"

namespace velkantrix {

Ticks SoundLine::end() const {
    return addTicks(counted_, ticksFromUnits(frames_, SOUND_RATE));
}

std::uint32_t SoundLine::missingUntil(Ticks time) const {
    const Ticks gap = subtractTicks(time, end());
    if (gap <= ROUNDING) return 0;
    if (gap >= TICKS_PER_SECOND) return SOUND_RATE;
    return static_cast<std::uint32_t>(gap * SOUND_RATE / TICKS_PER_SECOND);
}

bool SoundLine::breaksAt(Ticks time) const {
    return joined_ || (begun_ && subtractTicks(end(), time) > ROUNDING);
}

void SoundLine::wrote(Ticks time, std::uint32_t frames) {
    if (!begun_ || breaksAt(time)) {
        counted_ = time;
        frames_ = 0;
    }
    begun_ = true;
    joined_ = false;
    frames_ += frames;
}

} // namespace velkantrix
