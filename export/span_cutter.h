// span_cutter.h: which compressed samples of the source go into a lossless output, and with which
// times.
//
// It decides alone; it neither reads nor writes. For each span, in order:
//
//     cutter.beginSpan(span);
//     for (every video sample from the keyframe at or before startTicks() on, until Stop or the
//     end)
//         cutter.placeVideo(sample), write what is to be written, cutter.progressAfter(sample)
//     if (cutter.hasCut())
//         for (every audio sample from about firstInstant() on, until Stop or the end)
//             cutter.placeAudio(...), write what is to be written
//     cutter.endSpan();
//
// All times are ticks of 100 ns: the samples' own on the source's time line, a placement's on the
// output's. One object per export, used by one thread.
#pragma once

#include <optional>
#include <vector>

#include "base/ticks.h"
#include "export/export_request.h"

namespace velkantrix {

// What is known of one compressed sample as it was read.
struct CodedSample {
    Ticks time = 0; // presentation time
    Ticks duration = 0;
    bool keyframe = false;
    std::optional<Ticks> decodeTime; // absent where it equals the presentation time
};

enum class Placing { Drop, Write, Stop };

struct Placement {
    Placing placing = Placing::Drop;
    Ticks time = 0; // with Write: the sample's new times
    std::optional<Ticks> decodeTime;
};

class SpanCutter {
public:
    explicit SpanCutter(const std::vector<ExportSpan>& spans);

    void beginSpan(const ExportSpan& span);

    // Where the reader is to be set for the video of this span.
    [[nodiscard]] Ticks startTicks() const { return startTicks_; }

    // The span begins with its first keyframe and ends before the first keyframe at or after its
    // end.
    //
    //     asked for:        |---------|            K keyframe, b a picture that is shown before the
    //     read:     K p p p K p p p K b b p p        keyframe that it follows
    //     written:  K p p p K p p p
    //
    // Pictures that are shown before the span's first keyframe hang on what was cut away, and would
    // overlap the span before: they are dropped. So are those that hang on the keyframe behind the
    // span; the span then ends where the first of them would be shown, so that a join has no hole.
    // To find them a few samples behind the span are looked at before Stop is said.
    [[nodiscard]] Placement placeVideo(const CodedSample& sample);

    // The keyframe behind the span has been seen: nothing more will be written, so that the end of
    // the stream or a failure to read further does no harm.
    [[nodiscard]] bool videoComplete() const { return stopKey_.has_value(); }

    // The progress in output seconds after this sample was written; none when it would reach the
    // total, which is reported once, at the very end of the export.
    [[nodiscard]] std::optional<double> progressAfter(const CodedSample& written) const;

    // A keyframe was found, and so the span has video (a first time may be negative: no time stands
    // for "none").
    [[nodiscard]] bool hasCut() const { return cutStart_.has_value(); }

    // What comes out as the span's first instant, where its audio begins: the time of its first
    // keyframe; of the whole source 0, or that time where it is less. Only when hasCut().
    [[nodiscard]] Ticks firstInstant() const { return origin_; }

    // In the source; only when hasCut().
    [[nodiscard]] Ticks firstPicture() const { return cutStart_.value_or(0); }

    // Where what was written of the video ends in the source; and whether the last picture may last
    // longer, as it alone doesn't say how long. Only when hasCut(), after the video.
    [[nodiscard]] Ticks cutEnd() const { return spanEnd(); }
    [[nodiscard]] bool endIsOpen() const { return !stopKey_ && lastIsOpen_ && hasDurations_; }

    // An audio sample that straddles the cut is moved to the span's first instant, not trimmed; the
    // last one may run past the span's end. The whole source's audio goes on behind its video. Only
    // when hasCut(), after the video.
    [[nodiscard]] Placement placeAudio(Ticks time, Ticks duration);

    // Up to where the span's sound is known to go in the source: nothing is missing where some was
    // seen behind it. Where the span was asked to begin while none was placed.
    [[nodiscard]] Ticks soundEnd() const { return soundEnd_; }

    void endSpan();

    // Where the next span begins in the output.
    [[nodiscard]] Ticks outBase() const { return outBase_; }

private:
    [[nodiscard]] Placement lookBehindTheEnd(const CodedSample& sample);
    [[nodiscard]] Placement write(const CodedSample& sample);
    [[nodiscard]] Ticks onOutput(Ticks time) const;
    [[nodiscard]] Ticks decodeTimeAfterLast(Ticks decodeTime, Ticks time) const;
    // Where the span's material ends in the source.
    [[nodiscard]] Ticks spanEnd() const;
    [[nodiscard]] Ticks materialEnd() const;

    const Ticks totalTicks_;
    Ticks outBase_ = 0;
    bool hasDecodeTimes_ = false;         // some sample of the stream had one
    bool hasDurations_ = false;           // likewise
    std::optional<Ticks> lastDecodeTime_; // on the output's time line, of the last sample written

    // Of the current span, on the source's time line.
    Ticks startTicks_ = 0;
    Ticks endTicks_ = 0;
    bool isWhole_ = false;
    std::optional<Ticks> cutStart_;     // the time of the first keyframe
    Ticks origin_ = 0;                  // with it: what comes out as the first instant
    std::optional<Ticks> stopKey_;      // the keyframe behind the span
    std::optional<Ticks> firstHanging_; // the first shown of the pictures that hang on it
    int lookedBehind_ = 0;
    Ticks lastShown_ = 0;     // the largest time written
    Ticks lastEnd_ = 0;       // the largest time + duration written
    bool lastIsOpen_ = false; // the sample of lastShown_ had no duration
    Ticks soundEnd_ = 0;
};

} // namespace velkantrix
