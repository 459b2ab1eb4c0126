// Threads: the job's, and for separate clips two more, which it waits for. They share
// SharedJobState and ClipWork, which is atomic; all else is constant while they run.
#include "export/export_job_worker.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <functional>
#include <limits>
#include <thread>
#include <vector>

#include "export/job_texts.h"
#include "export/whole_copy.h"

namespace velkantrix {
namespace {

// How many clips are written at once.
constexpr std::size_t CLIP_WORKERS = 2;

void recordError(SharedJobState& shared, const std::wstring& text) {
    const Lock held(shared.exportErrorLock);
    if (shared.exportError.empty()) shared.exportError = text;
}

// Of a file that wasn't written. A cancel is no error.
void recordFailure(SharedJobState& shared, const Written& written) {
    if (written.kept) shared.fileKept = true;
    if (written.kept || !shared.exportCancel) recordError(shared, written.errorText);
}

// What a joined job says when it is done. Only a file that it has added may be deleted by a cancel
// that comes too late.
bool noteJoined(SharedJobState& shared, const Written& written) {
    const bool isComplete = written.done || !written.mark.empty();
    if (isComplete && !written.replacesFile) shared.outputCreated = true;
    if (written.unmarked) shared.unmarkedFile = true;
    if (isComplete) {
        const Lock held(shared.exportErrorLock);
        shared.writtenMark = written.mark;
    }
    if (!written.done) recordFailure(shared, written);
    return written.done;
}

Written writeTarget(const ExportJob& job, const SharedJobState& shared, const std::wstring& target,
                    const std::function<Written(const std::wstring& path)>& write) {
    if (job.saveInPlace)
        return writeTemporary(job.calls, job.sourcePath, target, shared.exportCancel, write);
    return writeSafely(job.calls, job.sourcePath, target, shared.exportCancel, write);
}

bool copySource(const ExportJob& job, SharedJobState& shared) {
    const auto tellShare = [&](std::uint64_t copied, std::uint64_t total) {
        const double share =
            total > 0 ? static_cast<double>(copied) / static_cast<double>(total) : 1;
        shared.exportProgress = share * job.expected;
        return !shared.exportCancel;
    };
    const auto copyTo = [&](const std::wstring& path) {
        const CopyResult result = job.calls.copyFile(job.sourcePath, path, tellShare);
        return Written{.done = result.done, .errorText = result.errorText};
    };
    return noteJoined(shared, writeTarget(job, shared, job.outputPath, copyTo));
}

// All but the spans and the output.
ExportRequest requestFor(const ExportJob& job, const SharedJobState& shared) {
    const FrameBox box = frameBoxOf(job.kind.quality);
    ExportRequest request;
    request.sourcePath = job.sourcePath;
    request.maxWidth = box.width;
    request.maxHeight = box.height;
    request.exposure = job.kind.exposure;
    request.cancel = &shared.exportCancel;
    request.losslessAllowed = isLosslessAllowed(job.clips, job.kind);
    return request;
}

// Whatever the container says of its length: not the last sample is to be missing.
std::vector<ExportSpan> wholeSource() {
    return {{.start = 0, .end = std::numeric_limits<double>::infinity()}};
}

// What replaces the original should be all of it that was asked for.
bool isWhole(const ExportJob& job, SharedJobState& shared, const ExportRequest& request) {
    const VideoClaim claim =
        job.calls.claimOfVideo(job.sourcePath, [&shared] { return shared.exportCancel.load(); });
    const Lock held(shared.exportErrorLock);
    return isWholeCopy(request.spans, shared.writtenSpans, claim, job.duration);
}

// Whether it is whole is looked at before it is brought onto the disk: behind a cancel neither is.
Written writeOutput(const ExportJob& job, SharedJobState& shared, ExportRequest request) {
    const std::wstring target = request.outputPath;
    const auto exportTo = [&](const std::wstring& path) {
        request.outputPath = path;
        Written written;
        written.done = job.calls.exportFile(request, &written.errorText);
        // Whoever is cancelled meanwhile hasn't looked to the end.
        if (written.done && job.saveInPlace)
            shared.notWhole = !isWhole(job, shared, request) || shared.exportCancel;
        return written;
    };
    return writeTarget(job, shared, target, exportTo);
}

bool exportJoined(const ExportJob& job, SharedJobState& shared) {
    ExportRequest request = requestFor(job, shared);
    request.spans = job.kind.optimise ? wholeSource() : spansOfClips(job.clips);
    request.outputPath = job.outputPath;
    request.progress = [&](double seconds) {
        shared.exportProgress = job.kind.optimise ? std::min(seconds, job.duration) : seconds;
    };
    request.spanWritten = [&](const WrittenSpan& span) {
        const Lock held(shared.exportErrorLock);
        shared.writtenSpans.push_back(span);
    };
    return noteJoined(shared, writeOutput(job, shared, request));
}

// What the clip workers share.
struct ClipWork {
    const ExportJob& job;
    SharedJobState& shared;
    const std::vector<ExportSpan> spans;
    std::atomic<std::size_t> next{0};
    std::atomic<double> doneSeconds{0};                    // of clips that are complete
    std::array<std::atomic<double>, CLIP_WORKERS> slots{}; // of each worker's clip
    std::atomic<bool> allOk{true};

