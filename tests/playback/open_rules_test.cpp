#include "playback/open_rules.h"

#include <gtest/gtest.h>

#include <optional>
#include <string>
#include <vector>

namespace velkantrix {
namespace {

TEST(UsableFrameRate, IsTheFilesOwnWhereItCanBeUsed) {
    EXPECT_EQ(usableFrameRate(25, 1), 25);
    EXPECT_DOUBLE_EQ(usableFrameRate(30000, 1001), 29.97002997002997);
    EXPECT_EQ(usableFrameRate(3, 2), 1.5);
}

TEST(UsableFrameRate, IsThirtyOtherwise) {
    EXPECT_EQ(usableFrameRate(25, 0), 30);
    EXPECT_EQ(usableFrameRate(0, 1), 30);
    EXPECT_EQ(usableFrameRate(1, 1), 30);
    EXPECT_EQ(usableFrameRate(1, 2), 30);
}

TEST(UsableDuration, AVideoThatEndsEarlyShortensIt) {
    EXPECT_EQ(usableDuration(20, 15), 15);
    EXPECT_EQ(usableDuration(20, 19.979), 19.979);
}

TEST(UsableDuration, ADifferenceOfTwentyMillisecondsIsNone) {
    EXPECT_EQ(usableDuration(20, 19.98), 20);
    EXPECT_EQ(usableDuration(20, 19.99), 20);
    EXPECT_EQ(usableDuration(20, 20), 20);
    EXPECT_EQ(usableDuration(20, 25), 20) << "it is never longer than the container";
}

TEST(UsableDuration, AScanWithoutAResultChangesNothing) {
    EXPECT_EQ(usableDuration(20, -1), 20);
    EXPECT_EQ(usableDuration(20, 0), 20);
    EXPECT_EQ(usableDuration(20, 0.1), 20);
    EXPECT_EQ(usableDuration(20, 0.11), 0.11);
}

TEST(UsableDuration, AContainerWithoutADurationTakesTheScannedOne) {
    EXPECT_EQ(usableDuration(0, 7), 7);
    EXPECT_EQ(usableDuration(0, -1), 0);
    EXPECT_EQ(usableDuration(0, 0.05), 0);
}

// A video stream as a list of samples; a seek goes to the first sample at or after the time.
class Stream {
public:
    explicit Stream(std::vector<ScannedSample> samples) : samples_(std::move(samples)) {}

    EndScanCalls calls() {
        return {[this](double seconds) { return seek(seconds); }, [this] { return read(); },
                [this] { return reads >= stopAfter; },
                [this](double start) {
                    startTold = start;
                }};
    }

    std::vector<double> seeks;
    std::uint32_t reads = 0;
    std::uint32_t stopAfter = ~0U;
    bool canSeek = true;
    std::optional<double> startTold;

private:
    bool seek(double seconds) {
        seeks.push_back(seconds);
        for (at_ = 0; at_ < samples_.size() && secondsOf(samples_[at_].time) < seconds;) ++at_;
        return canSeek;
    }

    ScanRead read() {
        ++reads;
        if (at_ == samples_.size()) return {.ended = true};
        return {.sample = samples_[at_++]};
    }

