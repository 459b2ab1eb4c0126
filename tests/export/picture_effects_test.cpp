#include "export/picture_effects.h"

#include <algorithm>
#include <cmath>
#include <limits>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velkantrix {
namespace {

using testing::Each;

constexpr double NONE_SUCH = std::numeric_limits<double>::quiet_NaN();
constexpr double ENDLESS = std::numeric_limits<double>::infinity();

std::vector<std::uint8_t> allBytes() {
    std::vector<std::uint8_t> bytes(256);
    for (std::size_t i = 0; i < 256; i++) bytes[i] = static_cast<std::uint8_t>(i);
    return bytes;
}

// The quotient rounded down, of negative numbers too.
int shifted(int value) {
    return static_cast<int>(std::floor(value / 256.0));
}

TEST(ExposureTable, IsWhatTheFormulaSaysForEveryValue) {
    for (int percent = -150; percent <= 150; percent++) {
        const double exposure = percent / 100.0;
        const LumaTable table = exposureTable(exposure);
        const double k = std::pow(3.0, std::min(1.0, std::max(-1.0, exposure)));
        for (int i = 0; i < 256; i++) {
            const double x = std::min(1.0, std::max(0.0, (i - 16) / 219.0));
            const double y = std::pow(x, 1 / k) * 219 + 16 + 0.5;
            const int wanted = static_cast<int>(std::min(235.0, std::max(16.0, y)));
            ASSERT_EQ(table[static_cast<std::size_t>(i)], wanted) << exposure << ", " << i;
        }
    }
}

TEST(ExposureTable, NoneKeepsTheVideoRange) {
    const LumaTable table = exposureTable(0);
    for (std::size_t i = 0; i < 256; i++) EXPECT_EQ(table[i], std::clamp<std::size_t>(i, 16, 235));
}

TEST(ExposureTable, BrightensAndDarkensButKeepsBlackAndWhite) {
    const LumaTable bright = exposureTable(0.5), dark = exposureTable(-0.5);
    for (std::size_t i = 17; i < 235; i++) {
        EXPECT_GE(bright[i], i);
        EXPECT_LE(dark[i], i);
        EXPECT_GE(bright[i], bright[i - 1]);
    }
    EXPECT_GT(bright[100], 130);
    EXPECT_LT(dark[100], 75);
    for (const LumaTable& table : {bright, dark}) {
        EXPECT_EQ(table[0], 16);
        EXPECT_EQ(table[16], 16);
        EXPECT_EQ(table[235], 235);
        EXPECT_EQ(table[255], 235);
    }
}

TEST(ApplyTable, LooksUpEachByteOnce) {
    auto bytes = allBytes();
    const LumaTable table = exposureTable(0.7);
    applyTable(bytes, table);
    EXPECT_TRUE(std::ranges::equal(bytes, table));
    applyTable({}, table);
}

TEST(FadeLuma, IsWhatTheFormulaSaysForEveryValueAndGain) {
    for (Gain gain = 0; gain <= NO_FADE; gain++) {
        auto bytes = allBytes();
        fadeLuma(bytes, gain);
        for (int y = 0; y < 256; y++) {
            ASSERT_EQ(bytes[static_cast<std::size_t>(y)], shifted((y - 16) * gain) + 16)
                << y << ", " << gain;
        }
    }
}

TEST(FadeChroma, IsWhatTheFormulaSaysForEveryValueAndGain) {
    for (Gain gain = 0; gain <= NO_FADE; gain++) {
        auto bytes = allBytes();
        fadeChroma(bytes, gain);
        for (int c = 0; c < 256; c++) {
            ASSERT_EQ(bytes[static_cast<std::size_t>(c)], shifted((c - 128) * gain) + 128)
                << c << ", " << gain;
        }
    }
}

TEST(FadeSound, IsWhatTheFormulaSaysForEveryValueAndGain) {
    std::vector<std::int16_t> original(65536);
    for (int i = 0; i < 65536; i++) {
        original[static_cast<std::size_t>(i)] = static_cast<std::int16_t>(i - 32768);
    }
    for (Gain gain = 0; gain <= NO_FADE; gain++) {
        auto sound = original;
        fadeSound(sound, gain);
        bool same = true;
        for (std::size_t i = 0; i < sound.size(); i++) {
            const int s = original[i] * gain;
            const int wanted = s >= 0 ? s / 256 : -((-s + 255) / 256); // rounded down
            same = same && sound[i] == wanted;
        }
        ASSERT_TRUE(same) << gain;
    }
}

// Loops that take many bytes at once must get their ends right.
TEST(Fades, OfAnyLengthAndPlaceTouchNoOtherByte) {
    for (std::size_t offset = 0; offset < 4; offset++) {
        for (std::size_t length = 0; length < 130; length++) {
            std::vector<std::uint8_t> bytes(200, 100);
            const auto part = std::span(bytes).subspan(offset, length);
            fadeLuma(part, 0);
            EXPECT_THAT(part, Each(16));
            EXPECT_EQ(std::ranges::count(bytes, 100), 200 - static_cast<std::ptrdiff_t>(length));
            std::vector<std::int16_t> sound(200, 100);
            fadeSound(std::span(sound).subspan(offset, length), 0);
            EXPECT_EQ(std::ranges::count(sound, 100), 200 - static_cast<std::ptrdiff_t>(length));
        }
    }
}

TEST(FadeGain, RisesOverTheFadeInAndFallsOverTheFadeOut) {
    const ExportSpan span{.start = 10, .end = 20, .fadeIn = 2, .fadeOut = 4};
    EXPECT_EQ(fadeGain(span, 0), 0);
    EXPECT_EQ(fadeGain(span, 0.5), 64);
    EXPECT_EQ(fadeGain(span, 1), 128);
    EXPECT_EQ(fadeGain(span, 1.99), 254);
    EXPECT_EQ(fadeGain(span, 2), NO_FADE);
    EXPECT_EQ(fadeGain(span, 6), NO_FADE);
    EXPECT_EQ(fadeGain(span, 7), 192);
    EXPECT_EQ(fadeGain(span, 8), 128);
    EXPECT_EQ(fadeGain(span, 10), 0);
    EXPECT_EQ(fadeGain(span, 11), 0);
}

TEST(FadeGain, WithoutFadesThereIsNone) {
    for (const double seconds : {0.0, 1.0, 10.0, 11.0}) {
        EXPECT_EQ(fadeGain({.start = 0, .end = 10}, seconds), NO_FADE);
        EXPECT_EQ(fadeGain({.start = 0, .end = 10, .fadeIn = -1, .fadeOut = -1}, seconds), NO_FADE);
    }
}

TEST(FadeGain, AFadeThatIsLongerThanItsSpanGetsAsFarAsItCan) {
    const ExportSpan in{.start = 0, .end = 0.5, .fadeIn = 1};
    EXPECT_EQ(fadeGain(in, 0.5), 128);
    const ExportSpan out{.start = 0, .end = 0.5, .fadeOut = 1};
    EXPECT_EQ(fadeGain(out, 0), 128); // it would have begun before
    EXPECT_EQ(fadeGain(out, 0.25), 64);
}

TEST(FadeGain, OfFadesThatOverlapTheSmallerCounts) {
    const ExportSpan span{.start = 0, .end = 4, .fadeIn = 4, .fadeOut = 4};
    EXPECT_EQ(fadeGain(span, 1), 64);
    EXPECT_EQ(fadeGain(span, 2), 128);
    EXPECT_EQ(fadeGain(span, 3), 64);
}

TEST(FadeGain, AThousandthBelowFullIsFull) {
    const ExportSpan span{.start = 0, .end = 10, .fadeIn = 1};
    EXPECT_EQ(fadeGain(span, 0.9989), 255);
    EXPECT_EQ(fadeGain(span, 0.999), NO_FADE);
}

TEST(FadeGain, TakesAnyNumbers) {
    for (const double odd : {NONE_SUCH, ENDLESS, -ENDLESS, 1e308, 5e-324, 0.0}) {
        for (const double seconds : {0.0, 1.0, 1e300}) {
            for (const ExportSpan& span :
                 {ExportSpan{0, 10, odd, 0}, ExportSpan{0, 10, 0, odd}, ExportSpan{0, 10, odd, odd},
                  ExportSpan{odd, 10, 1, 1}, ExportSpan{0, odd, 1, 1}}) {
                const Gain gain = fadeGain(span, seconds);
                EXPECT_GE(gain, 0);
                EXPECT_LE(gain, NO_FADE);
            }
        }
    }
}

constexpr FrameSize SMALL = {640, 360};
constexpr FrameSize LARGEST = {4'294'967'294, 4'294'967'294};

TEST(Nv12Layout, ChromaFollowsTheLastLineOfLuma) {
    const auto layout = nv12Layout(640 * 360 * 3 / 2, SMALL, SMALL);
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->stride, 640u);
    EXPECT_EQ(layout->chromaOffset, 640u * 360);
}

