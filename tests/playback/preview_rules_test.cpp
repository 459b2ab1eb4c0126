#include "playback/preview_rules.h"

#include <gtest/gtest.h>

#include <numeric>

namespace velkantrix {
namespace {

constexpr PictureSize HD{1920, 1080};

TEST(EvenSize, OddSizesAreOnePixelLess) {
    EXPECT_EQ(evenSize({640, 360}), (PictureSize{640, 360}));
    EXPECT_EQ(evenSize({127, 71}), (PictureSize{126, 70}));
    EXPECT_EQ(evenSize({1, 2}), (PictureSize{0, 2}));
}

TEST(PreviewPart, WholeMacroblocksBesideThePictureAreLeftOut) {
    EXPECT_EQ(previewPart({{1920, 1088}, HD, true}, HD), HD);
}

TEST(PreviewPart, OddVideosAreOnePixelNarrowerOrLower) {
    const PictureSize even{126, 70};
    EXPECT_EQ(previewPart({{128, 80}, {127, 71}, true}, {127, 71}), even);
    EXPECT_EQ(previewPart({{128, 80}, {126, 70}, true}, {127, 71}), even);
    EXPECT_EQ(previewPart({{128, 80}, {127, 71}, true}, {126, 70}), even);
    EXPECT_EQ(previewPart({{128, 80}, {128, 72}, true}, {127, 71}), even) << "rounded up";
    EXPECT_EQ(previewPart({{128, 80}, {128, 71}, true}, {127, 71}), even);
    EXPECT_EQ(previewPart({{130, 80}, {129, 71}, true}, {127, 71}), std::nullopt);
    EXPECT_EQ(previewPart({{128, 80}, {128, 70}, true}, {126, 70}), std::nullopt);
}

TEST(PreviewPart, APictureThatIsTurnedStretchedOrCroppedIsNone) {
    EXPECT_EQ(previewPart({{1088, 1920}, {1080, 1920}, true}, HD), std::nullopt);
    EXPECT_EQ(previewPart({{1440, 1088}, {1440, 1080}, true}, HD), std::nullopt);
    EXPECT_EQ(previewPart({{1920, 1088}, {1920, 1088}, true}, HD), std::nullopt);
    EXPECT_EQ(previewPart({{1920, 1088}, HD, false}, HD), std::nullopt);
}

TEST(PreviewPart, NothingIsReadBeyondTheTexture) {
    EXPECT_EQ(previewPart({{1918, 1088}, HD, true}, HD), std::nullopt);
    EXPECT_EQ(previewPart({{1920, 1078}, HD, true}, HD), std::nullopt);
    EXPECT_EQ(previewPart({HD, HD, true}, HD), HD);
}

TEST(PreviewPart, WithoutASizeThereIsNone) {
    EXPECT_EQ(previewPart({{16, 16}, {0, 0}, true}, {0, 0}), std::nullopt);
    EXPECT_EQ(previewPart({{16, 16}, {1, 1}, true}, {1, 1}), std::nullopt);
    EXPECT_EQ(previewPart({{16, 16}, {-2, -2}, true}, {-2, -2}), std::nullopt);
}

TEST(FrameRateOf, RatesAreWholeNumbersOrThoseOfTelevision) {
    EXPECT_EQ(frameRateOf(25), (FrameRate{25, 1}));
    EXPECT_EQ(frameRateOf(30000.0 / 1001), (FrameRate{30000, 1001}));
    EXPECT_EQ(frameRateOf(24000.0 / 1001), (FrameRate{24000, 1001}));
    EXPECT_EQ(frameRateOf(60000.0 / 1001), (FrameRate{60000, 1001}));
    EXPECT_EQ(frameRateOf(12.5), (FrameRate{12500, 1000}));
}

TEST(FrameRateOf, WhatIsNoRateIsTheUsualOne) {
    EXPECT_EQ(frameRateOf(0), (FrameRate{30, 1}));
    EXPECT_EQ(frameRateOf(-5), (FrameRate{30, 1}));
    EXPECT_EQ(frameRateOf(1e300), (FrameRate{30, 1}));
    EXPECT_EQ(frameRateOf(std::numeric_limits<double>::quiet_NaN()), (FrameRate{30, 1}));
    EXPECT_EQ(frameRateOf(1e-9), (FrameRate{1, 1000}));
}

// Bytes 0, 1, 2, ...
std::vector<std::uint8_t> counted(std::size_t size) {
    std::vector<std::uint8_t> bytes(size);
    std::iota(bytes.begin(), bytes.end(), std::uint8_t{0});
    return bytes;
}

using Rows = std::vector<std::uint8_t>;

TEST(CopyRows, RowsSideBySideAreOneBlock) {
    Rows rows;
    ASSERT_TRUE(copyRows(counted(20), 8, {2, 2}, rows));
    EXPECT_EQ(rows, counted(16));
}

TEST(CopyRows, WhatLiesBetweenRowsIsLeftOut) {
    Rows rows;
    ASSERT_TRUE(copyRows(counted(14), 10, {1, 2}, rows));
    EXPECT_EQ(rows, (Rows{0, 1, 2, 3, 10, 11, 12, 13}));
}

TEST(CopyRows, ANegativeStrideBeginsWithTheBottomRow) {
    Rows rows;
    ASSERT_TRUE(copyRows(counted(12), -4, {1, 3}, rows));
    EXPECT_EQ(rows, (Rows{8, 9, 10, 11, 4, 5, 6, 7, 0, 1, 2, 3}));
    ASSERT_TRUE(copyRows(counted(10), -6, {1, 2}, rows));
    EXPECT_EQ(rows, (Rows{6, 7, 8, 9, 0, 1, 2, 3}));
}

TEST(CopyRows, TooFewBytesAreNotTaken) {
    Rows rows{1};
    EXPECT_FALSE(copyRows(counted(15), 8, {2, 2}, rows));
    EXPECT_FALSE(copyRows(counted(13), 10, {1, 2}, rows));
    EXPECT_FALSE(copyRows(counted(13), -10, {1, 2}, rows));
    EXPECT_FALSE(copyRows({}, 8, {2, 2}, rows));
    EXPECT_FALSE(copyRows(counted(255), 7, {2, 2}, rows)) << "rows over one another";
    EXPECT_FALSE(copyRows(counted(255), 0, {2, 2}, rows));
    EXPECT_FALSE(copyRows(counted(255), INT32_MIN, {2, 2}, rows));
    EXPECT_FALSE(copyRows(counted(255), 8, {0, 2}, rows));
    EXPECT_FALSE(copyRows(counted(255), 8, {2, -1}, rows));
    EXPECT_EQ(rows, Rows{1});
}

} // namespace
} // namespace velkantrix
