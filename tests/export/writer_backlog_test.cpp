#include "export/writer_backlog.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

constexpr std::uint64_t FULL_HD = 1920 * 1080 * 3 / 2;

WriterCounts waiting(const WriterBacklog& backlog, std::uint64_t encoded = 0) {
    return {.received = encoded + backlog.mostWaiting(), .encoded = encoded};
}

TEST(WriterBacklog, HoldsAQuarterOfAGibibyte) {
    EXPECT_EQ(WriterBacklog(FULL_HD).mostWaiting(), 86u);
    EXPECT_EQ(WriterBacklog(4 * FULL_HD).mostWaiting(), 21u);
    EXPECT_EQ(WriterBacklog(100 * FULL_HD).mostWaiting(), 16u); // encoders look ahead
    EXPECT_EQ(WriterBacklog(1).mostWaiting(), 4096u);
    EXPECT_EQ(WriterBacklog(0).mostWaiting(), 4096u);
}

TEST(WriterBacklog, AnEncoderThatKeepsUpIsNeverWaitedFor) {
    WriterBacklog backlog(FULL_HD);
    for (std::uint64_t i = 0; i < 1000; i++) {
        EXPECT_FALSE(backlog.mustWait(WriterCounts{i + 85, i}, static_cast<Ticks>(i)));
    }
    EXPECT_FALSE(backlog.mustWait(WriterCounts{5, 9}, 0)); // more came out than went in
    EXPECT_EQ(backlog.mostWaiting(), 86u);
}

TEST(WriterBacklog, WithoutCountsNothingWaits) {
    WriterBacklog backlog(FULL_HD);
    EXPECT_TRUE(backlog.mustWait(waiting(backlog), 0));
    EXPECT_FALSE(backlog.mustWait(std::nullopt, 1));
}

TEST(WriterBacklog, AFullOneWaitsUntilASampleIsEncoded) {
    WriterBacklog backlog(FULL_HD);
    EXPECT_TRUE(backlog.mustWait(WriterCounts{100, 14}, 0));
    EXPECT_TRUE(backlog.mustWait(WriterCounts{100, 14}, 1));
    EXPECT_FALSE(backlog.mustWait(WriterCounts{100, 15}, 2));
}

// However slow it is: each sample that is encoded begins the patience anew.
TEST(WriterBacklog, ASlowEncoderIsWaitedForAsLongAsItGetsOn) {
    WriterBacklog backlog(FULL_HD);
    Ticks now = 0;
    for (std::uint64_t i = 0; i < 1000; i++) {
        now += WriterBacklog::PATIENCE - 1;
        EXPECT_TRUE(backlog.mustWait(WriterCounts{1086 + i, i}, now));
    }
    EXPECT_EQ(backlog.mostWaiting(), 86u);
}

TEST(WriterBacklog, AnEncoderThatGivesNothingGetsMore) {
    WriterBacklog backlog(FULL_HD);
    constexpr Ticks PATIENCE = WriterBacklog::PATIENCE;
    EXPECT_TRUE(backlog.mustWait(waiting(backlog), 0));
    EXPECT_TRUE(backlog.mustWait(waiting(backlog), PATIENCE - 1));
    EXPECT_FALSE(backlog.mustWait(waiting(backlog), PATIENCE));
    EXPECT_EQ(backlog.mostWaiting(), 172u);
    EXPECT_FALSE(backlog.mustWait(WriterCounts{171, 0}, PATIENCE));
    EXPECT_TRUE(backlog.mustWait(waiting(backlog), PATIENCE)); // a new wait
    EXPECT_FALSE(backlog.mustWait(waiting(backlog), 2 * PATIENCE));
    EXPECT_EQ(backlog.mostWaiting(), 344u);
}

// Between two waits the reader may have been seeking for long.
TEST(WriterBacklog, AWaitBeginsWhenItIsAskedForFirst) {
    WriterBacklog backlog(FULL_HD);
    EXPECT_TRUE(backlog.mustWait(waiting(backlog), 0));
    EXPECT_FALSE(backlog.mustWait(WriterCounts{10, 0}, 1));
    EXPECT_TRUE(backlog.mustWait(waiting(backlog), 100 * WriterBacklog::PATIENCE));
    EXPECT_EQ(backlog.mostWaiting(), 86u);
}

} // namespace
} // namespace velkantrix