TEST(Nv12Layout, ThereMayBeLinesAndColumnsThatArentSeen) {
    const FrameSize fullHd = {1920, 1080};
    const auto lines = nv12Layout(1920 * 1088 * 3 / 2, fullHd, fullHd);
    ASSERT_TRUE(lines);
    EXPECT_EQ(lines->chromaOffset, 1920u * 1088);
    const auto both = nv12Layout(1984 * 1100 * 3 / 2, fullHd, {1984, 1100});
    ASSERT_TRUE(both);
    EXPECT_EQ(both->stride, 1984u);
    EXPECT_EQ(both->chromaOffset, 1984u * 1100);
    const auto blocks = nv12Layout(1984 * 1104 * 3 / 2, fullHd, {1984, 1100});
    ASSERT_TRUE(blocks);
    EXPECT_EQ(blocks->chromaOffset, 1984u * 1104);
    // It may also come as it is seen, whatever was said.
    EXPECT_EQ(nv12Layout(1920 * 1080 * 3 / 2, fullHd, {1984, 1100})->stride, 1920u);
}

TEST(Nv12Layout, TooFewBytesAreNoPictureAndNeitherAreSomeMore) {
    EXPECT_FALSE(nv12Layout(640 * 360 * 3 / 2 - 1, SMALL, SMALL));
    EXPECT_FALSE(nv12Layout(640 * 360, SMALL, SMALL));
    EXPECT_FALSE(nv12Layout(0, SMALL, SMALL));
    EXPECT_FALSE(nv12Layout(640 * 360 * 3 / 2 + 1, SMALL, SMALL));
    EXPECT_FALSE(nv12Layout(704 * 360 * 3 / 2, SMALL, SMALL)); // lines with padding
    EXPECT_FALSE(nv12Layout(1000, {0, 360}, {0, 360}));
    EXPECT_FALSE(nv12Layout(1000, {640, 0}, {640, 0}));
    EXPECT_FALSE(nv12Layout(3 * 3 * 2, {3, 2}, {3, 2}));
    EXPECT_FALSE(nv12Layout(640 * 360 * 3 / 2, SMALL, {639, 360}));
    EXPECT_FALSE(nv12Layout(640 * 360 * 3 / 2, LARGEST, LARGEST));
    EXPECT_FALSE(nv12Layout(704 * 360 * 3 / 2, SMALL, LARGEST));
}