    std::vector<ScannedSample> samples_;
    std::size_t at_ = 0;
};

Ticks at(double seconds) {
    return nearestTicks(seconds);
}

constexpr double FPS = 25;

using Seeks = std::vector<double>;

double endOf(double container, Stream& stream) {
    return scanEnds(container, FPS, false, stream.calls()).end;
}

TEST(EndScan, LooksAtTheFirstFrameAndTheLastThreeSeconds) {
    Stream stream({{at(0.1), at(1)}, {at(17.5), at(0.5)}, {at(18), at(0.25)}});
    const ScannedEnds ends = scanEnds(20, FPS, false, stream.calls());
    EXPECT_EQ(ends.start, 0.1);
    EXPECT_EQ(ends.end, 18.25);
    EXPECT_EQ(stream.seeks, Seeks{17});
    EXPECT_EQ(stream.reads, 4u);
}

TEST(EndScan, TheFirstFrameAloneTakesOneSample) {
    Stream stream({{at(1.5), at(1)}, {at(17.5), at(0.5)}});
    const ScannedEnds ends = scanEnds(20, FPS, true, stream.calls());
    EXPECT_EQ(ends.start, 1.5);
    EXPECT_EQ(ends.end, 0);
    EXPECT_EQ(stream.seeks, Seeks{});
    EXPECT_EQ(stream.reads, 1u);
}

TEST(EndScan, ReadsAShortFileFromItsBeginningWithoutSeeking) {
    Stream stream({{at(0), at(1)}, {at(1), at(1)}});
    EXPECT_EQ(endOf(3.0, stream), 2);
    EXPECT_EQ(stream.seeks, Seeks{});
    Stream longer({{at(0), at(1)}, {at(1), at(1)}});
    EXPECT_EQ(endOf(3.01, longer), 2);
    EXPECT_NE(longer.seeks, Seeks{});
}

TEST(EndScan, TheOnlySampleIsTheLast) {
    Stream stream({{at(0), at(2)}});
    EXPECT_EQ(endOf(2, stream), 2);
}

// In decode order the last sample need not be the last to be shown.
TEST(EndScan, KeepsTheGreatestEnd) {
    Stream stream({{at(18), at(0.5)}, {at(19), at(0.5)}, {at(18.5), at(0.5)}});
    EXPECT_EQ(endOf(20, stream), 19.5);
}

TEST(EndScan, LooksFurtherBackWhereThereIsNothing) {
    Stream stream({{at(0), at(1)}, {at(60), at(1)}});
    EXPECT_EQ(endOf(100, stream), 61);
    EXPECT_EQ(stream.seeks, (Seeks{97, 88, 52}));
}

TEST(EndScan, LooksBackToTheBeginning) {
    Stream stream({{at(0), at(1)}});
    EXPECT_EQ(endOf(100, stream), 1);
    EXPECT_EQ(stream.seeks, (Seeks{97, 88, 52, 0}));
}

TEST(EndScan, AFileWithoutAnySampleHasNoResult) {
    Stream stream({});
    const ScannedEnds ends = scanEnds(100, FPS, false, stream.calls());
    EXPECT_EQ(ends.start, 0);
    EXPECT_EQ(ends.end, 0);
}

TEST(EndScan, AContainerWithoutADurationIsReadFromItsBeginning) {
    Stream stream({{at(0), at(1)}, {at(1), at(1)}});
    EXPECT_EQ(endOf(0, stream), 2);
}

TEST(EndScan, AFileThatCannotBeSoughtHasNoEnd) {
    Stream stream({{at(0.5), at(1)}});
    stream.canSeek = false;
    const ScannedEnds ends = scanEnds(100, FPS, false, stream.calls());
    EXPECT_EQ(ends.start, 0.5);
    EXPECT_EQ(ends.end, 0);
    EXPECT_EQ(stream.reads, 1u);
}

TEST(EndScan, CanBeStopped) {
    Stream stream({{at(18), at(0.5)}, {at(18.5), at(0.5)}, {at(19), at(0.5)}});
    stream.stopAfter = 2;
    EXPECT_LT(endOf(20, stream), 0);
    EXPECT_EQ(stream.reads, 2u);
    stream.stopAfter = 0;
    EXPECT_LT(endOf(20, stream), 0);
    EXPECT_EQ(stream.reads, 2u);
}

TEST(EndScan, ASampleWithoutADurationLastsForAFrame) {
    Stream stream({{at(18), 0}, {at(18.5), -1}});
    EXPECT_EQ(endOf(20, stream), 18.54);
}

// Reads without a sample, as where a stream pauses, count too: there may be nothing else.
TEST(EndScan, ReadsAMillionTimesAtMost) {
    for (const bool withSamples : {true, false}) {
        std::uint32_t reads = 0;
        const EndScanCalls calls{[](double) { return true; },
                                 [&] {
                                     const ScannedSample sample{static_cast<Ticks>(++reads), 1};
                                     return withSamples ? ScanRead{.sample = sample} : ScanRead{};
                                 },
                                 [] { return false; },
                                 [](double) {
                                 }};
        EXPECT_EQ(scanEnds(20, FPS, false, calls).end, withSamples ? 0.1000001 : 0);
        EXPECT_EQ(reads, 1'000'000u);
    }
}

TEST(EndScan, AReadWithoutASampleIsPassedOver) {
    int reads = 0;
    const EndScanCalls calls{[](double) { return true; },
                             [&] {
                                 ++reads;
                                 if (reads == 2) return ScanRead{.sample = {{at(18), at(1)}}};
                                 return ScanRead{.ended = reads == 4};
                             },
                             [] { return false; },
                             [](double) {
                             }};
    EXPECT_EQ(scanEnds(2, FPS, false, calls).end, 19);
    EXPECT_EQ(reads, 4);
}

TEST(EndScan, TheStartIsToldBeforeTheEndIsLookedFor) {
    Stream stream({{at(0.5), at(1)}, {at(18), at(1)}});
    stream.stopAfter = 1; // nobody waits for the end any more
    EXPECT_LT(scanEnds(20, FPS, false, stream.calls()).end, 0);
    EXPECT_EQ(stream.startTold, 0.5);
    Stream empty({});
    EXPECT_EQ(scanEnds(20, FPS, false, empty.calls()).end, 0);
    EXPECT_EQ(empty.startTold, std::nullopt);
}

TEST(EndScan, TimesBeyondTheirRangeStayWithinIt) {
    Stream stream({{INT64_MAX, INT64_MAX}});
    EXPECT_GT(endOf(1, stream), 9e11);
}

TEST(FitRect, AWideVideoFillsTheWidth) {
    EXPECT_EQ(fitRect(1000, 1000, 1920, 800), (PictureRect{0, 292, 1000, 416}));
}

TEST(FitRect, AHighVideoFillsTheHeight) {
    EXPECT_EQ(fitRect(1000, 500, 1080, 1920), (PictureRect{359, 0, 281, 500}));
}

TEST(FitRect, AVideoOfTheSameShapeFillsAll) {
    EXPECT_EQ(fitRect(1280, 720, 1920, 1080), (PictureRect{0, 0, 1280, 720}));
}

TEST(FitRect, WithoutASizeAllIsUsed) {
    EXPECT_EQ(fitRect(300, 200, 0, 1080), (PictureRect{0, 0, 300, 200}));
    EXPECT_EQ(fitRect(300, 200, 1920, 0), (PictureRect{0, 0, 300, 200}));
}

// The height is cut to whole pixels before it is compared.
TEST(FitRect, AFractionOfAPixelTooHighIsNotTooHigh) {
    EXPECT_EQ(fitRect(101, 50, 2, 1), (PictureRect{0, 0, 101, 50}));
}

TEST(FitRect, TheSmallestWindowHasAPictureNoLargerThanItself) {
    EXPECT_EQ(fitRect(1, 1, 1920, 1080), (PictureRect{0, 0, 1, 0}));
    EXPECT_EQ(fitRect(1, 1, 1, 2147483647), (PictureRect{0, 0, 0, 1}));
    EXPECT_EQ(fitRect(1, 1, 2147483647, 1), (PictureRect{0, 0, 1, 0}));
}

} // namespace
} // namespace velkantrix
