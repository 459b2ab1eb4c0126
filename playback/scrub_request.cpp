#include "playback/scrub_request.h"

#include <algorithm>

namespace velkantrix {

void requestPreview(ScrubRequest& scrub, double seconds) {
    const Lock held(scrub.lock);
    scrub.scrubTime = seconds;
    ++scrub.scrubRequested;
}

void supersedePreviews(ScrubRequest& scrub) {
    const Lock held(scrub.lock);
    const std::int64_t number = ++scrub.scrubRequested;
    scrub.scrubClaimed = number;
    scrub.previewRequestId = number;
    scrub.previewTime = NO_PREVIEW_TIME;
    scrub.previewPending = false;
}

std::optional<ClaimedPreview> claimPreview(ScrubRequest& scrub) {
    // Mostly there is nothing to do: then the lock is left to the thread that asks.
    if (scrub.scrubRequested == scrub.scrubClaimed) return std::nullopt;
    const Lock held(scrub.lock);
    const std::int64_t requested = scrub.scrubRequested;
    std::int64_t claimed = scrub.scrubClaimed;
    if (requested == claimed) return std::nullopt;
    if (!scrub.scrubClaimed.compare_exchange_strong(claimed, requested)) return std::nullopt;
    return ClaimedPreview{requested, scrub.scrubTime};
}

bool isSuperseded(const ScrubRequest& scrub, std::int64_t number) {
    return scrub.scrubRequested != number;
}

bool isFresh(const ScrubRequest& scrub, const PreviewFrame& frame) {
    const std::int64_t shown = scrub.previewRequestId;
    return frame.exact ? shown <= frame.number : shown < frame.number;
}

void publishPreview(ScrubRequest& scrub, const PreviewFrame& frame) {
    scrub.previewRequestId = frame.number;
    // The edit list may put the first picture's time in front of the beginning, where it is shown.
    scrub.previewTime = std::max(frame.seconds, 0.0);
    scrub.previewIsNv12 = frame.isNv12;
    scrub.previewPending = true;
}

} // namespace velkantrix