TEST(Nv12LayoutOfLines, ThereMayBeAnyEvenNumberOfThem) {
    for (const std::uint32_t lines : {360u, 362u, 368u, 384u, 512u, 1000u}) {
        const auto layout = nv12LayoutOfLines(std::size_t{640} * lines * 3 / 2, SMALL, SMALL);
        ASSERT_TRUE(layout) << lines;
        EXPECT_EQ(layout->stride, 640u);
        EXPECT_EQ(layout->chromaOffset, std::size_t{640} * lines);
    }
    for (const std::uint32_t lines : {0u, 180u, 358u, 361u, 385u}) {
        EXPECT_FALSE(nv12LayoutOfLines(std::size_t{640} * lines * 3 / 2, SMALL, SMALL)) << lines;
    }
    EXPECT_FALSE(nv12LayoutOfLines(640 * 384 * 3 / 2 + 2, SMALL, SMALL));
    EXPECT_FALSE(nv12LayoutOfLines(640 * 384 * 3 / 2, {}, {}));
    EXPECT_FALSE(nv12LayoutOfLines(640 * 384 * 3 / 2, SMALL, {}));
    EXPECT_FALSE(nv12LayoutOfLines(std::size_t{640} * 3 << 31, SMALL, SMALL));
    EXPECT_FALSE(nv12LayoutOfLines(640 * 360 * 3 / 2, LARGEST, LARGEST));
}

// 704 x 480 has as many bytes as 640 x 528.
TEST(Nv12LayoutOfLines, TheyAreAsLongAsIsStatedIfTheyCanBe) {
    EXPECT_EQ(nv12LayoutOfLines(704 * 480 * 3 / 2, SMALL, {704, 368})->stride, 704u);
    EXPECT_EQ(nv12LayoutOfLines(704 * 480 * 3 / 2, SMALL, SMALL)->stride, 640u);
    EXPECT_EQ(nv12LayoutOfLines(640 * 384 * 3 / 2, SMALL, {704, 368})->stride, 640u);
    EXPECT_EQ(nv12LayoutOfLines(640 * 368 * 3 / 2, SMALL, {640, 480})->chromaOffset, 640u * 368);
}

