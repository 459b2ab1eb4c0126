// audio_peaks.cpp: the unnamed namespace's analyse() and what it calls is run by the worker's
// thread, which touches its job, the job's table and the two atomics; all else by the UI thread.
#include "playback/audio_peaks.h"

#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>
#include <mfreadwrite.h>

#include <atomic>
#include <cstddef>
#include <memory>
#include <vector>

#include "base/com_ptr.h"
#include "platform/com.h"
#include "platform/hresult.h"
#include "platform/mf_util.h"
#include "platform/threads.h"
#include "playback/peak_analysis.h"
#include "playback/peak_table.h"

namespace velkantrix {
namespace {

constexpr DWORD LONGEST_WAIT = 1000; // milliseconds, for a worker that was told to stop
constexpr UINT32 SAMPLE_BITS = 16;

// Workers that aren't waited for any more outlive everything else here.
constinit std::atomic<std::int32_t> audioPeaksGeneration{0}; // written by the UI thread
constinit std::atomic<std::int32_t> runningWorkers{0};

struct PeakJob {
    std::wstring path;
    double duration = 0; // seconds
    std::int32_t generation = 0;
    std::shared_ptr<PeakTable> table; // the worker fills it, the UI thread reads it
};

struct PeakState {
    std::shared_ptr<PeakTable> table; // of the analysis that was started last; none after a stop
    UniqueThread worker;              // the last one, though it may have ended
    std::vector<float> shown;
};

PeakState& peakState() {
    static PeakState state;
    return state;
}

HRESULT openForSound(const wchar_t* path, ComPtr<IMFSourceReader>& reader) {
    RETURN_IF_FAILED(openSourceReader(path, reader));
    RETURN_IF_FAILED(selectOnlyStream(reader.get(), FIRST_AUDIO));
    ComPtr<IMFMediaType> type;
    RETURN_IF_FAILED(MFCreateMediaType(type.put()));
    RETURN_IF_FAILED(type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Audio));
    RETURN_IF_FAILED(type->SetGUID(MF_MT_SUBTYPE, MFAudioFormat_PCM));
    RETURN_IF_FAILED(type->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, SAMPLE_BITS));
    return reader->SetCurrentMediaType(FIRST_AUDIO, nullptr, type.get());
}

PcmFormat currentFormat(IMFSourceReader* reader) {
    ComPtr<IMFMediaType> type;
    if (FAILED(reader->GetCurrentMediaType(FIRST_AUDIO, type.put()))) return {};
    return usableFormat(
        {.rate = MFGetAttributeUINT32(type.get(), MF_MT_AUDIO_SAMPLES_PER_SECOND, 0),
         .channels = MFGetAttributeUINT32(type.get(), MF_MT_AUDIO_NUM_CHANNELS, 0)});
}

HRESULT addSample(IMFSample* sample, PeakFiller& filler) {
    ComPtr<IMFMediaBuffer> buffer;
    RETURN_IF_FAILED(sample->ConvertToContiguousBuffer(buffer.put()));
    BYTE* bytes = nullptr;
    DWORD length = 0;
    RETURN_IF_FAILED(buffer->Lock(&bytes, nullptr, &length));
    filler.add(std::as_bytes(std::span(bytes, length)));
    ignoreResult(buffer->Unlock(), "it has been read");
    return S_OK;
}

PeakRead readNext(IMFSourceReader* reader, PeakFiller& filler) {
    DWORD flags = 0;
    LONGLONG time = 0;
    ComPtr<IMFSample> sample;
    if (FAILED(reader->ReadSample(FIRST_AUDIO, 0, nullptr, &flags, &time, sample.put())) ||
        (flags & MF_SOURCE_READERF_ERROR) != 0)
        return PeakRead::Failed;
    if ((flags & MF_SOURCE_READERF_ENDOFSTREAM) != 0) return PeakRead::Ended;
    if ((flags & MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED) != 0) {
        const PcmFormat format = currentFormat(reader);
        if (format.rate == 0) return PeakRead::Failed;
        filler.changeFormat(format);
    }
    if (!sample) return PeakRead::GoesOn;
    filler.continueAt(time);
    // Without its sound all that comes behind it would be shown too early.
    return SUCCEEDED(addSample(sample.get(), filler)) ? PeakRead::GoesOn : PeakRead::Failed;
}

void analyse(const PeakJob& job) {
    const ComApartment apartment(COINIT_MULTITHREADED);
    ComPtr<IMFSourceReader> reader;
    if (FAILED(openForSound(job.path.c_str(), reader))) return;
    const PcmFormat format = currentFormat(reader.get());
    if (format.rate == 0) return;
    PeakFiller filler(*job.table, format, job.duration);
    analysePeaks(filler, {.isWanted = [&] { return job.generation == audioPeaksGeneration; },
                          .readNext =
                              [&](PeakFiller& into) {
                                  return readNext(reader.get(), into);
                              }});
}

// One that doesn't end in time reads from a server that doesn't answer: it is left to itself.
void joinWorker(PeakState& state) {
    static_cast<void>(waitForEnd(state.worker, LONGEST_WAIT));
    state.worker.reset();
}

} // namespace

void startAudioPeaks(const std::wstring& path, double duration) {
    PeakState& state = peakState();
    const std::int32_t generation = ++audioPeaksGeneration;
    joinWorker(state);
    state.table = std::make_shared<PeakTable>();
    if (!(duration > 0)) return;
    ++runningWorkers;
    state.worker = startThread([job = PeakJob{path, duration, generation, state.table}] {
        analyse(job);
        --runningWorkers;
    });
    if (!state.worker) --runningWorkers; // the video plays without a waveform
}

void stopAudioPeaks() {
    ++audioPeaksGeneration;
    peakState().table.reset();
}

bool audioPeaksStarted() {
    return peakState().table != nullptr;
}

std::span<const float> validAudioPeaks() {
    PeakState& state = peakState();
    state.shown.clear();
    if (state.table) takePeaks(*state.table, state.shown);
    return state.shown;
}

std::uint32_t peakGeneration() {
    return static_cast<std::uint32_t>(audioPeaksGeneration.load());
}

bool audioPeaksRun() {
    return runningWorkers > 0;
}

void endAudioPeaks() {
    stopAudioPeaks();
    joinWorker(peakState());
}

} // namespace velkantrix
