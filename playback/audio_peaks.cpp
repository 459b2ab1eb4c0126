// audio_peaks.cpp: the unnamed namespace's analyse() and what it calls is run by the worker's
// thread, which touches its job, the job's table and the two atomics; all else by the UI thread.
#include "playback/audio_peaks.h"

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <atomic>
#include <memory>
#include <new>
#include <vector>

#include "base/com_ptr.h"
#include "platform/com.h"
#include "platform/mf_util.h"
#include "platform/threads.h"
#include "playback/peak_analysis.h"
#include "playback/peak_reader.h"
#include "playback/peak_table.h"

namespace velkantrix {
namespace {

// Workers that aren't waited for any more outlive everything else here.
constinit std::atomic<std::int32_t> audioPeaksGeneration{0}; // written by the UI thread
constinit std::atomic<std::int32_t> runningWorkers{0};

// One of the workers that run, for as long as it lives.
class CountedWorker {
public:
    CountedWorker() { ++runningWorkers; }
    ~CountedWorker() { --runningWorkers; }
    CountedWorker(const CountedWorker&) = delete;
    CountedWorker& operator=(const CountedWorker&) = delete;
};

// Goes with its worker, or with the attempt to start one.
struct PeakJob {
    CountedWorker counted; // first: it counts until all else has gone
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

// Asked before each step that may take long.
bool isWanted(const PeakJob& job) {
    return job.generation == audioPeaksGeneration;
}

void analyse(const PeakJob& job) {
    const ComApartment apartment(COINIT_MULTITHREADED);
    ComPtr<IMFSourceReader> reader;
    if (!isWanted(job) || FAILED(openSourceReader(job.path.c_str(), reader))) return;
    if (!isWanted(job) || FAILED(chooseSound(reader.get()))) return;
    const PcmFormat format = soundFormat(reader.get());
    if (format.rate == 0) return;
    PeakFiller filler(*job.table, format, job.duration);
    analysePeaks(filler, {.isWanted = [&] { return isWanted(job); },
                          .readNext =
                              [&](PeakFiller& into) {
                                  return readSound(reader.get(), into);
                              }});
}

// One that doesn't end in time reads from a server that doesn't answer: it is left to itself.
void joinWorker(PeakState& state, std::uint32_t longestWait) {
    static_cast<void>(waitForEnd(state.worker, longestWait));
    state.worker.reset();
}

// Throws when there is no memory.
void startWorker(PeakState& state, const std::wstring& path, double duration,
                 std::int32_t generation) {
    state.shown.reserve(PEAK_BUCKETS);
    state.table = std::make_shared<PeakTable>();
    if (!(duration > 0)) return;
    const auto job = std::make_shared<PeakJob>();
    job->path = path;
    job->duration = duration;
    job->generation = generation;
    job->table = state.table;
    state.worker = startThread([job] { analyse(*job); });
    if (!state.worker) state.table.reset(); // as without memory: it may be tried again
}

} // namespace

void startAudioPeaks(const std::wstring& path, double duration, std::uint32_t longestWait) {
    PeakState& state = peakState();
    const std::int32_t generation = ++audioPeaksGeneration;
    joinWorker(state, longestWait);
    try {
        startWorker(state, path, duration, generation);
    } catch (const std::bad_alloc&) {
        state.table.reset(); // the video plays without a waveform
    }
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

std::uint64_t peaksVersion() {
    const PeakTable* const table = peakState().table.get();
    const std::uint32_t changes = table ? changesOf(*table) : 0;
    return changes == 0 ? 0 : std::uint64_t{peakGeneration()} << 32 | changes;
}

bool audioPeaksRun() {
    return runningWorkers > 0;
}

bool endAudioPeaks(std::uint32_t longestWait) {
    stopAudioPeaks();
    joinWorker(peakState(), longestWait);
    return !audioPeaksRun();
}

} // namespace velkantrix
