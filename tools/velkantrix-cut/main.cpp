// velkantrix-cut: cuts a video from the command line.
//
// Threads: the main thread; with --separate the job's two, which tell progress.
#include <windows.h>

#include <algorithm>
#include <optional>
#include <string>
#include <vector>

#include "base/mutex.h"
#include "base/time_text.h"
#include "export/export_core.h"
#include "export/job_texts.h"
#include "export/safe_write_files.h"
#include "platform/com.h"
#include "platform/files.h"
#include "platform/media_startup.h"
#include "platform/mf_util.h"
#include "playback/byte_stream_handler.h"
#include "tools/velkantrix-cut/console.h"
#include "tools/velkantrix-cut/cut_arguments.h"
#include "tools/velkantrix-cut/cut_job.h"
#include "tools/velkantrix-cut/cut_report.h"
#include "tools/velkantrix-cut/cut_usage.h"
#include "velkantrix_version.h"

namespace velkantrix {
namespace {

constexpr int SUCCESS = 0, FAILURE = 1, USAGE = 2;

#define WIDE_TEXT(text) L"" text

struct Streams {
    TextStream out{STD_OUTPUT_HANDLE};
    TextStream error{STD_ERROR_HANDLE};
};

int fail(const Streams& streams, bool json, const std::wstring& reason) {
    const std::wstring line = oneLine(reason);
    if (json) streams.out.write(errorJson(line) + L"\n");
    streams.error.write(L"velkantrix-cut: " + line + L"\n");
    return FAILURE;
}

// The source's length in seconds; absent, with the reason, when the file can't be read as a video.
std::optional<double> lengthOf(const std::wstring& path, std::wstring& reason) {
    const ComApartment apartment(COINIT_MULTITHREADED);
    ComPtr<IMFSourceReader> reader;
    const HRESULT hr = openSourceReader(absolutePath(path).c_str(), reader);
    if (FAILED(hr)) {
        reason = FormatExportError(hr);
        return std::nullopt;
    }
    const std::optional<Ticks> duration = sourceDuration(reader.get());
    if (!duration) {
        reason = L"The file doesn't say how long it is; give the end of each part.";
        return std::nullopt;
    }
    return secondsOf(*duration);
}

bool hasOpenEnd(const CutArguments& arguments) {
    for (const KeptPart& part : arguments.parts) {
        if (!part.end) return true;
    }
    return false;
}

// The progress as the user has asked for it: lines of JSON, or one line of a console, written over.
class Progress {
public:
    Progress(const Streams& streams, bool json, double expected)
        : streams_(streams), json_(json), expected_(expected), begun_(GetTickCount64()) {}

    // By any thread.
    void show(double seconds) EXCLUDES(lock_) {
        const Lock held(lock_);
        if (seconds < expected_ && pace_.due(static_cast<long long>(GetTickCount64())))
            tell(seconds);
    }

    // Everything is written, or nothing more will be. After all others.
    void end(bool done) EXCLUDES(lock_) {
        const Lock held(lock_);
        if (done) tell(expected_);
        if (shown_ > 0) streams_.error.write(L"\n");
    }

    [[nodiscard]] double elapsed() const {
        return static_cast<double>(GetTickCount64() - begun_) / 1000;
    }

private:
    void tell(double seconds) REQUIRES(lock_) {
        if (json_) {
            streams_.out.write(progressJson(seconds, expected_, elapsed()) + L"\n");
            return;
        }
        if (!streams_.error.isConsole()) return;
        std::wstring line = progressText(seconds, expected_, elapsed());
        line.resize(
            std::min(line.size(), streams_.error.width() - 1)); // or it would begin a new one
        const size_t length = line.size();
        if (length < shown_) line.append(shown_ - length, L' ');
        shown_ = length;
        streams_.error.write(L"\r" + line);
    }

