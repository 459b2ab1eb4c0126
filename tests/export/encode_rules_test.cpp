#include "export/encode_rules.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include <gtest/gtest.h>

#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

constexpr std::int32_t LARGEST = std::numeric_limits<std::int32_t>::max();
constexpr std::uint32_t MOST = std::numeric_limits<std::uint32_t>::max();

void expectSize(FrameSize source, std::int32_t maxWidth, std::int32_t maxHeight, FrameSize wanted) {
    const auto size = encodedSize(source, maxWidth, maxHeight);
    ASSERT_TRUE(size);
    EXPECT_EQ(*size, wanted) << source.width << " x " << source.height << " into " << maxWidth
                             << " x " << maxHeight << ": " << size->width << " x " << size->height;
}

TEST(EncodedSize, IsTheLargestOfTheSourcesShapeInTheBox) {
    expectSize({1920, 1080}, 1280, 720, {1280, 720});
    expectSize({1440, 1080}, 1920, 1080, {1440, 1080});
    expectSize({640, 360}, 1920, 1080, {1920, 1080});
    expectSize({1920, 1080}, 1920, 1080, {1920, 1080});
    expectSize({1080, 1920}, 1280, 720, {404, 720});
    expectSize({3840, 1600}, 1920, 1080, {1920, 800});
}

TEST(EncodedSize, LosesNothingToRounding) {
    expectSize({1920, 1080}, 854, 480, {852, 480});
    expectSize({854, 480}, 1920, 1080, {1920, 1078});
    for (std::uint32_t width = 4; width < 8000; width += 4) {
        expectSize({width, width / 2}, 1920, 1920, {1920, 960});
        expectSize({width / 2, width}, 1920, 1920, {960, 1920});
    }
}

