#include "export/writer_backlog.h"

#include <limits>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

constexpr std::uint64_t FULL_HD = 1920 * 1080 * 3 / 2;
constexpr Ticks FRAME = TICKS_PER_SECOND / 25;

WriterCounts countsOf(std::uint64_t received, std::uint64_t encoded) {
    return {.received = received,
            .encoded = encoded,
            .lastReceived = static_cast<Ticks>(received) * FRAME,
            .lastEncoded = static_cast<Ticks>(encoded) * FRAME};
}

WriterCounts waiting(const WriterBacklog& backlog, std::uint64_t encoded = 0) {
    return countsOf(encoded + backlog.mostWaiting(), encoded);
}

TEST(WriterBacklog, HoldsAQuarterOfAGibibyte) {
    EXPECT_EQ(WriterBacklog(FULL_HD, FRAME).mostWaiting(), 86u);
    EXPECT_EQ(WriterBacklog(4 * FULL_HD, FRAME).mostWaiting(), 21u);
    EXPECT_EQ(WriterBacklog(100 * FULL_HD, FRAME).mostWaiting(), 16u); // encoders look ahead
    EXPECT_EQ(WriterBacklog(1, FRAME).mostWaiting(), 4096u);
    EXPECT_EQ(WriterBacklog(0, FRAME).mostWaiting(), 4096u);
}

TEST(WriterBacklog, AnEncoderThatKeepsUpIsNeverWaitedFor) {
    WriterBacklog backlog(FULL_HD, FRAME);
    for (std::uint64_t i = 0; i < 1000; i++) {
        EXPECT_FALSE(backlog.mustWait(countsOf(i + 85, i), static_cast<Ticks>(i)));
    }
    EXPECT_FALSE(backlog.mustWait(countsOf(5, 9), 0)); // more came out than went in
    EXPECT_EQ(backlog.mostWaiting(), 86u);
}

TEST(WriterBacklog, WithoutCountsNothingWaits) {
    WriterBacklog backlog(FULL_HD, FRAME);
    EXPECT_TRUE(backlog.mustWait(waiting(backlog), 0));
    EXPECT_FALSE(backlog.mustWait(std::nullopt, 1));
}

TEST(WriterBacklog, AFullOneWaitsUntilASampleIsEncoded) {
    WriterBacklog backlog(FULL_HD, FRAME);
    EXPECT_TRUE(backlog.mustWait(countsOf(100, 14), 0));
    EXPECT_TRUE(backlog.mustWait(countsOf(100, 14), 1));
    EXPECT_FALSE(backlog.mustWait(countsOf(100, 15), 2));
}

// However slow it is: each sample that is encoded begins the patience anew.
TEST(WriterBacklog, ASlowEncoderIsWaitedForAsLongAsItGetsOn) {
    WriterBacklog backlog(FULL_HD, FRAME);
    Ticks now = 0;
    for (std::uint64_t i = 0; i < 1000; i++) {
        now += WriterBacklog::PATIENCE - 1;
        EXPECT_TRUE(backlog.mustWait(countsOf(1086 + i, i), now));
    }
    EXPECT_EQ(backlog.mostWaiting(), 86u);
}

TEST(WriterBacklog, AnEncoderThatGivesNothingGetsMore) {
    WriterBacklog backlog(FULL_HD, FRAME);
    constexpr Ticks PATIENCE = WriterBacklog::PATIENCE;
    EXPECT_TRUE(backlog.mustWait(waiting(backlog), 0));
    EXPECT_TRUE(backlog.mustWait(waiting(backlog), PATIENCE - 1));
    EXPECT_FALSE(backlog.mustWait(waiting(backlog), PATIENCE));
    EXPECT_EQ(backlog.mostWaiting(), 172u);
    EXPECT_FALSE(backlog.mustWait(countsOf(171, 0), PATIENCE));
    EXPECT_TRUE(backlog.mustWait(waiting(backlog), PATIENCE)); // a new wait
    EXPECT_FALSE(backlog.mustWait(waiting(backlog), 2 * PATIENCE));
    EXPECT_EQ(backlog.mostWaiting(), 344u);
}

// Between two waits the reader may have been seeking for long.
TEST(WriterBacklog, AWaitBeginsWhenItIsAskedForFirst) {
    WriterBacklog backlog(FULL_HD, FRAME);
    EXPECT_TRUE(backlog.mustWait(waiting(backlog), 0));
    EXPECT_FALSE(backlog.mustWait(countsOf(10, 0), 1));
    EXPECT_TRUE(backlog.mustWait(waiting(backlog), 100 * WriterBacklog::PATIENCE));
    EXPECT_EQ(backlog.mostWaiting(), 86u);
}

// Sounds of half a frame's length are received, whole ones are encoded; or pictures are dropped.
TEST(WriterBacklog, ManySamplesThatArentBehindInTimeDontWait) {
    WriterBacklog backlog(FULL_HD, FRAME);
    WriterCounts counts = countsOf(10'000, 5'000);
    counts.lastEncoded = counts.lastReceived - FRAME;
    EXPECT_FALSE(backlog.mustWait(counts, 0));
    counts.lastEncoded = counts.lastReceived - 21 * FRAME;
    EXPECT_FALSE(backlog.mustWait(counts, 0));
    counts.lastEncoded = counts.lastReceived - 22 * FRAME;
    EXPECT_TRUE(backlog.mustWait(counts, 0));
}

TEST(WriterBacklog, TakesAnyCounts) {
    constexpr auto MOST = std::numeric_limits<std::uint64_t>::max();
    constexpr Ticks LOWEST = std::numeric_limits<Ticks>::min();
    constexpr Ticks HIGHEST = std::numeric_limits<Ticks>::max();
    WriterBacklog backlog(FULL_HD, FRAME);
    EXPECT_TRUE(backlog.mustWait(WriterCounts{MOST, 0, HIGHEST, LOWEST}, LOWEST));
    EXPECT_FALSE(backlog.mustWait(WriterCounts{MOST, 0, HIGHEST, LOWEST}, HIGHEST));
    EXPECT_FALSE(backlog.mustWait(WriterCounts{0, MOST, LOWEST, HIGHEST}, 0));
}

} // namespace
} // namespace velkantrix
