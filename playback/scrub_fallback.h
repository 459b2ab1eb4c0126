// scrub_fallback.h: previews of files that scrub_decoder.h can't decode, by way of a source reader
// that gives 32-bit pictures in memory.
//
// A reader that is sought begins at the keyframe in front. That one is shown at once as the
// approximate frame, unless the next one lies behind the time asked for already: then it is the
// exact one, as it is in files of keyframes alone, which have no index. When the hand rests,
// reading goes on from there, and of the frames read the last one at or before the time asked for
// is the exact one: what the engine settles on.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "base/com_ptr.h"
#include "base/ticks.h"
#include "playback/scrub_host.h"

namespace velkantrix {

// Runs on a scrub decoder thread, in its apartment, until decodersRunning is cleared. `unfinished`
// is a request that the thread had taken before.
void runScrubFallback(const ScrubHost& host, std::optional<ClaimedPreview> unfinished);

class FallbackReader {
public:
    explicit FallbackReader(const ScrubHost& host) : host_(host) {}

    [[nodiscard]] DecodedPreview decodeKey(double seconds);
    [[nodiscard]] DecodedPreview decodeExact(double seconds,
                                             const std::function<bool()>& superseded);

    // The pixels of what was decoded last, and their size.
    [[nodiscard]] std::vector<std::uint8_t>& pixels() { return pixels_; }
    [[nodiscard]] PictureSize size() const { return size_; }

private:
    // How a type has its pictures lie in memory.
    struct Layout {
        PictureSize size;
        std::int32_t stride = 0;
    };
    struct Frame {
        ComPtr<IMFSample> sample; // none: there are no more
        Ticks time = 0;
        Layout layout; // of the type that it came with: the next may have another
    };

    [[nodiscard]] HRESULT prepare();
    [[nodiscard]] HRESULT openReader();
    [[nodiscard]] HRESULT setType(PictureSize size);
    [[nodiscard]] HRESULT readGrantedType();
    using Stopped = std::function<bool()>;
    [[nodiscard]] HRESULT seekTo(double seconds, const Stopped& stopped);
    [[nodiscard]] HRESULT seekToFrame(double seconds, const Stopped& stopped);
    [[nodiscard]] HRESULT firstFrameFrom(double seconds, const Stopped& stopped);
    [[nodiscard]] HRESULT read(Frame& frame, const Stopped& stopped);
    [[nodiscard]] HRESULT copyPixels(const Frame& frame);
    [[nodiscard]] DecodedPreview take(const Frame& frame, bool exact);
    [[nodiscard]] DecodedPreview missFor(HRESULT result);
    [[nodiscard]] DecodedPreview miss();

    const ScrubHost& host_;
    ComPtr<IMFSourceReader> reader_; // opened for the first request, and again after a failure
    PictureSize size_;               // of the type that is set
    Layout granted_;                 // of the next frame
    Frame best_;
    Frame ahead_;
    std::optional<double> sought_; // where the two are
    std::vector<std::uint8_t> pixels_;
};

// In a row: a reader that gives neither pictures nor an end would never be left.
inline constexpr int MOST_EMPTY_READS = 10'000;

} // namespace velkantrix
