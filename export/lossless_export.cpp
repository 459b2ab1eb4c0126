// Threads: the export's worker.
#include "export/lossless_export.h"

#include "base/ticks.h"
#include "export/export_core.h"
#include "export/span_cutter.h"
#include "platform/hresult.h"
#include "platform/mf_util.h"

namespace velkantrix {
namespace {

// A file with more pictures than a pass may read would come out cut short; then it mustn't come
// out.
constexpr HRESULT TOO_MANY_READS = HRESULT_FROM_WIN32(ERROR_FILE_TOO_LARGE);

struct Read {
    ComPtr<IMFSample> sample; // may be empty: a gap or a change of type is announced without one
    Ticks time = 0;
    bool atEnd = false;
};

// One lossless export: the source, the streams on both sides, and the decisions.
class LosslessCopy {
public:
    LosslessCopy(const ExportRequest& request, OutputFile& output)
        : request_(request), output_(output), cutter_(request.spans) {}

    HRESULT open();
    HRESULT copySpan(const ExportSpan& span);

private:
    HRESULT createStreams(IMFMediaType* audioType);
    HRESULT copyVideo();
    HRESULT copyVideoSample(const Read& read, bool& done);
    HRESULT copyAudio();
    HRESULT copyAudioSample(const Read& read, bool& done);
    HRESULT read(DWORD stream, Read& read);
    [[nodiscard]] bool cancelled() const { return isCancelled(request_); }

    const ExportRequest& request_;
    OutputFile& output_;
    SpanCutter cutter_;
    ComPtr<IMFSourceReader> reader_;
    SourceStreams streams_;
    DWORD videoOut_ = 0;
    std::optional<DWORD> audioOut_; // absent: the output has no audio
};

HRESULT LosslessCopy::open() {
    RETURN_IF_FAILED(openSourceReader(request_.sourcePath.c_str(), reader_));
    RETURN_IF_FAILED(discoverStreams(reader_.get(), streams_));
    ComPtr<IMFMediaType> audioType;
    if (streams_.audio) {
        ignoreResult(reader_->GetNativeMediaType(*streams_.audio, 0, audioType.put()),
                     "audio of no readable type is left out");
    }
    RETURN_IF_FAILED(output_.create());
    return createStreams(audioType.get());
}

// A source without video fails here: there is no type to add.
HRESULT LosslessCopy::createStreams(IMFMediaType* audioType) {
    RETURN_IF_FAILED(output_.addCopiedStream(streams_.videoType.get(), videoOut_));
    if (audioType) {
        DWORD index = 0;
        RETURN_IF_FAILED(output_.addCopiedStream(audioType, index));
        audioOut_ = index;
    }
    return output_.writer()->BeginWriting();
}

HRESULT LosslessCopy::copySpan(const ExportSpan& span) {
    cutter_.beginSpan(span);
    RETURN_IF_FAILED(copyVideo());
    if (cutter_.hasCut() && audioOut_ && !cancelled()) RETURN_IF_FAILED(copyAudio());
    cutter_.endSpan();
    return S_OK;
}

HRESULT LosslessCopy::copyVideo() {
    RETURN_IF_FAILED(selectOnlyStream(reader_.get(), *streams_.video));
    RETURN_IF_FAILED(seekReader(reader_.get(), cutter_.startTicks()));
    ReadBudget budget;
    for (bool done = false; !done && !cancelled();) {
        if (!budget.take()) return TOO_MANY_READS;
        Read next;
        const HRESULT hr = read(*streams_.video, next);
        if (FAILED(hr)) return cutter_.videoComplete() ? S_OK : hr;
        if (next.sample) RETURN_IF_FAILED(copyVideoSample(next, done));
        done = done || next.atEnd;
    }
    return S_OK;
}

HRESULT LosslessCopy::copyVideoSample(const Read& read, bool& done) {
    IMFSample* sample = read.sample.get();
    const CodedSample coded{.time = read.time,
                            .duration = durationOf(sample),
                            .keyframe = isKeyframe(sample),
                            .decodeTime = decodeTimeOf(sample)};
    const Placement placement = cutter_.placeVideo(coded);
    done = placement.placing == Placing::Stop;
    if (placement.placing != Placing::Write) return S_OK;
    RETURN_IF_FAILED(sample->SetSampleTime(placement.time));
    if (placement.decodeTime) RETURN_IF_FAILED(setDecodeTime(sample, *placement.decodeTime));
    RETURN_IF_FAILED(output_.writer()->WriteSample(videoOut_, sample));
    const std::optional<double> seconds = cutter_.progressAfter(coded);
    if (seconds && request_.progress) request_.progress(*seconds);
    return S_OK;
}

HRESULT LosslessCopy::copyAudio() {
    RETURN_IF_FAILED(selectOnlyStream(reader_.get(), *streams_.audio));
    RETURN_IF_FAILED(seekReader(reader_.get(), cutter_.cutStart()));
    for (bool done = false; !done && !cancelled();) {
        Read next;
        RETURN_IF_FAILED(read(*streams_.audio, next));
        if (next.sample) RETURN_IF_FAILED(copyAudioSample(next, done));
        done = done || next.atEnd;
    }
    return S_OK;
}

HRESULT LosslessCopy::copyAudioSample(const Read& read, bool& done) {
    IMFSample* sample = read.sample.get();
    const Placement placement = cutter_.placeAudio(read.time, durationOf(sample));
    done = placement.placing == Placing::Stop;
    if (placement.placing != Placing::Write) return S_OK;
    RETURN_IF_FAILED(sample->SetSampleTime(placement.time));
    // Audio is decoded in the order in which it is heard: a decode time is the time itself.
    if (decodeTimeOf(sample)) RETURN_IF_FAILED(setDecodeTime(sample, placement.time));
    return output_.writer()->WriteSample(*audioOut_, sample);
}

HRESULT LosslessCopy::read(DWORD stream, Read& read) {
    DWORD flags = 0;
    RETURN_IF_FAILED(
        reader_->ReadSample(stream, 0, nullptr, &flags, &read.time, read.sample.put()));
    if (flags & MF_SOURCE_READERF_ERROR) return E_FAIL;
    read.atEnd = (flags & MF_SOURCE_READERF_ENDOFSTREAM) != 0;
    return S_OK;
}

} // namespace

HRESULT copyLosslessly(const ExportRequest& request, OutputFile& output) {
    LosslessCopy copy(request, output);
    RETURN_IF_FAILED(copy.open());
    for (const ExportSpan& span : request.spans) {
        if (isCancelled(request)) break;
        RETURN_IF_FAILED(copy.copySpan(span));
    }
    return S_OK;
}

} // namespace velkantrix