TEST(Nv12LayoutWithin, HasTheSizeOfTheWholeExactly) {
    const auto layout = nv12LayoutWithin(640 * 384 * 3 / 2, {630, 360}, {640, 384});
    ASSERT_TRUE(layout);
    EXPECT_EQ(layout->stride, 640u);
    EXPECT_EQ(layout->chromaOffset, 640u * 384);
    EXPECT_FALSE(nv12LayoutWithin(630 * 360 * 3 / 2, {630, 360}, {640, 384}));
    EXPECT_FALSE(nv12LayoutWithin(640 * 384 * 3 / 2, {642, 360}, {640, 384}));
    EXPECT_FALSE(nv12LayoutWithin(640 * 384 * 3 / 2, {640, 386}, {640, 384}));
    EXPECT_FALSE(nv12LayoutWithin(641 * 384 * 3 / 2, SMALL, {641, 384}));
    EXPECT_FALSE(nv12LayoutWithin(640 * 385 * 3 / 2, SMALL, {640, 385}));
    EXPECT_FALSE(nv12LayoutWithin(0, {}, {}));
}

struct EffectCase {
    std::optional<double> exposure;
    Gain gain = NO_FADE;
};

// A picture of `size` within one of `coded` size, whose other bytes are 7.
std::vector<std::uint8_t> withUnseen(const std::vector<std::uint8_t>& seen, FrameSize size,
                                     FrameSize coded) {
    std::vector<std::uint8_t> bytes(std::size_t{coded.width} * coded.height * 3 / 2, 7);
    for (std::size_t y = 0; y < size.height * 3 / 2; y++) {
        const std::size_t line = y < size.height ? y : coded.height + y - size.height;
        std::copy_n(&seen[y * size.width], size.width, &bytes[line * coded.width]);
    }
    return bytes;
}

// In one go as one after the other, wherever the picture lies; larger than what is done at once.
TEST(PictureEffect, IsExposureThenFadeOfWhatIsSeen) {
    const FrameSize size = {200, 180};
    const std::size_t luma = 200 * 180;
    std::vector<std::uint8_t> seen(luma * 3 / 2);
    for (std::size_t i = 0; i < seen.size(); i++) seen[i] = static_cast<std::uint8_t>(i * 31 / 7);
    for (const auto& [exposure, gain] : {EffectCase{}, EffectCase{0.5}, EffectCase{{}, 100},
                                         EffectCase{-0.7, 30}, EffectCase{1.0, 0}}) {
        const LumaTable table = exposureTable(exposure.value_or(0));
        const PictureEffect effect = pictureEffect(exposure ? &table : nullptr, gain);
        std::vector<std::uint8_t> wanted = seen;
        const std::span whole(wanted);
        if (exposure) applyTable(whole.first(luma), table);
        if (gain != NO_FADE) fadeLuma(whole.first(luma), gain);
        if (gain != NO_FADE) fadeChroma(whole.subspan(luma), gain);
        for (const FrameSize coded : {size, {200, 192}, {208, 180}, {256, 300}}) {
            std::vector<std::uint8_t> bytes = withUnseen(seen, size, coded);
            const auto layout = nv12Layout(bytes.size(), size, coded);
            ASSERT_TRUE(layout);
            std::vector<std::uint8_t> copy(wanted.size());
            copyChanged(bytes, *layout, size, effect, copy);
            EXPECT_EQ(copy, wanted);
            change(bytes, *layout, size, effect);
            bytes.resize(wanted.size());
            EXPECT_EQ(bytes, wanted);
        }
    }
}

TEST(ApplyTable, ReachesEveryByteOfAnyNumber) {
    LumaTable table{};
    for (std::size_t i = 0; i < 256; i++) table[i] = static_cast<std::uint8_t>(i * 3 + 1);
    for (std::size_t count = 0; count < 40; count++) {
        std::vector<std::uint8_t> bytes(count + 1, 5);
        applyTable(std::span(bytes).first(count), table);
        EXPECT_EQ(std::ranges::count(bytes, 16), static_cast<std::ptrdiff_t>(count));
        EXPECT_EQ(bytes.back(), 5);
    }
}

} // namespace
} // namespace velkantrix
