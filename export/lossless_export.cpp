// Threads: the export's worker.
#include "export/lossless_export.h"

#include <cstdint>
#include <limits>
#include <optional>

#include "base/ticks.h"
#include "export/read_budget.h"
#include "export/sample_reads.h"
#include "export/sound_probe.h"
#include "export/span_cutter.h"
#include "platform/hresult.h"
#include "platform/mf_util.h"
#include "platform/source_choice.h"

namespace velkantrix {
namespace {

// One lossless export: the streams on both sides, and the decisions. All that it is given outlives
// it.
class LosslessCopy {
public:
    LosslessCopy(const ExportRequest& request, IMFSourceReader* reader,
                 const SourceStreams& streams, bool silent, IMFSinkWriter* writer,
                 std::int64_t readsPerPass)
        : request_(request),
          reader_(reader),
          streams_(streams),
          silent_(silent),
          writer_(writer),
          readsPerPass_(readsPerPass),
          cutter_(request.spans) {}

    [[nodiscard]] HRESULT createStreams();
    [[nodiscard]] HRESULT copySpan(const ExportSpan& span);
    [[nodiscard]] bool hasPictures() const { return hasPictures_; }

private:
    [[nodiscard]] HRESULT copyVideo();
    [[nodiscard]] HRESULT copyVideoSample(const Read& next, bool& done);
    [[nodiscard]] HRESULT copyAudio();
    [[nodiscard]] HRESULT copyAudioSample(const Read& next, bool& done);
    [[nodiscard]] WrittenSpan written(const ExportSpan& span) const;
    [[nodiscard]] bool cancelled() const { return isCancelled(request_); }

