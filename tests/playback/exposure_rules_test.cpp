#include "playback/exposure_rules.h"

#include <algorithm>
#include <cmath>
#include <vector>

#include "base/exposure.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// So many values of each kind.
LumaHistogram histogramOf(std::initializer_list<std::pair<int, std::uint64_t>> counts) {
    LumaHistogram histogram;
    for (const auto& [value, count] : counts) {
        histogram.counts[static_cast<std::size_t>(value)] += count;
        histogram.total += count;
    }
    return histogram;
}

double askedBy(std::initializer_list<std::pair<int, std::uint64_t>> counts) {
    return exposureFor(histogramOf(counts)).value_or(std::nan(""));
}

// The shader's way of showing a luma of 0 to 1.
double shown(double luma, double exposure) {
    return std::pow(luma, 1 / std::pow(3, exposure));
}

// The same, read step by step from a sorted list of all values instead of a histogram.
double plainlyFixed(std::vector<int> values) {
    std::ranges::sort(values);
    const std::size_t n = values.size();
    // The first value by which at least `count` are there: the one at place count - 1.
    const auto reaching = [&](std::size_t count) {
        return count == 0 ? 0 : values[count - 1];
    };
    const int m = reaching(n / 2);
    const int h = reaching(static_cast<std::size_t>(std::floor(static_cast<double>(n) * 0.95)));
    double y = (m - 16) / 219.0;
    if (y < 0.02) y = 0.02;
    if (y > 0.98) y = 0.98;
    double e = std::log(std::log(y) / std::log(0.4063926940639269)) / std::log(3.0);
    if (e < -1) e = -1;
    if (e > 1) e = 1;
    if (e > 0) {
        double share = (215 - h) / 70.0;
        if (share < 0) share = 0;
        if (share > 1) share = 1;
        e *= share;
    }
    e *= 0.6;
    if (e < -0.8) e = -0.8;
    if (e > 0.8) e = 0.8;
    return e;
}

TEST(ExposureSteps, AreATenthAndStopAtOne) {
    double exposure = 0;
    for (int i = 0; i < 3; ++i) exposure = brighterExposure(exposure);
    EXPECT_NEAR(exposure, 0.3, 1e-12);
    EXPECT_EQ(exposureText(exposure), L"Exposure +30%");
    for (int i = 3; i < 11; ++i) exposure = brighterExposure(exposure);
    EXPECT_EQ(exposure, 1.0);
    EXPECT_EQ(exposureText(exposure), L"Exposure +100%");
    for (int i = 0; i < 25; ++i) exposure = darkerExposure(exposure);
    EXPECT_EQ(exposure, -1.0);
    EXPECT_EQ(exposureText(exposure), L"Exposure -100%");
}

TEST(ExposureSteps, ThereAndBackIsNothingAtAll) {
    for (int steps = 1; steps <= 10; ++steps) {
        double exposure = 0;
        for (int i = 0; i < steps; ++i) exposure = brighterExposure(exposure);
        for (int i = 0; i < steps; ++i) exposure = darkerExposure(exposure);
        EXPECT_EQ(exposure, 0) << steps;
    }
}

TEST(ExposureText, SaysWholePercentWithTheirSign) {
    EXPECT_EQ(exposureText(0.3), L"Exposure +30%");
    EXPECT_EQ(exposureText(-0.6), L"Exposure -60%");
    EXPECT_EQ(exposureText(0.3156), L"Exposure +32%");
    EXPECT_EQ(exposureText(0.0011), L"Exposure +0%");
}

TEST(ExposureText, LessThanAThousandthIsNone) {
    for (const double none : {0.0, 0.001, -0.001, 0.0005})
        EXPECT_EQ(exposureText(none), L"Exposure reset") << none;
    EXPECT_FALSE(isExposed(0.001));
    EXPECT_TRUE(isExposed(-0.0011));
}

TEST(CountLuma, TakesEverySixteenthValueFromTheFirst) {
    std::vector<std::uint8_t> luma(33, 7);
    luma[0] = 1;
    luma[16] = 2;
    luma[32] = 3;
    LumaHistogram histogram;
    countLuma(histogram, luma);
    EXPECT_EQ(histogram.total, 3u);
    EXPECT_EQ(histogram.counts[1], 1u);
    EXPECT_EQ(histogram.counts[2], 1u);
    EXPECT_EQ(histogram.counts[3], 1u);
    EXPECT_EQ(histogram.counts[7], 0u);
}

// As many as (n - 1) / 16 + 1.
TEST(CountLuma, CountsWhatIsThere) {
    for (const auto& [size, total] : {std::pair<std::size_t, std::uint64_t>{0, 0},
                                      {1, 1},
                                      {16, 1},
                                      {17, 2},
                                      {32, 2},
                                      {1000, 63}}) {
        LumaHistogram histogram;
        countLuma(histogram, std::vector<std::uint8_t>(size, 9));
        EXPECT_EQ(histogram.total, total) << size;
        EXPECT_EQ(histogram.counts[9], total);
    }
}

TEST(ExposureFor, WithoutAnythingCountedThereIsNone) {
    EXPECT_EQ(exposureFor({}), std::nullopt);
}

TEST(ExposureFor, AMedianOf105IsAsItShouldBe) {
    EXPECT_EQ(askedBy({{105, 100}}), 0);
    EXPECT_EQ(exposureText(askedBy({{105, 100}})), L"Exposure reset");
}

