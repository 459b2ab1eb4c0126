// scrub_decoder.cpp: runs on a scrub decoder thread. It touches its own decoder, the scrub request
// and, by way of the host, the presenter under the device lock.
#include "playback/scrub_decoder.h"

#include <mferror.h>

#include "platform/com.h"
#include "platform/hresult.h"
#include "playback/scrub_fallback.h"

namespace velkantrix {

bool ScrubDecoder::setUp(const ScrubHost& host) {
    if (!samples_.open(host.path, host.ownSource)) return false;
    const PictureSize size{static_cast<std::int32_t>(samples_.width()),
                           static_cast<std::int32_t>(samples_.height())};
    return SUCCEEDED(
        transform_.setUp({.size = size, .rate = frameRateOf(host.fps)}, host.manager.get()));
}

DecodedPreview ScrubDecoder::decodeKey(double seconds) {
    picture_.reset();
    if (!samples_.keyframeAt(seconds, sample_)) return {};
    if (FAILED(transform_.restart()) || FAILED(transform_.feed(sample_)) ||
        FAILED(transform_.drain()))
        return {};
    const HRESULT pulled = transform_.pull(picture_);
    if (pulled == E_NOTIMPL) return {.outcome = ScrubOutcome::Unusable};
    if (FAILED(pulled)) return {};
    return {.outcome = ScrubOutcome::Done, .seconds = secondsOf(sample_.pts)};
}

DecodedPreview ScrubDecoder::decodeExact(double seconds, const std::function<bool()>& superseded) {
    const Ticks target = addTicks(nearestTicks(seconds), SCRUB_SLACK);
    picture_.reset();
    sampleWaits_ = false;
    draining_ = false;
    if (!samples_.begin(target, superseded) || FAILED(transform_.restart())) return {};
    ExactSearch search(target);
    Step step = Step::Going;
    while (step == Step::Going) {
        if (superseded()) step = Step::NotFound;
        if (step == Step::Going && !draining_) step = feedNext(search);
        if (step == Step::Going) step = pullAll(search);
    }
    if (step == Step::Unusable) return {.outcome = ScrubOutcome::Unusable};
    if (step == Step::NotFound || !picture_) {
        picture_.reset();
        return {};
    }
    return {.outcome = ScrubOutcome::Done, .seconds = secondsOf(pictureTime_)};
}

ScrubDecoder::Step ScrubDecoder::feedNext(ExactSearch& search) {
    if (!sampleWaits_) {
        const WalkOutcome read = samples_.next(sample_);
        // What can't be read might have been the frame that is looked for.
        if (read == WalkOutcome::Failed && !search.covered()) return Step::NotFound;
        if (read != WalkOutcome::Sample) return endFeeding(search);
    }
    const HRESULT fed = transform_.feed(sample_);
    sampleWaits_ = fed == MF_E_NOTACCEPTING;
    if (sampleWaits_) return Step::Going;
    if (FAILED(fed)) return Step::NotFound;
    if (search.fed(sample_.pts, sample_.duration) == ExactSearch::Feed::More) return Step::Going;
    return endFeeding(search);
}

ScrubDecoder::Step ScrubDecoder::endFeeding(ExactSearch& search) {
    search.allFed();
    draining_ = true;
    if (search.found()) return Step::Found;
    return SUCCEEDED(transform_.drain()) ? Step::Going : Step::NotFound;
}

ScrubDecoder::Step ScrubDecoder::pullAll(ExactSearch& search) {
    bool any = false;
    while (true) {
        ComPtr<IMFSample> picture;
        const HRESULT pulled = transform_.pull(picture);
        if (pulled == E_NOTIMPL) return Step::Unusable;
        if (pulled == MF_E_TRANSFORM_NEED_MORE_INPUT) {
            if (draining_) return Step::Found; // as far as it can be had
            // Neither in nor out: it would never end.
            return sampleWaits_ && !any ? Step::NotFound : Step::Going;
        }
        if (FAILED(pulled)) return Step::NotFound;
        any = true;
        LONGLONG time = 0;
        if (FAILED(picture->GetSampleTime(&time)) || !search.keeps(time)) continue;
        picture_ = std::move(picture);
        pictureTime_ = time;
        if (search.found()) return Step::Found;
    }
}

bool ScrubDecoder::takeTexture(DecodedTexture& decoded) {
    const ComPtr<IMFSample> picture = std::move(picture_);
    return picture && SUCCEEDED(transform_.textureOf(picture.get(), decoded));
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