    const ExportRequest& request_;
    IMFSourceReader* const reader_;
    const SourceStreams& streams_;
    const bool silent_; // sound is left out, though there is a track of it
    IMFSinkWriter* const writer_;
    const std::int64_t readsPerPass_;
    SpanCutter cutter_;
    DWORD videoOut_ = 0;
    std::optional<DWORD> audioOut_; // absent: the output has no audio
    bool hasPictures_ = false;      // of any span
};

// A source without video fails here: there is no type to add.
HRESULT LosslessCopy::createStreams() {
    ComPtr<IMFMediaType> audioType;
    if (streams_.audio && !silent_) {
        ignoreResult(reader_->GetNativeMediaType(*streams_.audio, 0, audioType.put()),
                     "audio of no readable type is left out");
    }
    // Input as output: the writer passes samples through.
    IMFMediaType* const videoType = streams_.videoType.get();
    RETURN_IF_FAILED(addStream(writer_, videoType, videoType, videoOut_));
    if (audioType) {
        DWORD index = 0;
        RETURN_IF_FAILED(addStream(writer_, audioType.get(), audioType.get(), index));
        audioOut_ = index;
    }
    return writer_->BeginWriting();
}

HRESULT LosslessCopy::copySpan(const ExportSpan& span) {
    cutter_.beginSpan(span);
    RETURN_IF_FAILED(copyVideo());
    hasPictures_ = hasPictures_ || cutter_.hasCut();
    if (cutter_.hasCut() && audioOut_ && !cancelled()) RETURN_IF_FAILED(copyAudio());
    if (request_.spanWritten) request_.spanWritten(written(span));
    cutter_.endSpan();
    return S_OK;
}

WrittenSpan LosslessCopy::written(const ExportSpan& span) const {
    WrittenSpan written{.sourceStart = span.start,
                        .outputStart = secondsOf(cutter_.outBase()),
                        .sourceEnd = span.start,
                        .hasPictures = cutter_.hasCut()};
    if (cutter_.hasCut()) {
        written.sourceStart = secondsOf(cutter_.firstInstant());
        const double picture = secondsOf(cutter_.firstPicture());
        if (picture - span.start > 1) written.holes.push_back({span.start, picture});
        written.sourceEnd = cutter_.endIsOpen() ? std::numeric_limits<double>::infinity()
                                                : secondsOf(cutter_.cutEnd());
    }
    if (audioOut_) written.soundEnd = secondsOf(cutter_.soundEnd());
    if (silent_) written.soundEnd = written.sourceStart;
    return written;
}

HRESULT LosslessCopy::copyVideo() {
    RETURN_IF_FAILED(selectOnlyStream(reader_, *streams_.video));
    RETURN_IF_FAILED(seekReader(reader_, cutter_.startTicks()));
    ReadBudget budget(readsPerPass_);
    for (bool done = false; !done && !cancelled();) {
        if (!budget.take()) return cutter_.videoComplete() ? S_OK : TOO_MANY_READS;
        Read next;
        const HRESULT hr = readNext(reader_, *streams_.video, next);
        if (FAILED(hr)) return cutter_.videoComplete() ? S_OK : hr;
        if (next.sample) RETURN_IF_FAILED(copyVideoSample(next, done));
        done = done || next.atEnd;
    }
    return S_OK;
}

HRESULT LosslessCopy::copyVideoSample(const Read& next, bool& done) {
    IMFSample* sample = next.sample.get();
    const CodedSample coded{.time = next.time,
                            .duration = durationOf(sample),
                            .keyframe = isKeyframe(sample),
                            .decodeTime = decodeTimeOf(sample)};
    const Placement placement = cutter_.placeVideo(coded);
    done = placement.placing == Placing::Stop;
    if (placement.placing != Placing::Write) return S_OK;
    RETURN_IF_FAILED(sample->SetSampleTime(placement.time));
    if (placement.decodeTime) RETURN_IF_FAILED(setDecodeTime(sample, *placement.decodeTime));
    RETURN_IF_FAILED(writer_->WriteSample(videoOut_, sample));
    const std::optional<double> seconds = cutter_.progressAfter(coded);
    if (seconds && request_.progress) request_.progress(*seconds);
    return S_OK;
}

HRESULT LosslessCopy::copyAudio() {
    RETURN_IF_FAILED(selectOnlyStream(reader_, *streams_.audio));
    RETURN_IF_FAILED(seekReader(reader_, cutter_.firstInstant()));
    for (bool done = false; !done && !cancelled();) {
        Read next;
        RETURN_IF_FAILED(readNext(reader_, *streams_.audio, next));
        if (next.sample) RETURN_IF_FAILED(copyAudioSample(next, done));
        done = done || next.atEnd;
    }
    return S_OK;
}

HRESULT LosslessCopy::copyAudioSample(const Read& next, bool& done) {
    IMFSample* sample = next.sample.get();
    const Placement placement = cutter_.placeAudio(next.time, durationOf(sample));
    done = placement.placing == Placing::Stop;
    if (placement.placing != Placing::Write) return S_OK;
    RETURN_IF_FAILED(sample->SetSampleTime(placement.time));
    // Audio is decoded in the order in which it is heard: a decode time is the time itself.
    if (decodeTimeOf(sample)) RETURN_IF_FAILED(setDecodeTime(sample, placement.time));
    return writer_->WriteSample(*audioOut_, sample);
}

} // namespace

HRESULT copyLosslessly(const ExportRequest& request, OutputFile& output) {
    ComPtr<IMFSourceReader> reader;
    SourceStreams streams;
    {
        const AllStreamsWanted choice;
        RETURN_IF_FAILED(openSourceReader(request.sourcePath.c_str(), reader));
    }
    output.holdFeeder(reader.get());
    RETURN_IF_FAILED(discoverStreams(reader.get(), streams));
    const bool silent =
        streams.video && streams.audio && !copyHasSound(request, reader.get(), streams);
    RETURN_IF_FAILED(output.create());
    return copySpans(request, reader.get(), streams, silent, output.writer());
}

HRESULT copySpans(const ExportRequest& request, IMFSourceReader* reader,
                  const SourceStreams& streams, bool silent, IMFSinkWriter* writer,
                  std::int64_t readsPerPass) {
    LosslessCopy copy(request, reader, streams, silent, writer, readsPerPass);
    RETURN_IF_FAILED(copy.createStreams());
    for (const ExportSpan& span : request.spans) {
        if (isCancelled(request)) break;
        RETURN_IF_FAILED(copy.copySpan(span));
    }
    return copy.hasPictures() || isCancelled(request) ? S_OK : NO_PICTURES;
}

} // namespace velkantrix
