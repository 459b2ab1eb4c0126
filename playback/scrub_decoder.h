// scrub_decoder.h: what runs on a scrub decoder thread: samples straight from the file's index,
// decoded by the system's transform into textures of the shared device.
#pragma once

#include <functional>
#include <optional>

#include "playback/exact_search.h"
#include "playback/h264_transform.h"
#include "playback/scrub_host.h"
#include "playback/scrub_samples.h"

namespace velkantrix {

// The body of a thread. Returns when decodersRunning is cleared, and has let go of the file then. A
// file that can't be decoded so is previewed by runScrubFallback.
void runScrubDecoder(const ScrubHost& host);

// One thread's decoder.
class ScrubDecoder {
public:
    // False when the file can't be decoded so.
    [[nodiscard]] bool setUp(const ScrubHost& host);

    [[nodiscard]] DecodedPreview decodeKey(double seconds);
    [[nodiscard]] DecodedPreview decodeExact(double seconds,
                                             const std::function<bool()>& superseded);

    // Where the picture decoded last lies, once; false when it is in no texture.
    [[nodiscard]] bool takeTexture(DecodedTexture& decoded);

private:
    // Failed: the transform did; NotFound: anything else.
    enum class Step { Going, Found, NotFound, Failed, Unusable };
    [[nodiscard]] HRESULT decodeSample();
    // What a way of decoding has come to so far. Keyframes alone say nothing of what is coded from
    // others.
    struct Record {
        int failures = 0; // of the transform, since it last gave what was asked for
        bool succeeded = false;
    };
    [[nodiscard]] static DecodedPreview done(Record& record, Ticks time);
    [[nodiscard]] static DecodedPreview failed(Record& record, HRESULT result);
    [[nodiscard]] static Step stepFor(HRESULT result);
    Step feedNext(ExactSearch& search, const std::function<bool()>& superseded);
    Step pullAll(ExactSearch& search);
    Step endFeeding(ExactSearch& search);

    ScrubSamples samples_;
    H264Transform transform_;
    ScrubSample sample_;
    DecodedPicture picture_; // the best of what was decoded last
    Ticks pictureTime_ = 0;
    Record keyframes_;
    Record exact_;

    // Of an exact search.
    bool sampleWaits_ = false; // the transform didn't take it yet
    bool draining_ = false;
};

// After so many in a row a transform isn't asked any more.
inline constexpr int MOST_TRANSFORM_FAILURES = 5;

} // namespace velkantrix
