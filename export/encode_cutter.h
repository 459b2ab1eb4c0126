// encode_cutter.h: which decoded samples of the source go into a re-encoded output, with which
// times, and how far they are faded.
//
// It decides alone; it neither reads nor writes. For each span, in order:
//
//     cutter.beginSpan(span, sound);
//     while (!cutter.spanDone())
//         read a sample of either stream from startTicks() on, cutter.place(...), write what is to
//         be written; at the end of a stream cutter.endStream(...); where samples may have been
//         lost go on reading from cutter.readAgain()
//     tell cutter.written()
//     cutter.endSpan();
//
// All times are ticks of 100 ns: the samples' own on the source's time line, a cut's on the
// output's. One object per export, used by one thread.
#pragma once

#include <vector>

#include "base/ticks.h"
#include "export/export_request.h"
#include "export/picture_effects.h"

namespace velkantrix {

enum class EncodedStream { Video, Audio };

struct EncodeCut {
    bool write = false; // else the sample is dropped
    Ticks time = 0;     // with write: the sample's new time and duration
    Ticks duration = 0;
    bool shortened = false; // the sample's content goes on behind the span
    Gain gain = NO_FADE;
};

class EncodeCutter {
public:
    explicit EncodeCutter(const std::vector<ExportSpan>& spans);

    // `hasAudio`: there is sound to wait for.
    void beginSpan(const ExportSpan& span, bool hasAudio);

    // Where the reader is to be set for this span.
    [[nodiscard]] Ticks startTicks() const { return startTicks_; }

    // A span takes the samples that begin within it, where both of its ends lie a little earlier
    // than asked for: times of pictures are rounded in the file, those of spans elsewhere, and a
    // picture at a join must be in one of the spans and in one only.
    //
    //     asked for:        |start            |end
    //     samples taken:   |-----------------|
    //                     0.0001 s earlier
    //
    // What begins before is dropped, though it lasts into the span; the first that begins behind
    // it ends its stream. What lasts longer than the span is shortened.
    // `stated`: it is the picture itself that says how long it lasts.
    [[nodiscard]] EncodeCut place(EncodedStream stream, Ticks time, Ticks duration,
                                  bool stated = true);

    // The stream has no more samples.
    void endStream(EncodedStream stream);

    // The span's samples are read again, because some may have been lost: from the time of the
    // source's that this tells, where the reader is to be set. What was to be written before is
    // dropped from then on.
    [[nodiscard]] Ticks readAgain();

    [[nodiscard]] bool videoDone() const { return video_.done; }
    [[nodiscard]] bool audioDone() const { return audio_.done; }
    [[nodiscard]] bool spanDone() const { return video_.done && audio_.done; }

    // Some picture of the current span was to be written.
    [[nodiscard]] bool hasPictures() const { return hasPictures_; }

    // The progress in output seconds when a picture was written.
    [[nodiscard]] double progressAt(Ticks outputTime) const;

    // The current span, as far as it has come.
    [[nodiscard]] WrittenSpan written() const;

    // The next span begins where this one was to end, whatever there was of it.
    void endSpan();

    [[nodiscard]] Ticks outBase() const { return outBase_; }

private:
    // Of a stream within the span, in the source's time.
    struct Course {
        bool done = true;
        Ticks from = 0;    // what begins earlier is dropped
        Ticks reached = 0; // `from`, when what was to be written so far isn't to be written again
        Ticks last = 0;    // a time to read from then
        Ticks end = 0;     // of what was placed, or seen behind the span
    };
    [[nodiscard]] Course& courseOf(EncodedStream stream) {
        return stream == EncodedStream::Video ? video_ : audio_;
    }

    const double total_; // seconds
    Ticks outBase_ = 0;

    ExportSpan span_;
    Ticks startTicks_ = 0;
    Ticks endTicks_ = 0;
    Course video_;
    Course audio_;
    bool hasAudio_ = false;
    bool hasPictures_ = false; // some was placed
    std::vector<WrittenSpan::Hole> holes_;
    bool isOpen_ = false;          // the last one may last longer than it was taken to
    bool durationsStated_ = false; // by some picture so far, of any span
};

} // namespace velkantrix