TEST(ExposureFor, ADarkVideoIsMadeBrighter) {
    EXPECT_NEAR(askedBy({{60, 96}, {144, 4}}), 0.3156, 0.0001);
    EXPECT_EQ(exposureText(askedBy({{60, 100}})), L"Exposure +32%");
}

TEST(ExposureFor, ABrightVideoIsMadeDarkerByNoMoreThanSixTenths) {
    EXPECT_DOUBLE_EQ(askedBy({{230, 100}}), -0.6);
    EXPECT_EQ(exposureText(askedBy({{230, 100}})), L"Exposure -60%");
    EXPECT_DOUBLE_EQ(askedBy({{255, 100}}), -0.6);
}

TEST(ExposureFor, BlackCountsAsTheDarkestLumaThereIs) {
    EXPECT_EQ(askedBy({{0, 100}}), askedBy({{16, 100}}));
    EXPECT_EQ(askedBy({{0, 100}}), askedBy({{20, 100}}));
    EXPECT_DOUBLE_EQ(askedBy({{0, 100}}), 0.6);
}

// The whole correction, of which 0.6 is taken, is what brings the middle value to code value 105.
TEST(ExposureFor, TheWholeCorrectionWouldShowTheMedianAsTheTarget) {
    for (const int median : {50, 60, 80, 105, 120, 150}) {
        const double luma = (median - 16) / 219.0;
        EXPECT_NEAR(shown(luma, askedBy({{median, 100}}) / 0.6), 89 / 219.0, 1e-9) << median;
    }
}

TEST(ExposureFor, HighlightsHoldBackTheBrightening) {
    const double whole = askedBy({{60, 100}});
    EXPECT_DOUBLE_EQ(askedBy({{60, 90}, {145, 10}}), whole);
    EXPECT_DOUBLE_EQ(askedBy({{60, 90}, {180, 10}}), whole / 2);
    EXPECT_EQ(askedBy({{60, 90}, {215, 10}}), 0);
    EXPECT_EQ(askedBy({{60, 90}, {255, 10}}), 0);
    // A twentieth is no highlight.
    EXPECT_DOUBLE_EQ(askedBy({{60, 95}, {255, 5}}), whole);
}

TEST(ExposureFor, HighlightsDontHoldBackTheDarkening) {
    EXPECT_DOUBLE_EQ(askedBy({{150, 60}, {255, 40}}), askedBy({{150, 100}}));
}

// They can't be reached by what was counted: a total that is more.
TEST(ExposureFor, WithoutAMiddleOrAHighlightThereAreUsualOnes) {
    LumaHistogram nothing;
    nothing.total = 10;
    EXPECT_DOUBLE_EQ(exposureFor(nothing).value_or(9), askedBy({{118, 10}}));
    LumaHistogram half = histogramOf({{60, 60}});
    half.total = 100;
    EXPECT_DOUBLE_EQ(exposureFor(half).value_or(9), askedBy({{60, 100}}) * 5 / 70);
}

TEST(ExposureFor, OneValueAloneIsNoMedian) {
    EXPECT_EQ(askedBy({{200, 1}}), askedBy({{0, 1}}));
}

TEST(ExposureFor, IsWhatAListOfAllValuesGives) {
    std::uint32_t random = 12345;
    const auto next = [&](std::uint32_t below) {
        random = random * 1664525 + 1013904223;
        return (random >> 8) % below;
    };
    for (int round = 0; round < 2000; ++round) {
        std::vector<int> values(1 + next(300));
        const std::uint32_t low = next(256);
        for (int& value : values) value = static_cast<int>(low + next(256 - low));
        LumaHistogram histogram;
        for (const int value : values) {
            ++histogram.counts[static_cast<std::size_t>(value)];
            ++histogram.total;
        }
        ASSERT_DOUBLE_EQ(exposureFor(histogram).value_or(9), plainlyFixed(values)) << round;
    }
}

struct Sampling {
    std::vector<Ticks> seeks;
    int counted = 0;

    ExposureCalls calls(int available) {
        return {.seek = [this](Ticks time) { seeks.push_back(time); },
                .countNext =
                    [this, available] {
                        return ++counted <= available;
                    }};
    }
};

TEST(SamplePictures, LooksAtEachEighthOfTheVideo) {
    Sampling sampling;
    samplePictures(80, sampling.calls(100));
    EXPECT_THAT(sampling.seeks, ElementsAre(0, 100'000'000, 200'000'000, 300'000'000, 400'000'000,
                                            500'000'000, 600'000'000, 700'000'000));
    EXPECT_EQ(sampling.counted, 8);
}

TEST(SamplePictures, OfASecondOrLessTheFirstPicturesAreLookedAt) {
    for (const double duration : {1.0, 0.2, 0.0, -1.0}) {
        Sampling sampling;
        samplePictures(duration, sampling.calls(100));
        EXPECT_THAT(sampling.seeks, IsEmpty());
        EXPECT_EQ(sampling.counted, 8);
    }
    Sampling longer;
    samplePictures(1.001, longer.calls(100));
    EXPECT_EQ(longer.seeks.size(), 8u);
}

TEST(SamplePictures, EndsWhereThereIsNoPicture) {
    Sampling sampling;
    samplePictures(80, sampling.calls(3));
    EXPECT_EQ(sampling.counted, 4);
    EXPECT_EQ(sampling.seeks.size(), 4u);
}

} // namespace
} // namespace velkantrix
