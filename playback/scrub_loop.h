// scrub_loop.h: what a scrub decoder thread does, again and again: it takes the latest request,
// shows the keyframe at once and, when the hand rests, the exact frame.
//
// Portable, over a record of calls, so that the tests run what ships. Seconds are those of the
// source.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>

#include "playback/scrub_request.h"

namespace velkantrix {

inline constexpr std::int32_t SCRUB_IDLE = 1;    // milliseconds between looks for a request
inline constexpr std::int32_t SCRUB_SETTLE = 75; // milliseconds without a newer request
inline constexpr std::int32_t SCRUB_SETTLE_STEP = 3;

enum class ScrubOutcome {
    Done,     // a frame was decoded; a frame was delivered, or was too late
    Missed,   // not this time; the next may succeed
    Unusable, // this way of decoding can't show this file
};

struct DecodedPreview {
    ScrubOutcome outcome = ScrubOutcome::Missed;
    double seconds = 0; // when the frame is shown
    bool exact = false; // of decodeKey: the frame is known to be the one asked for
};

// All run on the thread that runs the loop. What was decoded stays with the decoder until it is
// delivered or something else is decoded.
struct ScrubCalls {
    std::function<DecodedPreview(double seconds)> decodeKey;
    // Gives up, as missed, once `superseded` is true.
    std::function<DecodedPreview(double seconds, const std::function<bool()>& superseded)>
        decodeExact;
    // Shows what was decoded last, unless it isn't fresh any more. `isNv12` is the deliverer's to
    // say.
    std::function<ScrubOutcome(const PreviewFrame& frame)> deliver;
    std::function<void(std::int32_t milliseconds)> sleep;
};

// Runs while scrub.decodersRunning. Ends before that only when the file turns out to be unusable;
// then it gives back the request that it had taken. `unfinished` is one that was taken before.
std::optional<ClaimedPreview> runScrubLoop(ScrubRequest& scrub, const ScrubCalls& calls,
                                           std::optional<ClaimedPreview> unfinished = {})
    EXCLUDES(scrub.lock);

} // namespace velkantrix
