// export_job_worker.h: what a job does on its own threads: it copies the source, writes one joined
// file, or writes a file for each clip with two workers at once.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "base/video_claim.h"
#include "edit/segment.h"
#include "export/export_request.h"
#include "export/job_rules.h"
#include "export/safe_write.h"

namespace velkantrix {

// What the UI thread and a job's threads share. Seconds are those of the output.
struct SharedJobState {
    std::atomic<bool> exportCancel{false}; // set by the UI thread: the job is to end
    std::atomic<double> exportProgress{0}; // written by the job's threads
    // Of a joined job: its output is complete, and nothing stood there before; that of a save also
    // where the job failed, or was cancelled, behind it. Written by its thread, at its end.
    std::atomic<bool> outputCreated{false};
    // A complete file couldn't take its place and stands beside it: `exportError` says where, and
    // the user is to know, though he may have cancelled since.
    std::atomic<bool> fileKept{false};
    // Of a save that failed, or was cancelled: its file is complete, but can't be told from others
    // and so isn't deleted. Written by its thread, at its end.
    std::atomic<bool> unmarkedFile{false};
    // Of a save that has succeeded: the source claims more than what could be read of it. Written
    // by its thread, at its end.
    std::atomic<bool> notWhole{false};

    Mutex exportErrorLock;
    std::wstring exportError GUARDED_BY(exportErrorLock); // the first one that was told; or empty
    std::wstring writtenMark GUARDED_BY(exportErrorLock); // of a save's complete file
    // Of a joined job's export, one for each clip; of others empty.
    std::vector<WrittenSpan> writtenSpans GUARDED_BY(exportErrorLock);
};

// When not done, nothing is left of the target, unless a file stood there before.
struct CopyResult {
    bool done = false;
    std::wstring errorText; // the system's, when not done; it may have none
};

// Told how many bytes are copied, of how many. False: the copy is to end.
using CopyProgress = std::function<bool(std::uint64_t copied, std::uint64_t total)>;

// What a job's threads ask of the world, two of them at once. None is empty.
struct JobCalls : SafeWriteCalls {
    std::function<bool(const ExportRequest& request, std::wstring* errorText)> exportFile;
    std::function<CopyResult(const std::wstring& source, const std::wstring& target,
                             const CopyProgress& progress)>
        copyFile;
    // Not to the end once it is cancelled.
    std::function<VideoClaim(const std::wstring& source, const std::function<bool()>& cancelled)>
        claimOfVideo;
    std::function<void(bool success)> postCompletion; // to the UI thread: the job has ended
};

// A job's own copy of all that it needs: the edit and the settings belong to the UI thread.
struct ExportJob {
    ClipList clips;
    std::wstring sourcePath;
    std::wstring outputPath; // a folder when separate
    double duration = 0;     // of the source
    double expected = 0.1;   // the output's length, as it is shown
    JobKind kind;
    // The output is written by its name at once, though something may stand there: the name is the
    // job's own, and whoever starts it has made sure of it.
    bool saveInPlace = false;
    JobCalls calls;
};

// Does the job. True when it succeeded; else its reason is in `exportError`, if it has one. The
// source is never deleted or replaced: where an output would be the source nothing at all is
// written. Posts nothing.
[[nodiscard]] bool runExportJob(const ExportJob& job, SharedJobState& shared)
    EXCLUDES(shared.exportErrorLock);

} // namespace velkantrix