    const Streams& streams_;
    const bool json_;
    const double expected_;
    const ULONGLONG begun_;
    Mutex lock_;
    ReportPace pace_ GUARDED_BY(lock_);
    size_t shown_ GUARDED_BY(lock_) = 0;
};

bool isFolder(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && attributes & FILE_ATTRIBUTE_DIRECTORY;
}

// Never taken away: a console event may come as the process ends.
SharedJobState& sharedState() {
    static SharedJobState state;
    return state;
}

JobCalls callsFor(SharedJobState& shared, Progress& progress) {
    JobCalls calls;
    bindSafeWriteCalls(calls);
    calls.exportFile = [&](const ExportRequest& asked, std::wstring* errorText) {
        ExportRequest request = asked;
        request.progress = [&](double seconds) {
            asked.progress(seconds);
            progress.show(shared.exportProgress);
        };
        return ExportFile(request, errorText);
    };
    return calls;
}

// What stands where something is to be written; or empty.
std::wstring whyNotThere(const CutArguments& arguments) {
    const bool folder = isFolder(arguments.output);
    if (folder == arguments.separate) return {};
    return (folder ? L"The output is a folder: " : L"There is no such folder: ") + arguments.output;
}

std::wstring lineOf(const WrittenFile& file, double asked) {
    const std::wstring length = file.length ? L": " + formatTime(*file.length) : L"";
    return L"Wrote " + file.path + length + L" (" + formatTime(asked) + L" asked for)\n";
}

void tellDone(const Streams& streams, bool json, const ExportJob& job, double elapsed) {
    // Read back: keyframes, or a source that breaks off, make it another length than was asked for.
    std::vector<WrittenFile> files;
    std::wstring ignored;
    for (const std::wstring& path : outputsOf(job))
        files.push_back({path, lengthOf(path, ignored)});
    if (json) {
        streams.out.write((job.kind.separate
                               ? doneJson(job.outputPath, files, elapsed)
                               : doneJson(job.outputPath, files.front().length, elapsed)) +
                          L"\n");
        return;
    }
    for (size_t i = 0; i < files.size(); i++) {
        const double asked = job.kind.separate ? clipLength(job.clips[i]) : job.expected;
        streams.out.write(lineOf(files[i], asked));
    }
}

void tellNote(const Streams& streams, bool json, const std::wstring& note) {
    if (note.empty()) return;
    if (json) streams.out.write(noteJson(note) + L"\n");
    streams.error.write(L"velkantrix-cut: " + note + L"\n");
}

int cut(const Streams& streams, const CutArguments& arguments, SharedJobState& shared) {
    const HRESULT started = startMedia(registerMp4Source);
    if (FAILED(started)) return fail(streams, arguments.json, FormatExportError(started));
    std::wstring reason = whyNotThere(arguments);
    if (!reason.empty()) return fail(streams, arguments.json, reason);
    const std::optional<double> duration =
        hasOpenEnd(arguments) ? lengthOf(arguments.input, reason) : 0;
    if (!duration) return fail(streams, arguments.json, reason);
    const auto spans = spansOf(arguments.parts, *duration, reason);
    if (!spans) return fail(streams, arguments.json, reason);

    ExportJob job = cutJob(arguments, *spans);
    tellNote(streams, arguments.json, noteBefore(job));
    Progress progress(streams, arguments.json, job.expected);
    job.calls = callsFor(shared, progress);
    const bool done = runExportJob(job, shared);
    progress.end(done);
    if (!done) return fail(streams, arguments.json, reasonOfFailure(shared));
    tellDone(streams, arguments.json, job, progress.elapsed());
    return SUCCESS;
}

int run(const std::vector<std::wstring>& words) {
    const Streams streams;
    std::wstring problem;
    const std::optional<CutArguments> arguments = parseCutArguments(words, problem);
    if (!arguments) {
        streams.error.write(L"velkantrix-cut: " + problem + L"\n\n" + cutUsage());
        return USAGE;
    }
    if (arguments->help) {
        streams.out.write(cutUsage());
        return SUCCESS;
    }
    if (arguments->version) {
        streams.out.write(L"velkantrix-cut " WIDE_TEXT(VELKANTRIX_VERSION_TEXT) L"\n");
        return SUCCESS;
    }
    SharedJobState& shared = sharedState();
    const CancelByConsole stopOnRequest(shared.exportCancel);
    const int code = cut(streams, *arguments, shared);
    stopMedia();
    return code;
}

} // namespace
} // namespace velkantrix

int wmain(int count, wchar_t** words) {
    return velkantrix::run(std::vector<std::wstring>(words + (count > 0), words + count));
}
