// end_scan.h: finds where a file's video really begins and ends, on a thread of its own.
#pragma once

#include <atomic>
#include <memory>
#include <string>

#include "playback/open_rules.h"

namespace velkantrix {

// What is known of the file before.
struct ScannedFile {
    double container = 0;   // seconds; what the container says
    double fps = 0;         // of the video, above 0
    bool onlyStart = false; // its samples are spread so widely that the end would take too long
};

// Shared by the scan's thread and whoever waits for it; neither needs the other to live on.
struct EndScan {
    std::wstring path;
    ScannedFile file;
    std::atomic<double> start{0};   // seconds, set before the result; 0 until then
    std::atomic<double> result{-1}; // seconds, set once; negative until then
    std::atomic<bool> stop{false};  // nobody waits any more
};

// Begins a scan. A thread that can't be started ends the process.
std::shared_ptr<EndScan> startEndScan(const std::wstring& path, const ScannedFile& file) noexcept;

// Waits up to 1.5 s for the result; its end is negative when it hasn't come.
[[nodiscard]] ScannedEnds waitForEndScan(const EndScan& scan);

// A scan still runs, be it one that nobody waits for any more: it has its file open.
[[nodiscard]] bool endScansRun();

// At the end of the process: tells all scans to stop and waits for them, up to a second. False when
// one still runs: Media Foundation must not be shut down under it.
[[nodiscard]] bool endAllScans();

} // namespace velkantrix
