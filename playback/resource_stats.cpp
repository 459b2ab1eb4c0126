#include "playback/resource_stats.h"

#include <windows.h>

#include <psapi.h>

#include <array>

namespace velkantrix {
namespace {

std::uint64_t wholeNumber(DWORD high, DWORD low) {
    return std::uint64_t{high} << 32 | low;
}

std::uint64_t sizeOfProgram() {
    std::array<wchar_t, 260> path{};
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), static_cast<DWORD>(path.size()));
    if (length == 0 || length == path.size()) return 0;
    WIN32_FILE_ATTRIBUTE_DATA file = {};
    if (!GetFileAttributesExW(path.data(), GetFileExInfoStandard, &file)) return 0;
    return wholeNumber(file.nFileSizeHigh, file.nFileSizeLow);
}

} // namespace

void sampleResourceStats(ResourceStats& stats) {
    PROCESS_MEMORY_COUNTERS memory = {};
    if (K32GetProcessMemoryInfo(GetCurrentProcess(), &memory, sizeof memory))
        stats.workingSet = memory.WorkingSetSize;
    FILETIME begun;
    FILETIME ended;
    FILETIME kernel;
    FILETIME user;
    if (GetProcessTimes(GetCurrentProcess(), &begun, &ended, &kernel, &user)) {
        SYSTEM_INFO system = {};
        GetSystemInfo(&system);
        takeProcessorTimes(stats,
                           {wholeNumber(kernel.dwHighDateTime, kernel.dwLowDateTime),
                            wholeNumber(user.dwHighDateTime, user.dwLowDateTime), GetTickCount64()},
                           system.dwNumberOfProcessors);
    }
    if (stats.exeSize == 0) stats.exeSize = sizeOfProgram();
}

} // namespace velkantrix
