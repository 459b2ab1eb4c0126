#include "playback/end_scan.h"

#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>
#include <mfreadwrite.h>

#include <thread>

#include "base/com_ptr.h"
#include "platform/com.h"
#include "platform/mf_util.h"
#include "playback/open_rules.h"

namespace velkantrix {
namespace {

constexpr DWORD POLL = 5;                // milliseconds
constexpr ULONGLONG LONGEST_WAIT = 1500; // milliseconds, while a file is opened
constexpr ULONGLONG LONGEST_END = 1000;  // milliseconds, while the process ends
constexpr DWORD FIRST_VIDEO = static_cast<DWORD>(MF_SOURCE_READER_FIRST_VIDEO_STREAM);

std::atomic<int> runningScans{0};
std::atomic<bool> processEnds{false};

std::optional<ScannedSample> readSample(IMFSourceReader* reader) {
    while (true) {
        DWORD flags = 0;
        LONGLONG time = 0;
        ComPtr<IMFSample> sample;
        if (FAILED(reader->ReadSample(FIRST_VIDEO, 0, nullptr, &flags, &time, sample.put())))
            return std::nullopt;
        if (sample) return ScannedSample{time, durationOf(sample.get())};
        if (flags & MF_SOURCE_READERF_ENDOFSTREAM) return std::nullopt;
    }
}

double runScan(const EndScan& scan) {
    const ComApartment apartment(COINIT_MULTITHREADED);
    ComPtr<IMFSourceReader> reader;
    if (FAILED(openSourceReader(scan.path.c_str(), reader))) return 0;
    if (FAILED(selectOnlyStream(reader.get(), FIRST_VIDEO))) return 0;
    return scanForEnd(
        scan.container,
        {.seek = [&](double at) { return SUCCEEDED(seekReader(reader.get(), nearestTicks(at))); },
         .read = [&] { return readSample(reader.get()); },
         .stopped =
             [&] {
                 return scan.stop || processEnds;
             }});
}

} // namespace

std::shared_ptr<EndScan> startEndScan(const std::wstring& path, double container) noexcept {
    auto scan = std::make_shared<EndScan>();
    scan->path = path;
    scan->container = container;
    ++runningScans;
    std::thread([scan] {
        scan->result = runScan(*scan);
        --runningScans;
    }).detach();
    return scan;
}

double waitForEndScan(const EndScan& scan) {
    const ULONGLONG begun = GetTickCount64();
    while (scan.result < 0 && GetTickCount64() - begun < LONGEST_WAIT) Sleep(POLL);
    return scan.result;
}

bool endAllScans() {
    processEnds = true;
    const ULONGLONG begun = GetTickCount64();
    while (runningScans > 0 && GetTickCount64() - begun < LONGEST_END) Sleep(POLL);
    return runningScans == 0;
}

} // namespace velkantrix
