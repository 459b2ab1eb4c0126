// scrub_request.h: what the UI thread and the scrub decoder threads tell each other while the user
// drags the playhead. Only the latest time asked for counts: requests are numbered, never queued.
//
// Times are seconds of the source.
#pragma once

#include <atomic>
#include <cstdint>
#include <optional>

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

    // The preview that waits to be shown. Written under the device lock: by decoders, and by the
    // start and the end of a scrub.
    std::atomic<std::int64_t> previewRequestId{0};
    std::atomic<double> previewTime{NO_PREVIEW_TIME};
    std::atomic<bool> previewIsNv12{false}; // in the plane textures, else in the BGRA pixels
    std::atomic<bool> previewPending{false};

    // The one last shown. Written by the presenter thread, and by the start of a scrub.
    std::atomic<std::int64_t> previewShownId{NO_PREVIEW_ID};
    std::atomic<double> previewShownTime{NO_PREVIEW_TIME};

    std::atomic<bool> decodersRunning{false};

    // How often an exact frame was looked for: dear, and never done for a request that has a
    // newer one.
    std::atomic<std::uint32_t> exactDecodes{0};
};

// A request that a decoder took: nobody else decodes it.
struct ClaimedPreview {
    std::int64_t number = 0;
    double seconds = 0; // the time asked for
};

// A decoded frame that may become the preview.
struct PreviewFrame {
    std::int64_t number = 0; // of its request
    double seconds = 0;      // when the frame itself is shown
    bool exact = false;      // the frame of the time asked for, not just a keyframe near it
    bool isNv12 = false;
};

// A new request, for any decoder to take.
void requestPreview(ScrubRequest& scrub, double seconds) EXCLUDES(scrub.lock);

// Makes every earlier request a thing of the past: none can be claimed any more, and no frame that
// was decoded for one counts as new enough to be shown.
void supersedePreviews(ScrubRequest& scrub) EXCLUDES(scrub.lock);

// The latest request, if no decoder has taken it yet.
[[nodiscard]] std::optional<ClaimedPreview> claimPreview(ScrubRequest& scrub) EXCLUDES(scrub.lock);

// There is a newer request than this one.
[[nodiscard]] bool isSuperseded(const ScrubRequest& scrub, std::int64_t number);

// Whether a frame is newer than the preview that there is. The exact frame may replace the keyframe
// of the same request, never the other way round.
[[nodiscard]] bool isFresh(const ScrubRequest& scrub, const PreviewFrame& frame);

// Makes a fresh frame, whose picture is in its place, the preview that waits. From the look at its
// freshness on until this is done the caller holds the device lock.
void publishPreview(ScrubRequest& scrub, const PreviewFrame& frame);

} // namespace velkantrix
