// sound_line.h: how far the sound of a re-encode reaches, and the silence that it needs.
//
// Encoders of sound may count what they get, and look at a time only where they are told of a
// break. And what puts pictures and sound into one file holds the one back while it waits for the
// other. So the sound of an output has no gaps: where the source has none, there is silence.
//
//     source:   |sound|      |sound|                  end of the stream; pictures go on
//     output:   |sound|silent|sound|silent|silent|
//
// Times are the output's, in ticks of 100 ns. One object per export, used by one thread.
#pragma once

#include <cstdint>

#include "base/ticks.h"

namespace velkantrix {

// Sound on its way to the encoder: two channels of 16 bits, interleaved.
inline constexpr std::uint32_t SOUND_RATE = 48'000;  // samples of each channel a second
inline constexpr std::uint32_t SOUND_FRAME_SIZE = 4; // bytes of one sample of each channel

class SoundLine {
public:
    // Up to here sound that comes late follows what was before it. Files round their times, the
    // coarsest to milliseconds, so that two of them may be one apart from what lies between: that
    // is no gap, and silence put there would be heard as a click.
    static constexpr Ticks ROUNDING = 2 * TICKS_PER_SECOND / 1000;

    // What is written next lies behind a join, unless nothing was written so far.
    void beginSpan() { joined_ = begun_; }

    // Where the next piece of silence begins, and how many frames it has if sound is to reach
    // `time`: a second's at most, 0 when it does. To be written, and asked for again.
    [[nodiscard]] Ticks end() const;
    [[nodiscard]] std::uint32_t missingUntil(Ticks time) const;

    // Whether an encoder must be told that sound of this time doesn't follow what it has: at joins,
    // and where the source goes back.
    [[nodiscard]] bool breaksAt(Ticks time) const;

    // Sound or silence was written.
    void wrote(Ticks time, std::uint32_t frames);

private:
    // Counted from the last break on, so that roundings don't add up.
    Ticks counted_ = 0;
    std::int64_t frames_ = 0;
    bool begun_ = false;
    bool joined_ = false;
};

} // namespace velkantrix
