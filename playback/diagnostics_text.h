// diagnostics_text.h: the program's own figures as the user reads them, and the lines of the two
// logs.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "playback/presenter_step.h"

namespace velkantrix {

// The UI thread's. Times are 100 ns, ticks are milliseconds.
struct ResourceStats {
    std::uint64_t workingSet = 0; // bytes
    double cpuPercent = 0;        // of all processors, since the sample before
    std::uint64_t exeSize = 0;    // bytes; 0 until it is known
    std::uint64_t lastKernelTime = 0;
    std::uint64_t lastUserTime = 0;
    std::uint64_t lastTick = 0; // 0 before the first sample
};

// What the process has used so far, at a moment.
struct ProcessorTimes {
    std::uint64_t kernel = 0; // 100 ns
    std::uint64_t user = 0;   // 100 ns
    std::uint64_t tick = 0;   // milliseconds since the system started
};

// Takes a new sample: the share of the processors' time since the one before, 0 for the first.
void takeProcessorTimes(ResourceStats& stats, const ProcessorTimes& now, std::uint32_t processors);

// "RAM 61 MB  ·  CPU 3%  ·  DISK 712 KB  ·  0 DEPS  ·  0 NET"
std::wstring formatResourceLine(const ResourceStats& stats);

// Whether the value of a variable asks for a log. `length` is what the system says it has: of a
// value that didn't fit into the buffer, `value` tells nothing.
bool asksForLog(std::wstring_view value, std::uint32_t length);
inline constexpr std::uint32_t LOG_VARIABLE_ROOM = 8; // characters, with the one that ends it

// One line each, with its end. `seconds` since the log's first line.
std::string engineLogLine(double seconds, std::uint32_t event, std::uint64_t param1,
                          std::uint32_t param2);
std::string presentLogLine(double seconds, const PresentRecord& record, double engineTime);

} // namespace velkantrix
