// scrub_decoder.cpp: runs on a scrub decoder thread. It touches its own decoder, the scrub request
// and, by way of the host, the presenter under the device lock.
#include "playback/scrub_decoder.h"

#include <mferror.h>

#include <utility>

#include "platform/com.h"
#include "platform/hresult.h"
#include "playback/scrub_fallback.h"

namespace velkantrix {

bool ScrubDecoder::setUp(const ScrubHost& host) {
    // Closing the file waits for this thread.
    if (!samples_.open(host.path, host.ownSource) || !host.scrub->decodersRunning) return false;
    const PictureSize size{static_cast<std::int32_t>(samples_.width()),
                           static_cast<std::int32_t>(samples_.height())};
    return SUCCEEDED(
        transform_.setUp({.size = size, .rate = frameRateOf(host.fps)}, host.manager.get()));
}

DecodedPreview ScrubDecoder::decodeKey(double seconds) {
    picture_ = {};
    if (!samples_.keyframeAt(seconds, sample_)) return {};
    const HRESULT decoded = decodeSample();
    if (FAILED(decoded)) return failed(keyframes_, decoded);
    return done(keyframes_, sample_.pts);
}

HRESULT ScrubDecoder::decodeSample() {
    RETURN_IF_FAILED(transform_.restart());
    RETURN_IF_FAILED(transform_.feed(sample_));
    RETURN_IF_FAILED(transform_.drain());
    return transform_.pull(picture_);
}

DecodedPreview ScrubDecoder::done(Record& record, Ticks time) {
    record = {.succeeded = true};
    return {.outcome = ScrubOutcome::Done, .seconds = secondsOf(time)};
}

// A decoder that has worked gives no picture where what it was fed is damaged.
DecodedPreview ScrubDecoder::failed(Record& record, HRESULT result) {
    if (result == MF_E_SAMPLEALLOCATOR_EMPTY) return {};
    if (result == MF_E_TRANSFORM_NEED_MORE_INPUT && record.succeeded) return {};
    const bool isLast = result == E_NOTIMPL || ++record.failures >= MOST_TRANSFORM_FAILURES;
    return {.outcome = isLast ? ScrubOutcome::Unusable : ScrubOutcome::Missed};
}

DecodedPreview ScrubDecoder::decodeExact(double seconds, const std::function<bool()>& superseded) {
    const Ticks target = addTicks(nearestTicks(seconds), SCRUB_SLACK);
    picture_ = {};
    sampleWaits_ = false;
    draining_ = false;
    if (!samples_.begin(target, superseded)) return {};
    ExactSearch search(target);
    Step step = stepFor(transform_.restart());
    while (step == Step::Going) {
        if (superseded()) step = Step::NotFound;
        if (step == Step::Going && !draining_) step = feedNext(search, superseded);
        if (step == Step::Going) step = pullAll(search);
    }
    if (step == Step::Found && picture_.sample) return done(exact_, pictureTime_);
    picture_ = {};
    if (step == Step::NotFound) return {};
    if (step == Step::Found) return failed(exact_, MF_E_TRANSFORM_NEED_MORE_INPUT);
    return failed(exact_, step == Step::Unusable ? E_NOTIMPL : E_FAIL);
}

ScrubDecoder::Step ScrubDecoder::stepFor(HRESULT result) {
    if (SUCCEEDED(result)) return Step::Going;
    if (result == E_NOTIMPL) return Step::Unusable;
    return result == MF_E_SAMPLEALLOCATOR_EMPTY ? Step::NotFound : Step::Failed;
}

ScrubDecoder::Step ScrubDecoder::feedNext(ExactSearch& search,
                                          const std::function<bool()>& superseded) {
    if (!sampleWaits_) {
        const WalkOutcome read = samples_.next(sample_, superseded);
        // What can't be read might have been the frame that is looked for.
        if (read == WalkOutcome::Failed && !search.covered()) return Step::NotFound;
        if (read != WalkOutcome::Sample) return endFeeding(search);
    }
    const HRESULT fed = transform_.feed(sample_);
    sampleWaits_ = fed == MF_E_NOTACCEPTING;
    if (sampleWaits_) return Step::Going;
    if (FAILED(fed)) return Step::Failed;
    if (search.fed(sample_.pts, sample_.duration) == ExactSearch::Feed::More) return Step::Going;
    return endFeeding(search);
}

ScrubDecoder::Step ScrubDecoder::endFeeding(ExactSearch& search) {
    search.allFed();
    draining_ = true;
    if (search.found()) return Step::Found;
    return SUCCEEDED(transform_.drain()) ? Step::Going : Step::Failed;
}

ScrubDecoder::Step ScrubDecoder::pullAll(ExactSearch& search) {
    bool any = false;
    while (true) {
        DecodedPicture picture;
        const HRESULT pulled = transform_.pull(picture);
        if (pulled == MF_E_TRANSFORM_NEED_MORE_INPUT) {
            if (draining_) return Step::Found; // as far as it can be had
            // Neither in nor out: it would never end.
            return sampleWaits_ && !any ? Step::Failed : Step::Going;
        }
        if (FAILED(pulled)) return stepFor(pulled);
        any = true;
        LONGLONG time = 0;
        if (FAILED(picture.sample->GetSampleTime(&time)) || !search.keeps(time)) continue;
        picture_ = std::move(picture);
        pictureTime_ = time;
        if (search.found()) return Step::Found;
    }
}

bool ScrubDecoder::takeTexture(DecodedTexture& decoded) {
    const DecodedPicture picture = std::exchange(picture_, {});
    return picture.sample && SUCCEEDED(H264Transform::textureOf(picture, decoded));
}

void runScrubDecoder(const ScrubHost& host) {
    const ComApartment apartment(COINIT_MULTITHREADED);
    std::optional<ClaimedPreview> unfinished;
    {
        ScrubDecoder decoder;
        if (decoder.setUp(host)) {
            unfinished = runScrubLoop(
                *host.scrub,
                {.decodeKey = [&](double seconds) { return decoder.decodeKey(seconds); },
                 .decodeExact =
                     [&](double seconds, const std::function<bool()>& superseded) {
                         return decoder.decodeExact(seconds, superseded);
                     },
                 .deliver =
                     [&](const PreviewFrame& frame) {
                         DecodedTexture decoded;
                         if (!decoder.takeTexture(decoded)) return ScrubOutcome::Unusable;
                         return host.deliverTexture(decoded, frame);
                     },
                 .sleep = sleepThread});
        }
    }
    runScrubFallback(host, unfinished);
}

} // namespace velkantrix
