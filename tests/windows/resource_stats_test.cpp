#include "playback/resource_stats.h"

#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "tests/windows/test_files.h"

namespace velkantrix {
namespace {

constexpr ULONGLONG BUSY = 200; // milliseconds

TEST(ResourceStats, TheFirstSampleKnowsMemoryAndProgramButNoShareYet) {
    ResourceStats stats;
    sampleResourceStats(stats);
    EXPECT_GT(stats.workingSet, 1'000'000u);
    EXPECT_LT(stats.workingSet, 1'000'000'000u);
    EXPECT_EQ(stats.cpuPercent, 0);
    std::wstring program(MAX_PATH, L'\0');
    program.resize(GetModuleFileNameW(nullptr, program.data(), MAX_PATH));
    EXPECT_EQ(stats.exeSize, bytesOf(program).size());
}

TEST(ResourceStats, WorkSinceTheLastSampleIsAShareOfTheProcessors) {
    ResourceStats stats;
    sampleResourceStats(stats);
    const ULONGLONG begun = GetTickCount64();
    volatile unsigned work = 0;
    while (GetTickCount64() - begun < BUSY) work = work + 1;
    sampleResourceStats(stats);
    EXPECT_GT(stats.cpuPercent, 0);
    EXPECT_LE(stats.cpuPercent, 100);
}

} // namespace
} // namespace velkantrix
