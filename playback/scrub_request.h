// scrub_request.h: what the UI thread and the scrub decoder threads tell each other while the user
// drags the playhead. Only the latest time asked for counts: requests are numbered, never queued.
//
// Times are seconds of the source.
#pragma once

#include <atomic>
#include <cstdint>

#include "base/mutex.h"

namespace velkantrix {

inline constexpr double NO_PREVIEW_TIME = -1.0;
inline constexpr std::int64_t NO_PREVIEW_ID = -1;

struct ScrubRequest {
    Mutex lock; // the innermost of the picture's locks

    double scrubTime GUARDED_BY(lock) = 0; // the latest time asked for

    // Both are changed under the lock only; decoders look at them without it, to see whether what
    // they work on is still wanted.
    std::atomic<std::int64_t> scrubRequested{0}; // counts the requests: the number of the latest
    std::atomic<std::int64_t> scrubClaimed{0};   // the latest that a decoder took

    // The preview that waits to be shown. Written by decoders under the device lock, and by the
    // start and the end of a scrub.
    std::atomic<std::int64_t> previewRequestId{0};
    std::atomic<double> previewTime{NO_PREVIEW_TIME};
    std::atomic<bool> previewIsNv12{false}; // in the plane textures, else in the BGRA pixels
    std::atomic<bool> previewPending{false};

    // The one last shown. Written by the presenter thread, and by the start of a scrub.
    std::atomic<std::int64_t> previewShownId{NO_PREVIEW_ID};
    std::atomic<double> previewShownTime{NO_PREVIEW_TIME};

    std::atomic<bool> decodersRunning{false};
};

// A new request, for any decoder to take.
void requestPreview(ScrubRequest& scrub, double seconds) EXCLUDES(scrub.lock);

// Makes every earlier request a thing of the past: none can be claimed any more, and no frame that
// was decoded for one counts as new enough to be shown.
void supersedePreviews(ScrubRequest& scrub) EXCLUDES(scrub.lock);

} // namespace velkantrix