TEST(EncodedSize, IsEvenAndAtLeastTwo) {
    expectSize({641, 361}, 0, 0, {640, 360});
    expectSize({1, 1}, 0, 0, {2, 2});
    expectSize({3, 1}, 0, 0, {2, 2});
    expectSize({100'000, 1}, 1920, 1080, {1920, 2});
    expectSize({1, 100'000}, 1920, 1080, {2, 1080});
    expectSize({640, 360}, 1, 1, {2, 2});
    expectSize({640, 360}, 1281, 0, {1280, 360});
}

TEST(EncodedSize, ADimensionWithoutALimitIsTheSources) {
    expectSize({640, 360}, 0, 0, {640, 360});
    expectSize({640, 360}, -1, -5, {640, 360});
    expectSize({640, 360}, 320, 0, {320, 360});
    expectSize({640, 360}, 0, 180, {640, 180});
}

TEST(EncodedSize, OfASourceWithoutASizeIsTheBox) {
    expectSize({0, 0}, 1280, 720, {1280, 720});
    expectSize({0, 360}, 1280, 720, {1280, 720});
    EXPECT_FALSE(encodedSize({0, 0}, 0, 0));
    EXPECT_FALSE(encodedSize({0, 0}, 1280, 0));
    EXPECT_FALSE(encodedSize({0, 0}, 0, -1));
    EXPECT_FALSE(encodedSize({0, 360}, 0, 720));
}

TEST(EncodedSize, TakesTheLargestNumbers) {
    expectSize({MOST, MOST}, 0, 0, {MOST - 1, MOST - 1});
    expectSize({MOST, MOST}, LARGEST, LARGEST, {LARGEST - 1, LARGEST - 1});
    expectSize({1, 1}, LARGEST, LARGEST, {LARGEST - 1, LARGEST - 1});
    expectSize({1, MOST}, LARGEST, 2, {2, 2});
}

// Whole numbers instead of floating ones: the side that is nearer to its limit fills the box, the
// other is as long as the shape makes it.
TEST(EncodedSize, IsWhatWholeNumbersGive) {
    RandomChoices random(1);
    for (std::uint64_t i = 0; i < propertyRounds(20'000); i++) {
        const std::uint64_t w = random.between(2, 9000), h = random.between(2, 9000);
        const std::uint64_t boxW = random.between(2, 8000), boxH = random.between(2, 8000);
        const bool byWidth = boxW * h <= boxH * w;
        const std::uint64_t fullW = byWidth ? boxW : w * boxH / h;
        const std::uint64_t fullH = byWidth ? h * boxW / w : boxH;
        const auto even = [](std::uint64_t length) {
            return static_cast<std::uint32_t>(std::max<std::uint64_t>(2, length / 2 * 2));
        };
        expectSize({static_cast<std::uint32_t>(w), static_cast<std::uint32_t>(h)},
                   static_cast<std::int32_t>(boxW), static_cast<std::int32_t>(boxH),
                   {even(fullW), even(fullH)});
    }
}

TEST(InSquarePixels, TheWidthMakesTheShape) {
    EXPECT_EQ(inSquarePixels({720, 576}, {16, 15}), (FrameSize{768, 576}));
    EXPECT_EQ(inSquarePixels({720, 576}, {64, 45}), (FrameSize{1024, 576}));
    EXPECT_EQ(inSquarePixels({720, 480}, {8, 9}), (FrameSize{640, 480}));
    EXPECT_EQ(inSquarePixels({1440, 1080}, {4, 3}), (FrameSize{1920, 1080}));
    EXPECT_EQ(inSquarePixels({853, 480}, {1, 1}), (FrameSize{853, 480}));
    EXPECT_EQ(inSquarePixels({853, 480}, {7, 7}), (FrameSize{853, 480}));
}

TEST(InSquarePixels, AnAspectThatSaysNothingIsASquares) {
    EXPECT_EQ(inSquarePixels({720, 576}, {0, 15}), (FrameSize{720, 576}));
    EXPECT_EQ(inSquarePixels({720, 576}, {16, 0}), (FrameSize{720, 576}));
    EXPECT_EQ(inSquarePixels({0, 576}, {16, 15}), (FrameSize{0, 576}));
    EXPECT_EQ(inSquarePixels({MOST, 2}, {MOST, 1}), (FrameSize{MOST, 2}));
    EXPECT_EQ(inSquarePixels({2, 2}, {1, MOST}), (FrameSize{1, 2}));
}

TEST(EncodedRate, IsTheSourcesOrThirty) {
    EXPECT_EQ(encodedRate({30000, 1001}), (Ratio{30000, 1001}));
    EXPECT_EQ(encodedRate({0, 0}), (Ratio{30, 1}));
    EXPECT_EQ(encodedRate({0, 1}), (Ratio{30, 1}));
    EXPECT_EQ(encodedRate({25, 0}), (Ratio{30, 1}));
}

TEST(VideoBitrate, WithoutTheSourcesGoesByPicturesAndTheirSize) {
    constexpr Ratio THIRTY = {30, 1};
    EXPECT_EQ(videoBitrate({1280, 720}, THIRTY, {1280, 720}, 0), 2'000'000u);
    EXPECT_EQ(videoBitrate({1920, 1080}, THIRTY, {}, 0), 2'799'360u);
    EXPECT_EQ(videoBitrate({1920, 1080}, {30000, 1001}, {}, 0), 2'796'563u);
    EXPECT_EQ(videoBitrate({3840, 2160}, {60, 1}, {}, 0), 22'394'880u);
    EXPECT_EQ(videoBitrate({7680, 4320}, {60, 1}, {}, 0), 40'000'000u);
    EXPECT_EQ(videoBitrate({1920, 1080}, {0, 0}, {}, 0), 2'799'360u);
    EXPECT_EQ(videoBitrate({MOST, MOST}, {MOST, 1}, {}, 0), 40'000'000u);
}

TEST(VideoBitrate, WithTheSourcesGoesByTheRootOfTheAreas) {
    constexpr Ratio THIRTY = {30, 1};
    EXPECT_EQ(videoBitrate({1920, 1080}, THIRTY, {1920, 1080}, 5'000'000), 9'000'000u);
    EXPECT_EQ(videoBitrate({1280, 720}, THIRTY, {1920, 1080}, 6'000'000), 7'200'000u);
    EXPECT_EQ(videoBitrate({1920, 1080}, THIRTY, {640, 360}, 1'000'000), 5'400'000u);
    EXPECT_EQ(videoBitrate({640, 360}, THIRTY, {640, 360}, 100'000), 1'000'000u);
    EXPECT_EQ(videoBitrate({1920, 1080}, THIRTY, {1920, 1080}, MOST), 40'000'000u);
    EXPECT_EQ(videoBitrate({MOST, MOST}, THIRTY, {1, 1}, MOST), 40'000'000u);
}

TEST(VideoBitrate, ASourceWithoutASizeCountsAsTheOutputs) {
    constexpr Ratio THIRTY = {30, 1};
    EXPECT_EQ(videoBitrate({1280, 720}, THIRTY, {0, 0}, 5'000'000), 9'000'000u);
    EXPECT_EQ(videoBitrate({1280, 720}, THIRTY, {0, 720}, 5'000'000), 9'000'000u);
}

TEST(VideoBitrate, IsWhatTheFormulasSay) {
    RandomChoices random(2);
    for (std::uint64_t i = 0; i < propertyRounds(20'000); i++) {
        const FrameSize out{random.between(2, 4096), random.between(2, 4096)};
        const FrameSize source{random.between(1, 4096), random.between(1, 4096)};
        const Ratio rate{random.between(1, 120'000), random.between(1, 2000)};
        const std::uint32_t bits = random.percent(30) ? 0 : random.between(1, 60'000'000);
        const double outArea = double{1} * out.width * out.height;
        const double sourceArea = double{1} * source.width * source.height;
        const double fps = double{1} * rate.numerator / rate.denominator;
        const double wanted =
            bits == 0 ? std::min(std::max(outArea * fps * 0.045, 2e6), 4e7)
                      : std::min(std::max(std::sqrt(outArea / sourceArea) * bits * 1.8, 1e6), 4e7);
        ASSERT_EQ(videoBitrate(out, rate, source, bits), static_cast<std::uint32_t>(wanted));
    }
}

} // namespace
} // namespace velkantrix
