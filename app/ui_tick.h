// ui_tick.h: what the window does at each tick of its clock. It only decides; the window carries
// out.
//
// Seconds are those of the source, milliseconds those of the system's tick count. UI thread.
#pragma once

#include <cstdint>
#include <optional>

#include "edit/segment.h"

namespace velkantrix {

// Periods of timer 200, and of timer 201, in milliseconds.
inline constexpr std::uint32_t IDLE_TICK = 250;
inline constexpr std::uint32_t PLAYING_TICK = 33;
inline constexpr std::uint32_t DIAGNOSTICS_TICK = 1000;

struct ScreenPoint {
    std::int32_t x = 0;
    std::int32_t y = 0;
    bool operator==(const ScreenPoint&) const = default;
};

// The transport bar lies over a fullscreen video: it comes with the mouse and goes without it.
struct TransportHiding {
    ScreenPoint lastCursor;
    std::uint64_t movedAt = 0; // when the cursor was last somewhere else
};
enum class TransportChange { None, Show, Hide };
TransportChange hideOrShowTransport(TransportHiding& state, ScreenPoint cursor, std::uint64_t now,
                                    bool visible, bool volumeDragged);

// Whether the video child may be shown: once a picture is there, or when none comes.
struct RevealInput {
    bool presented = false; // a frame of the engine has been drawn
    bool playing = false;
    std::uint64_t sinceOpen = 0; // milliseconds
    double time = 0;             // of the playhead
    double resumedAt = 0;        // where playing began
};
bool isTimeToReveal(const RevealInput& input);

// Removed parts are played over: where to go on from `time`. Behind the last clip it ends.
struct PlayOn {
    enum class Step { Continue, Jump, Pause };
    Step step = Step::Continue;
    std::int32_t clip = -1; // that is played, or jumped to; -1 when there is none
    double time = 0;        // to jump to
    bool operator==(const PlayOn&) const = default;
};
PlayOn playOn(const ClipList& clips, double time);

// Where a step jumps to; -1 when it doesn't.
inline double jumpTarget(const PlayOn& step) {
    return step.step == PlayOn::Step::Jump ? step.time : -1;
}

// The clip to be selected when playing comes from one clip to another: the selection goes along,
// unless the user has selected another clip.
std::int32_t followedSelection(std::int32_t selected, std::int32_t playedBefore,
                               std::int32_t played);

// What has to be drawn again after the time has gone on.
struct TickMemory {
    double paintedTime = 0;
    bool wasPlaying = false;
    std::int32_t playedClip = -1;   // at the last tick
    double jumpedTo = -1;           // where playing went on last, until it is there
    std::uint64_t peaksVersion = 0; // of the waveform that is drawn or about to be
};
struct TickChange {
    bool anything = false;       // the strip is drawn again, the fade applied
    bool playingChanged = false; // the transport bar is drawn again
};
TickChange noteTime(TickMemory& memory, double time, bool playing);

// Whether the waveform has changed: the strip is drawn again.
bool notePeaks(TickMemory& memory, std::uint64_t version);

// The period that the tick is to have, when it isn't the one that it has. A job's isn't touched.
struct TickNeeds {
    bool jobRuns = false;
    bool awaitsPicture = false; // of a video that is loaded
    bool playing = false;       // or about to
};
std::optional<std::uint32_t> newTickPeriod(const TickNeeds& needs, std::uint32_t period);

} // namespace velkantrix
