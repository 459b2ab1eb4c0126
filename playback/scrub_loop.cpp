#include "playback/scrub_loop.h"

#include <utility>

namespace velkantrix {
namespace {

bool isWanted(const ScrubRequest& scrub, const ClaimedPreview& claimed) {
    return scrub.decodersRunning && !isSuperseded(scrub, claimed.number);
}

ScrubOutcome deliver(const ScrubCalls& calls, const ClaimedPreview& claimed,
                     const DecodedPreview& decoded, bool exact) {
    if (decoded.outcome != ScrubOutcome::Done) return decoded.outcome;
    return calls.deliver({.number = claimed.number, .seconds = decoded.seconds, .exact = exact});
}

bool settle(const ScrubRequest& scrub, const ScrubCalls& calls, const ClaimedPreview& claimed) {
    for (std::int32_t waited = 0; waited < SCRUB_SETTLE; waited += SCRUB_SETTLE_STEP) {
        if (!isWanted(scrub, claimed)) return false;
        calls.sleep(SCRUB_SETTLE_STEP);
    }
    return isWanted(scrub, claimed);
}

ScrubOutcome showExact(ScrubRequest& scrub, const ScrubCalls& calls,
                       const ClaimedPreview& claimed) {
    ++scrub.exactDecodes;
    const DecodedPreview exact =
        calls.decodeExact(claimed.seconds, [&] { return !isWanted(scrub, claimed); });
    return deliver(calls, claimed, exact, true);
}

ScrubOutcome answer(ScrubRequest& scrub, const ScrubCalls& calls, const ClaimedPreview& claimed) {
    const DecodedPreview key = calls.decodeKey(claimed.seconds);
    const ScrubOutcome shown = deliver(calls, claimed, key, key.exact);
    if (shown == ScrubOutcome::Unusable) return shown;
    if (shown == ScrubOutcome::Done && key.exact) return shown;
    if (!settle(scrub, calls, claimed)) return ScrubOutcome::Done;
    return showExact(scrub, calls, claimed);
}

} // namespace

std::optional<ClaimedPreview> runScrubLoop(ScrubRequest& scrub, const ScrubCalls& calls,
                                           std::optional<ClaimedPreview> unfinished) {
    while (scrub.decodersRunning) {
        std::optional<ClaimedPreview> claimed = std::exchange(unfinished, std::nullopt);
        if (claimed && isSuperseded(scrub, claimed->number)) claimed.reset();
        if (!claimed) claimed = claimPreview(scrub);
        if (!claimed)
            calls.sleep(SCRUB_IDLE);
        else if (answer(scrub, calls, *claimed) == ScrubOutcome::Unusable)
            return claimed;
    }
    return std::nullopt;
}

} // namespace velkantrix
