#include "playback/scrub_request.h"

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

} // namespace velkantrix
