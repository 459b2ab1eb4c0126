#include "export/encode_cutter.h"

#include <algorithm>
#include <limits>

namespace velkantrix {
namespace {

constexpr Ticks EARLIER = TICKS_PER_SECOND / 10'000;

} // namespace

EncodeCutter::EncodeCutter(const std::vector<ExportSpan>& spans) : total_(totalSeconds(spans)) {}

void EncodeCutter::beginSpan(const ExportSpan& span, bool hasAudio) {
    span_ = span;
    startTicks_ = spanBoundaryTicks(span.start);
    endTicks_ = spanBoundaryTicks(span.end);
    videoDone_ = false;
    audioDone_ = !hasAudio;
    hasAudio_ = hasAudio;
    pictures_ = sound_ = {.end = startTicks_};
}

EncodeCut EncodeCutter::place(EncodedStream stream, Ticks time, Ticks duration, bool stated) {
    bool& done = stream == EncodedStream::Video ? videoDone_ : audioDone_;
    Reached& reached = stream == EncodedStream::Video ? pictures_ : sound_;
    if (time >= subtractTicks(endTicks_, EARLIER)) {
        done = true;
        reached.end = std::max(reached.end, endTicks_);
    }
    if (done || time < subtractTicks(startTicks_, EARLIER)) return {};
    const Ticks inSpan = std::max<Ticks>(0, subtractTicks(time, startTicks_));
    const Ticks left = subtractTicks(endTicks_, std::max(time, startTicks_));
    durationsStated_ = durationsStated_ || (stated && stream == EncodedStream::Video);
    reached = {
        .any = true, .end = std::max(reached.end, addTicks(time, duration)), .isOpen = !stated};
    return {.write = true,
            .time = addTicks(outBase_, inSpan),
            .duration = left > 0 ? std::min(duration, left) : duration,
            .shortened = left > 0 && left < duration,
            .gain = fadeGain(span_, secondsOf(inSpan))};
}

void EncodeCutter::endStream(EncodedStream stream) {
    (stream == EncodedStream::Video ? videoDone_ : audioDone_) = true;
}

double EncodeCutter::progressAt(Ticks outputTime) const {
    return std::min(total_, secondsOf(outputTime));
}

WrittenSpan EncodeCutter::written() const {
    WrittenSpan written{.sourceStart = span_.start,
                        .outputStart = secondsOf(outBase_),
                        .sourceEnd = secondsOf(pictures_.end),
                        .hasPictures = pictures_.any};
    if (pictures_.isOpen && durationsStated_)
        written.sourceEnd = std::numeric_limits<double>::infinity();
    if (hasAudio_) written.soundEnd = secondsOf(sound_.end);
    return written;
}

void EncodeCutter::endSpan() {
    outBase_ = addTicks(outBase_, std::max<Ticks>(0, spanBoundaryTicks(span_.end - span_.start)));
}

} // namespace velkantrix
