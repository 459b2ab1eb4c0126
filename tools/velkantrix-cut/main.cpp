// velkantrix-cut: cuts a video losslessly from the command line.
#include <windows.h>

#include <algorithm>
#include <atomic>
#include <optional>
#include <string>
#include <vector>

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
#include "tools/velkantrix-cut/cut_report.h"
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

    void show(double seconds) {
        if (!json_ && !streams_.error.isConsole()) return;
        const ULONGLONG now = GetTickCount64();
        if (!pace_.due(static_cast<long long>(now)) && seconds < expected_) return;
        if (json_) {
            streams_.out.write(progressJson(seconds, expected_, elapsed()) + L"\n");
            return;
        }
        std::wstring line = progressText(seconds, expected_, elapsed());
        line.resize(
            std::min(line.size(), streams_.error.width() - 1)); // or it would begin a new one
        const size_t length = line.size();
        if (length < shown_) line.append(shown_ - length, L' ');
        shown_ = length;
        streams_.error.write(L"\r" + line);
    }

    void end() const {
        if (shown_ > 0) streams_.error.write(L"\n");
    }

    [[nodiscard]] double elapsed() const {
        return static_cast<double>(GetTickCount64() - begun_) / 1000;
    }

private:
    const Streams& streams_;
    const bool json_;
    const double expected_;
    const ULONGLONG begun_;
    ReportPace pace_;
    size_t shown_ = 0;
};

bool isFolder(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(path.c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && attributes & FILE_ATTRIBUTE_DIRECTORY;
}

// Writes the spans to `output`.
bool exportInto(const std::wstring& output, ExportRequest request, std::wstring& reason) {
    if (isFolder(output)) {
        reason = L"The output is a folder: " + output;
        return false;
    }
    SafeWriteCalls calls;
    bindSafeWriteCalls(calls);
    const auto exportTo = [&](const std::wstring& path) {
        request.outputPath = path;
        Written written;
        written.done = ExportFile(request, &written.errorText);
        return written;
    };
    const Written written =
        writeSafely(calls, request.sourcePath, output, *request.cancel, exportTo);
    reason = written.errorText;
    return written.done;
}

int cut(const Streams& streams, const CutArguments& arguments, const std::atomic<bool>& cancel) {
    const HRESULT started = startMedia(registerMp4Source);
    if (FAILED(started)) return fail(streams, arguments.json, FormatExportError(started));
    std::wstring reason;
    const std::optional<double> duration =
        hasOpenEnd(arguments) ? lengthOf(arguments.input, reason) : 0;
    if (!duration) return fail(streams, arguments.json, reason);
    const auto spans = spansOf(arguments.parts, *duration, reason);
    if (!spans) return fail(streams, arguments.json, reason);

    const double expected = totalSeconds(*spans);
    Progress progress(streams, arguments.json, expected);
    const ExportRequest request{.sourcePath = arguments.input,
                                .spans = *spans,
                                .cancel = &cancel,
                                .progress = [&](double seconds) { progress.show(seconds); },
                                .losslessAllowed = true};
    const bool done = exportInto(arguments.output, request, reason);
    progress.end();
    if (!done) return fail(streams, arguments.json, reason);

    // Read back: keyframes, or a source that breaks off, make it another length than was asked for.
    const std::optional<double> length = lengthOf(arguments.output, reason);
    if (arguments.json) {
        streams.out.write(doneJson(arguments.output, length, progress.elapsed()) + L"\n");
        return SUCCESS;
    }
    const std::wstring written = length ? L": " + formatTime(*length) : L"";
    streams.out.write(L"Wrote " + arguments.output + written + L" (" + formatTime(expected) +
                      L" asked for)\n");
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
    const CancelByConsole stopOnRequest;
    const int code = cut(streams, *arguments, stopOnRequest.flag());
    stopMedia();
    return code;
}

} // namespace
} // namespace velkantrix

int wmain(int count, wchar_t** words) {
    return velkantrix::run(std::vector<std::wstring>(words + (count > 0), words + count));
}
