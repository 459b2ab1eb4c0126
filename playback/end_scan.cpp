#include "playback/end_scan.h"

#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>
#include <mfreadwrite.h>

#include "base/com_ptr.h"
#include "platform/com.h"
#include "platform/mf_util.h"
#include "platform/threads.h"
#include "playback/open_rules.h"

namespace velkantrix {
namespace {

constexpr DWORD POLL = 5;                // milliseconds
constexpr ULONGLONG LONGEST_WAIT = 1500; // milliseconds, while a file is opened
constexpr ULONGLONG LONGEST_END = 1000;  // milliseconds, while the process ends

std::atomic<int> runningScans{0};
std::atomic<bool> processEnds{false};

ScanRead readSample(IMFSourceReader* reader) {
    const DWORD last = MF_SOURCE_READERF_ENDOFSTREAM | MF_SOURCE_READERF_ERROR;
    DWORD flags = 0;
    LONGLONG time = 0;
    ComPtr<IMFSample> sample;
    if (FAILED(reader->ReadSample(FIRST_VIDEO, 0, nullptr, &flags, &time, sample.put())))
        return {.ended = true};
    if (sample) return {.sample = ScannedSample{time, durationOf(sample.get())}};
    return {.ended = (flags & last) != 0};
}

ScannedEnds runScan(EndScan& scan) {
    const ComApartment apartment(COINIT_MULTITHREADED);
    ComPtr<IMFSourceReader> reader;
    if (FAILED(openSourceReader(scan.path.c_str(), reader))) return {};
    if (FAILED(selectOnlyStream(reader.get(), FIRST_VIDEO))) return {};
    return scanEnds(
        scan.file.container, scan.file.fps, scan.file.onlyStart,
        {.seek = [&](double at) { return SUCCEEDED(seekReader(reader.get(), nearestTicks(at))); },
         .read = [&] { return readSample(reader.get()); },
         .stopped = [&] { return scan.stop || processEnds; },
         .tellStart =
             [&](double start) {
                 scan.start = start;
             }});
}

} // namespace

std::shared_ptr<EndScan> startEndScan(const std::wstring& path, const ScannedFile& file) noexcept {
    auto scan = std::make_shared<EndScan>();
    scan->path = path;
    scan->file = file;
    ++runningScans;
    startDetached([scan] {
        scan->result = runScan(*scan).end;
        --runningScans;
    });
    return scan;
}

ScannedEnds waitForEndScan(const EndScan& scan) {
    const ULONGLONG begun = GetTickCount64();
    while (scan.result < 0 && GetTickCount64() - begun < LONGEST_WAIT) Sleep(POLL);
    const double end = scan.result; // first: once it is there, so is the start
    return {.start = scan.start, .end = end};
}

bool endScansRun() {
    return runningScans > 0;
}

bool endAllScans() {
    processEnds = true;
    const ULONGLONG begun = GetTickCount64();
    while (runningScans > 0 && GetTickCount64() - begun < LONGEST_END) Sleep(POLL);
    return runningScans == 0;
}

} // namespace velkantrix
