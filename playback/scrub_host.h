// scrub_host.h: what scrub decoder threads have of the controller that they work for. It outlives
// them.
#pragma once

#include <windows.h>

#include <mfobjects.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <string>
#include <vector>

#include "base/com_ptr.h"
#include "playback/h264_transform.h"
#include "playback/scrub_loop.h"
#include "playback/source_track.h"

namespace velkantrix {

struct ScrubHost {
    std::wstring path;
    double fps = 0;
    std::optional<SourceSound> ownSource; // how the program's own media source would take the file
    ComPtr<IMFDXGIDeviceManager> manager;
    ScrubRequest* scrub = nullptr;

    // Called by any thread that holds no lock.
    std::function<PictureSize()> videoSize; // as it is shown
    std::function<ScrubOutcome(const DecodedTexture& decoded, const PreviewFrame& frame)>
        deliverTexture;
    // Takes the pixels, BGRA with the top row first, and may give others back, to be used again.
    std::function<ScrubOutcome(std::vector<std::uint8_t>& pixels, PictureSize size,
                               const PreviewFrame& frame)>
        deliverPixels;
};

inline constexpr Ticks SCRUB_SLACK = 10'000; // 1 ms: a frame that begins so soon is meant

// The calls of a loop, but for decoding and delivering.
inline void sleepThread(std::int32_t milliseconds) {
    Sleep(static_cast<DWORD>(milliseconds));
}

} // namespace velkantrix
