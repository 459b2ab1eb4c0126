#include "export/sound_line.h"

#include <limits>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

constexpr Ticks SECOND = TICKS_PER_SECOND;
constexpr Ticks MILLISECOND = SECOND / 1000;

TEST(SoundLine, BeginsAtTheBeginning) {
    const SoundLine line;
    EXPECT_EQ(line.end(), 0);
    EXPECT_FALSE(line.breaksAt(0));
    EXPECT_FALSE(line.breaksAt(SECOND));
}

TEST(SoundLine, MissesWhatLiesBeforeATimeASecondAtMost) {
    SoundLine line;
    EXPECT_EQ(line.missingUntil(SECOND / 2), 24'000u);
    EXPECT_EQ(line.missingUntil(SECOND), 48'000u);
    EXPECT_EQ(line.missingUntil(3 * SECOND), 48'000u);
    line.wrote(0, 24'000);
    EXPECT_EQ(line.end(), SECOND / 2);
    EXPECT_EQ(line.missingUntil(SECOND), 24'000u);
}

TEST(SoundLine, MissesNothingOfATimeThatIsReachedButForRounding) {
    SoundLine line;
    line.wrote(0, 48'000);
    EXPECT_EQ(line.missingUntil(0), 0u);
    EXPECT_EQ(line.missingUntil(SECOND), 0u);
    EXPECT_EQ(line.missingUntil(SECOND + 2 * MILLISECOND), 0u);
    EXPECT_EQ(line.missingUntil(SECOND + 2 * MILLISECOND + 1), 96u);
}

TEST(SoundLine, CountsWhatWasWrittenWhateverTheTimesSay) {
    SoundLine line;
    for (int i = 0; i < 3000; i++) line.wrote(i * 213'333 + i % 2 * MILLISECOND, 1024);
    EXPECT_EQ(line.end(), Ticks{1024} * 3000 * SECOND / 48'000);
}

TEST(SoundLine, ABreakIsAtAJoinAndWhereSoundGoesBack) {
    SoundLine line;
    line.beginSpan(); // of the first span: nothing comes before it
    EXPECT_FALSE(line.breaksAt(0));
    line.wrote(0, 48'000);
    EXPECT_FALSE(line.breaksAt(SECOND));
    EXPECT_FALSE(line.breaksAt(SECOND - 2 * MILLISECOND));
    EXPECT_TRUE(line.breaksAt(SECOND - 2 * MILLISECOND - 1));
    line.beginSpan();
    EXPECT_TRUE(line.breaksAt(SECOND));
    line.wrote(SECOND, 4800);
    EXPECT_FALSE(line.breaksAt(SECOND + SECOND / 10));
}

TEST(SoundLine, BehindABreakItCountsFromTheNewTime) {
    SoundLine line;
    line.wrote(0, 48'000);
    line.beginSpan();
    line.wrote(SECOND + MILLISECOND, 48'000);
    EXPECT_EQ(line.end(), 2 * SECOND + MILLISECOND);
    line.wrote(SECOND, 48'000); // it goes back
    EXPECT_EQ(line.end(), 2 * SECOND);
}

TEST(SoundLine, TakesAnyTimes) {
    constexpr Ticks LOWEST = std::numeric_limits<Ticks>::min();
    constexpr Ticks HIGHEST = std::numeric_limits<Ticks>::max();
    SoundLine line;
    for (const Ticks time : {HIGHEST, LOWEST, Ticks{0}}) {
        line.beginSpan();
        line.wrote(time, 48'000);
        EXPECT_EQ(line.missingUntil(LOWEST), 0u);
        EXPECT_LE(line.missingUntil(HIGHEST), 48'000u);
    }
}

} // namespace
} // namespace velkantrix
