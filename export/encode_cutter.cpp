#include "export/encode_cutter.h"

#include <algorithm>

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
}

EncodeCut EncodeCutter::place(EncodedStream stream, Ticks time, Ticks duration) {
    bool& done = stream == EncodedStream::Video ? videoDone_ : audioDone_;
    done = done || time >= subtractTicks(endTicks_, EARLIER);
    if (done || time < subtractTicks(startTicks_, EARLIER)) return {};
    const Ticks inSpan = std::max<Ticks>(0, subtractTicks(time, startTicks_));
    const Ticks left = subtractTicks(endTicks_, std::max(time, startTicks_));
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

void EncodeCutter::endSpan() {
    outBase_ = addTicks(outBase_, std::max<Ticks>(0, spanBoundaryTicks(span_.end - span_.start)));
}

} // namespace velkantrix
