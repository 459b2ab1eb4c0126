#include "playback/diagnostics_text.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

std::wstring lineWithExe(std::uint64_t size) {
    ResourceStats stats;
    stats.exeSize = size;
    return formatResourceLine(stats);
}

TEST(ResourceLine, HasFiveItems) {
    ResourceStats stats;
    stats.workingSet = 61 * 1048576ULL + 1000;
    stats.cpuPercent = 3.4;
    stats.exeSize = 900'000;
    EXPECT_EQ(formatResourceLine(stats),
              L"RAM 61 MB  \u00B7  CPU 3%  \u00B7  DISK 879 KB  \u00B7  0 DEPS  \u00B7  0 NET");
}

TEST(ResourceLine, AnExecutableOfAMegabyteIsGivenInMegabytes) {
    EXPECT_NE(lineWithExe(1'048'575).find(L"DISK 1024 KB"), std::wstring::npos);
    EXPECT_NE(lineWithExe(1'048'576).find(L"DISK 1.0 MB"), std::wstring::npos);
    EXPECT_NE(lineWithExe(2'097'152).find(L"DISK 2.0 MB"), std::wstring::npos);
}

TEST(ResourceLine, UnknownFiguresAreZero) {
    EXPECT_EQ(formatResourceLine({}),
              L"RAM 0 MB  \u00B7  CPU 0%  \u00B7  DISK 0 KB  \u00B7  0 DEPS  \u00B7  0 NET");
}

TEST(ResourceLine, HugeFiguresAreWrittenOut) {
    ResourceStats stats;
    stats.workingSet = ~0ULL;
    EXPECT_NE(formatResourceLine(stats).find(L"RAM 17592186044416 MB"), std::wstring::npos);
}

TEST(ProcessorShare, TheFirstSampleSaysZero) {
    ResourceStats stats;
    takeProcessorTimes(stats, {500'000'000, 500'000'000, 1'000}, 1);
    EXPECT_EQ(stats.cpuPercent, 0);
    EXPECT_EQ(stats.lastKernelTime, 500'000'000u);
    EXPECT_EQ(stats.lastUserTime, 500'000'000u);
    EXPECT_EQ(stats.lastTick, 1'000u);
}

TEST(ProcessorShare, IsThatOfAllProcessorsSinceTheSampleBefore) {
    ResourceStats stats;
    takeProcessorTimes(stats, {1'000'000, 1'000'000, 5'000}, 4);
    takeProcessorTimes(stats, {2'000'000, 4'000'000, 6'000}, 4); // 400 ms of 4 times 1000
    EXPECT_EQ(stats.cpuPercent, 10);
    takeProcessorTimes(stats, {2'000'000, 4'000'000, 7'000}, 4);
    EXPECT_EQ(stats.cpuPercent, 0);
}

TEST(ProcessorShare, IsKeptWithinItsRange) {
    ResourceStats stats;
    takeProcessorTimes(stats, {0, 0, 1'000}, 1);
    takeProcessorTimes(stats, {0, 90'000'000, 1'100}, 1);
    EXPECT_EQ(stats.cpuPercent, 100);
}

TEST(ProcessorShare, WithoutTimeBetweenItIsZero) {
    ResourceStats stats;
    takeProcessorTimes(stats, {0, 0, 1'000}, 1);
    takeProcessorTimes(stats, {0, 10'000'000, 1'000}, 1);
    EXPECT_EQ(stats.cpuPercent, 0);
    takeProcessorTimes(stats, {0, 20'000'000, 900}, 1);
    EXPECT_EQ(stats.cpuPercent, 0);
}

TEST(ProcessorShare, NoProcessorsCountAsOne) {
    ResourceStats stats;
    takeProcessorTimes(stats, {0, 0, 1'000}, 0);
    takeProcessorTimes(stats, {0, 5'000'000, 2'000}, 0);
    EXPECT_EQ(stats.cpuPercent, 50);
}

TEST(LogVariable, OnlyAValueThatBeginsWithOneAsksForALog) {
    EXPECT_TRUE(asksForLog(L"1", 1));
    EXPECT_TRUE(asksForLog(L"1234567", 7));
    EXPECT_FALSE(asksForLog(L"0", 1));
    EXPECT_FALSE(asksForLog(L"01", 2));
    EXPECT_FALSE(asksForLog(L"", 0));
    EXPECT_FALSE(asksForLog(L"12345678", 8)) << "it doesn't fit";
    EXPECT_FALSE(asksForLog(L"1", 200)) << "what is in the buffer isn't the value";
}

TEST(LogLines, AnEventOfTheEngine) {
    EXPECT_EQ(engineLogLine(1.5, 13, 0, 7), "    1.500 ev=13 p1=0 p2=7\n");
    EXPECT_EQ(engineLogLine(12345678.9, 4294967295, ~0ULL, 4294967295),
              "12345678.900 ev=4294967295 p1=18446744073709551615 p2=4294967295\n");
}

TEST(LogLines, AFrameOfTheEngine) {
    PresentRecord record;
    record.pts = 20'400'000;
    record.generation = 3;
    EXPECT_EQ(
        presentLogLine(0, record, 2.05),
        "    0.000 engine  engine=    2.050 preview=   -1.000 tick=    2.040 target=   -0.000 "
        "owner=engine gen=3 waitplay=0\n");
}

TEST(LogLines, APreviewWithoutATime) {
    PresentRecord record;
    record.isPreview = true;
    record.previewShownTime = 4.5;
    record.seekTarget = 50'000'000;
    record.owner = PictureOwner::Preview;
    record.generation = ~0ULL;
    record.waitPlay = true;
    EXPECT_EQ(
        presentLogLine(1.0004, record, 0),
        "    1.000 preview engine=    0.000 preview=    4.500 tick=   -1.000 target=    5.000 "
        "owner=preview gen=18446744073709551615 waitplay=1\n");
}

TEST(LogLines, EachOwnerHasItsWord) {
    PresentRecord record;
    record.owner = PictureOwner::Frozen;
    EXPECT_NE(presentLogLine(0, record, 0).find("owner=frozen "), std::string::npos);
    record.owner = static_cast<PictureOwner>(7);
    EXPECT_NE(presentLogLine(0, record, 0).find("owner=engine "), std::string::npos);
}

} // namespace
} // namespace velkantrix