    [[nodiscard]] std::wstring outputOf(std::size_t i) const {
        return pathInFolder(job.outputPath, clipFileName(job.clips[i].name, i));
    }
};

// Both workers tell the sum. It never goes back, though the one that worked it out first may be the
// one that stores it last; and the complete clips are read first, so that none counts twice while
// it goes from its slot to them.
void tellProgress(ClipWork& work) {
    double sum = work.doneSeconds;
    for (const std::atomic<double>& slot : work.slots) sum += slot;
    double told = work.shared.exportProgress;
    while (told < sum && !work.shared.exportProgress.compare_exchange_weak(told, sum)) {}
}

Written exportClip(ClipWork& work, std::size_t worker, std::size_t i) {
    const ExportJob& job = work.job;
    ExportRequest request = requestFor(job, work.shared);
    request.spans = {work.spans[i]};
    request.outputPath = work.outputOf(i);
    request.progress = [&work, worker](double seconds) {
        work.slots[worker] = seconds;
        tellProgress(work);
    };
    return writeOutput(job, work.shared, request);
}

void exportClips(ClipWork& work, std::size_t worker) {
    while (!work.shared.exportCancel && work.allOk) {
        const std::size_t i = work.next.fetch_add(1);
        if (i >= work.spans.size()) return;
        const Written written = exportClip(work, worker, i);
        if (!written.done) {
            work.allOk = false;
            return recordFailure(work.shared, written);
        }
        work.slots[worker] = 0;
        work.doneSeconds.fetch_add(clipLength(work.job.clips[i]));
        tellProgress(work);
    }
}

// Told before the first clip is written, not after some. The folder may be the source's, and the
// source the output of an earlier job; and somebody may watch one of the clips there. Empty when
// all can be written.
std::wstring whyNotWritten(const ClipWork& work) {
    const JobCalls& calls = work.job.calls;
    for (std::size_t i = 0; i < work.spans.size() && !work.shared.exportCancel; i++) {
        const std::wstring output = work.outputOf(i);
        if (calls.sameFile(work.job.sourcePath, output)) return WOULD_OVERWRITE_SOURCE;
        const std::wstring problem = calls.whyNotReplaced(output);
        if (!problem.empty()) return problem;
    }
    return {};
}

bool exportSeparately(const ExportJob& job, SharedJobState& shared) {
    ClipWork work{.job = job, .shared = shared, .spans = spansOfClips(job.clips)};
    const std::wstring problem = whyNotWritten(work);
    if (!problem.empty()) {
        recordError(shared, problem);
        return false;
    }
    std::array<std::thread, CLIP_WORKERS> workers;
    for (std::size_t i = 0; i < CLIP_WORKERS; i++)
        workers[i] = std::thread([&work, i] { exportClips(work, i); });
    for (std::thread& worker : workers) worker.join();
    return work.allOk && !shared.exportCancel;
}

} // namespace

bool runExportJob(const ExportJob& job, SharedJobState& shared) {
    if (job.kind.separate) return exportSeparately(job, shared);
    if (isCopyOnly(job.clips, job.duration, job.kind)) return copySource(job, shared);
    return exportJoined(job, shared);
}

} // namespace velkantrix
