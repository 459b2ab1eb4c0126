#include "export/span_cutter.h"

#include <algorithm>

namespace velkantrix {
namespace {

// How far decode times are moved apart where a join brings them too close together: one
// millisecond, which the usual time scales can express and which is shorter than most pictures.
constexpr Ticks DECODE_STEP = TICKS_PER_SECOND / 1000;

// Pictures that hang on a keyframe follow it at once, and there are never more than the codec's
// reordering allows (16); further samples tell nothing.
constexpr int MOST_LOOKED_BEHIND = 32;

} // namespace

SpanCutter::SpanCutter(const std::vector<ExportSpan>& spans)
    : totalTicks_(nearestTicks(totalSeconds(spans))) {}

void SpanCutter::beginSpan(const ExportSpan& span) {
    startTicks_ = spanBoundaryTicks(span.start);
    endTicks_ = spanBoundaryTicks(span.end);
    isWhole_ = isWholeSource(span);
    cutStart_.reset();
    stopKey_.reset();
    firstHanging_.reset();
    lookedBehind_ = 0;
    lastIsOpen_ = false;
    soundEnd_ = startTicks_;
}

Placement SpanCutter::placeVideo(const CodedSample& sample) {
    if (stopKey_) return lookBehindTheEnd(sample);
    if (!cutStart_) {
        if (!sample.keyframe) return {};
        cutStart_ = sample.time;
        origin_ = isWhole_ ? std::min<Ticks>(0, sample.time) : sample.time;
        lastShown_ = sample.time;
        lastEnd_ = sample.time;
    }
    if (sample.keyframe && sample.time >= endTicks_ && sample.time > *cutStart_) {
        stopKey_ = sample.time;
        return {};
    }
    if (sample.time < *cutStart_) return {};
    return write(sample);
}

Placement SpanCutter::lookBehindTheEnd(const CodedSample& sample) {
    const bool hangs = !sample.keyframe && sample.time < *stopKey_;
    if (!hangs || ++lookedBehind_ > MOST_LOOKED_BEHIND) return {.placing = Placing::Stop};
    firstHanging_ = std::min(firstHanging_.value_or(sample.time), sample.time);
    return {};
}

Placement SpanCutter::write(const CodedSample& sample) {
    Placement placement{.placing = Placing::Write, .time = onOutput(sample.time)};
    hasDecodeTimes_ = hasDecodeTimes_ || sample.decodeTime;
    // Where no sample carries a decode time nothing is known of them, and the writer finds its own.
    if (hasDecodeTimes_) {
        const Ticks wanted = onOutput(sample.decodeTime.value_or(sample.time));
        lastDecodeTime_ = decodeTimeAfterLast(wanted, placement.time);
        if (sample.decodeTime || *lastDecodeTime_ != wanted) placement.decodeTime = lastDecodeTime_;
    }
    hasDurations_ = hasDurations_ || sample.duration > 0;
    if (sample.time >= lastShown_) lastIsOpen_ = sample.duration <= 0;
    lastShown_ = std::max(lastShown_, sample.time);
    lastEnd_ = std::max(lastEnd_, addTicks(sample.time, sample.duration));
    return placement;
}

// From the source's time line to the output's.
Ticks SpanCutter::onOutput(Ticks time) const {
    return addTicks(outBase_, subtractTicks(time, origin_));
}

// Decode times ascend strictly within a stream, and must over a join too. There the new span's
// first ones can fall before the last of the span before: the sample is then decoded a little later
// than it asks for, if possible not after it is shown.
Ticks SpanCutter::decodeTimeAfterLast(Ticks decodeTime, Ticks time) const {
    if (!lastDecodeTime_ || decodeTime > *lastDecodeTime_) return decodeTime;
    const Ticks earliest = addTicks(*lastDecodeTime_, 1);
    return std::max(earliest, std::min(addTicks(*lastDecodeTime_, DECODE_STEP), time));
}

std::optional<double> SpanCutter::progressAfter(const CodedSample& written) const {
    const Ticks inSpan = std::max<Ticks>(0, subtractTicks(written.time, origin_));
    const Ticks reached = addTicks(outBase_, inSpan);
    if (reached >= totalTicks_) return std::nullopt;
    return secondsOf(reached);
}

Ticks SpanCutter::materialEnd() const {
    if (!stopKey_) return lastEnd_;
    // A hanging picture that would be shown among the written ones is a fault of the stream, not
    // the edge of a hole.
    if (firstHanging_ && *firstHanging_ > lastShown_) return *firstHanging_;
    return *stopKey_;
}

// The last picture needs an instant of its own even where the file gives it no duration, or shows
// it behind the keyframe that ended the span.
Ticks SpanCutter::spanEnd() const {
    return std::max(materialEnd(), addTicks(lastShown_, 1));
}

Placement SpanCutter::placeAudio(Ticks time, Ticks duration) {
    if (!isWhole_ && time >= spanEnd()) {
        // What is behind pictures that have ended is left out, though it is in the span.
        soundEnd_ = std::max(soundEnd_, stopKey_ ? endTicks_ : std::min(spanEnd(), endTicks_));
        return {.placing = Placing::Stop};
    }
    if (addTicks(time, duration) <= origin_) return {};
    soundEnd_ = std::max(soundEnd_, addTicks(time, duration));
    const Ticks inSpan = std::max<Ticks>(0, subtractTicks(time, origin_));
    return {.placing = Placing::Write, .time = addTicks(outBase_, inSpan)};
}

void SpanCutter::endSpan() {
    if (cutStart_) outBase_ = onOutput(spanEnd());
}

} // namespace velkantrix
