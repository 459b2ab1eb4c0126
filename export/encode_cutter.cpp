#include "export/encode_cutter.h"

#include <algorithm>
#include <limits>

#include "export/sound_line.h"

namespace velkantrix {
namespace {

constexpr Ticks EARLIER = TICKS_PER_SECOND / 10'000;

// Behind a seek, sound may be cut into other pieces than before.
Ticks reachedBy(EncodedStream stream, Ticks time, Ticks duration) {
    const Ticks begun = addTicks(time, EARLIER);
    if (stream == EncodedStream::Video) return begun;
    return std::max(begun, subtractTicks(addTicks(time, duration), SoundLine::ROUNDING));
}

} // namespace

EncodeCutter::EncodeCutter(const std::vector<ExportSpan>& spans) : total_(totalSeconds(spans)) {}

void EncodeCutter::beginSpan(const ExportSpan& span, bool hasAudio) {
    span_ = span;
    startTicks_ = spanBoundaryTicks(span.start);
    endTicks_ = spanBoundaryTicks(span.end);
    hasAudio_ = hasAudio;
    const Ticks from = subtractTicks(startTicks_, EARLIER);
    video_ = {
        .done = false, .from = from, .reached = from, .last = startTicks_, .end = startTicks_};
    audio_ = video_;
    audio_.done = !hasAudio;
    hasPictures_ = isOpen_ = false;
    holes_.clear();
}

EncodeCut EncodeCutter::place(EncodedStream stream, Ticks time, Ticks duration, bool stated) {
    Course& course = courseOf(stream);
    if (time >= subtractTicks(endTicks_, EARLIER)) {
        course.done = true;
        course.end = std::max(course.end, endTicks_);
    }
    if (course.done || time < course.from) return {};
    course.reached = std::max(course.reached, reachedBy(stream, time, duration));
    course.last = std::max(course.last, time);
    const Ticks before = course.end;
    course.end = std::max(course.end, addTicks(time, duration));
    if (stream == EncodedStream::Video) {
        if (subtractTicks(time, before) > TICKS_PER_SECOND)
            holes_.push_back({secondsOf(before), secondsOf(time)});
        hasPictures_ = true;
        isOpen_ = !stated;
        durationsStated_ = durationsStated_ || stated;
    }
    const Ticks inSpan = std::max<Ticks>(0, subtractTicks(time, startTicks_));
    const Ticks left = subtractTicks(endTicks_, std::max(time, startTicks_));
    return {.write = true,
            .time = addTicks(outBase_, inSpan),
            .duration = left > 0 ? std::min(duration, left) : duration,
            .shortened = left > 0 && left < duration,
            .gain = fadeGain(span_, secondsOf(inSpan))};
}

void EncodeCutter::endStream(EncodedStream stream) {
    courseOf(stream).done = true;
}

Ticks EncodeCutter::readAgain() {
    Ticks earliest = std::numeric_limits<Ticks>::max();
    for (Course* course : {&video_, &audio_}) {
        course->from = course->reached;
        if (!course->done) earliest = std::min(earliest, course->last);
    }
    return spanDone() ? startTicks_ : earliest;
}

double EncodeCutter::progressAt(Ticks outputTime) const {
    return std::min(total_, secondsOf(outputTime));
}

WrittenSpan EncodeCutter::written() const {
    WrittenSpan written{.sourceStart = span_.start,
                        .outputStart = secondsOf(outBase_),
                        .sourceEnd = secondsOf(video_.end),
                        .hasPictures = hasPictures_};
    if (isOpen_ && durationsStated_) written.sourceEnd = std::numeric_limits<double>::infinity();
    if (hasAudio_) written.soundEnd = secondsOf(audio_.end);
    written.holes = holes_;
    return written;
}

void EncodeCutter::endSpan() {
    outBase_ = addTicks(outBase_, std::max<Ticks>(0, spanBoundaryTicks(span_.end - span_.start)));
}

} // namespace velkantrix
