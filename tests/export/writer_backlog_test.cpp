#include "export/writer_backlog.h"

#include <limits>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

constexpr std::uint64_t FULL_HD = 1920 * 1080 * 3 / 2;
constexpr Ticks FRAME = TICKS_PER_SECOND / 25;
constexpr Ticks PATIENCE = WriterBacklog::PATIENCE;

// The encoder has come to the n-th sample of a constant rate, from 1 on.
EncoderProgress encoded(std::uint64_t samples) {
    return {.encoded = samples, .lastEncoded = static_cast<Ticks>(samples) * FRAME};
}

// A backlog of samples 1 to n.
struct Written {
    WriterBacklog backlog;
    std::uint64_t count = 0;

    explicit Written(std::uint64_t samples = 0, std::uint64_t size = FULL_HD) {
        write(samples, size);
    }
    void write(std::uint64_t samples, std::uint64_t size = FULL_HD) {
        for (; samples > 0; samples--) backlog.wrote(static_cast<Ticks>(++count) * FRAME, size);
    }
    // How many more samples get in at once.
    std::uint64_t room(const EncoderProgress& progress, std::uint64_t size = FULL_HD) {
        std::uint64_t more = 0;
        for (; more < 100'000 && !backlog.mustWait(progress, 0); more++) write(1, size);
        return more;
    }
};

TEST(WriterBacklog, HoldsAQuarterOfAGibibyte) {
    EXPECT_EQ(Written().room({}), 87u);
    EXPECT_EQ(Written().room({}, 4 * FULL_HD), 22u);
    EXPECT_EQ(Written().room({}, 100 * FULL_HD), 16u); // encoders look ahead
    EXPECT_EQ(Written().room({}, 192'000), 1399u);     // a second of sound
    EXPECT_EQ(Written().room({}, 1), 65'536u);
    EXPECT_EQ(Written().room({}, 0), 65'536u);
}

TEST(WriterBacklog, CountsTheBytesThatReallyWait) {
    Written large(20, 10 * FULL_HD);
    EXPECT_TRUE(large.backlog.mustWait(encoded(0), 0));
    EXPECT_TRUE(large.backlog.mustWait(encoded(4), 0));
    EXPECT_FALSE(large.backlog.mustWait(encoded(11), 0));
    EXPECT_EQ(large.room(encoded(11), 10), 7u); // up to the fewest that are let in
}

TEST(WriterBacklog, AnEncoderThatKeepsUpIsNeverWaitedFor) {
    Written written(80);
    for (std::uint64_t i = 0; i < 1000; i++) {
        written.write(1);
        EXPECT_FALSE(written.backlog.mustWait(encoded(i), static_cast<Ticks>(i)));
    }
    EXPECT_FALSE(written.backlog.mustWait(encoded(5000), 0)); // more came out than went in
}

TEST(WriterBacklog, WhenNothingIsKnownNothingWaits) {
    Written written(100);
    EXPECT_TRUE(written.backlog.mustWait(encoded(0), 0));
    EXPECT_FALSE(written.backlog.mustWait(std::nullopt, 1));
}

TEST(WriterBacklog, AFullOneWaitsUntilASampleIsEncoded) {
    Written written(100);
    EXPECT_TRUE(written.backlog.mustWait(encoded(13), 0));
    EXPECT_TRUE(written.backlog.mustWait(encoded(13), 1));
    EXPECT_FALSE(written.backlog.mustWait(encoded(14), 2));
}

// However slow it is: each sample that is encoded begins the patience anew.
TEST(WriterBacklog, ASlowEncoderIsWaitedForAsLongAsItGetsOn) {
    Written written(2000);
    Ticks now = 0;
    for (std::uint64_t i = 0; i < 1000; i++) {
        now += PATIENCE - 1;
        EXPECT_TRUE(written.backlog.mustWait(encoded(i), now));
    }
}

TEST(WriterBacklog, AnEncoderThatHasGivenNothingYetGetsMore) {
    Written written(87);
    EXPECT_TRUE(written.backlog.mustWait(encoded(0), 0));
    EXPECT_TRUE(written.backlog.mustWait(encoded(0), PATIENCE - 1));
    EXPECT_FALSE(written.backlog.mustWait(encoded(0), PATIENCE));
    EXPECT_EQ(written.room(encoded(0)), 86u);
    EXPECT_FALSE(written.backlog.mustWait(encoded(0), PATIENCE)); // a new wait, from 0 on
    EXPECT_EQ(written.room(encoded(0)), 0u) << "from there on one at a time";
}

// Else it would be as much as there is memory, and that for the rest of the export.
TEST(WriterBacklog, ItGetsNoMoreThanSomeEncoderMayWant) {
    Written written(200);
    for (int i = 0; i < 5; i++) {
        EXPECT_TRUE(written.backlog.mustWait(encoded(0), i * PATIENCE));
        EXPECT_FALSE(written.backlog.mustWait(encoded(0), (i + 1) * PATIENCE));
    }
    EXPECT_TRUE(written.backlog.mustWait(encoded(0), 5 * PATIENCE));
}

TEST(WriterBacklog, TellsWhenPatienceWasAllThatLetASampleThrough) {
    Written written(100);
    EXPECT_FALSE(written.backlog.lostPatience());
    for (const std::uint64_t given : {0u, 5u}) {
        EXPECT_TRUE(written.backlog.mustWait(encoded(given), 0));
        EXPECT_FALSE(written.backlog.lostPatience());
        EXPECT_FALSE(written.backlog.mustWait(encoded(given), PATIENCE));
        EXPECT_TRUE(written.backlog.lostPatience());
        written.write(100);
        EXPECT_TRUE(written.backlog.mustWait(encoded(given), PATIENCE));
        EXPECT_FALSE(written.backlog.lostPatience());
        EXPECT_FALSE(written.backlog.mustWait(encoded(written.count), PATIENCE));
        EXPECT_FALSE(written.backlog.lostPatience());
        written.write(200);
    }
    EXPECT_FALSE(written.backlog.mustWait(std::nullopt, 0));
    EXPECT_FALSE(written.backlog.lostPatience());
}

TEST(WriterBacklog, AnEncoderThatStopsLaterGetsOneAtATimeAndTheLimitStays) {
    Written written(100);
    Ticks now = 0;
    for (int stall = 0; stall < 20; stall++) {
        EXPECT_TRUE(written.backlog.mustWait(encoded(5), now));
        now += PATIENCE;
        EXPECT_FALSE(written.backlog.mustWait(encoded(5), now));
        written.write(1);
        EXPECT_TRUE(written.backlog.mustWait(encoded(5), now));
        written.write(1);
        EXPECT_TRUE(written.backlog.mustWait(encoded(5), now));
    }
    EXPECT_EQ(written.room(encoded(written.count)), 87u);
}

// It gives its first picture at once, and wants so many more before the next, of 4K each.
TEST(WriterBacklog, AnEncoderThatLooksFurtherAheadGetsTheRoomForIt) {
    constexpr std::uint64_t UHD = 4 * FULL_HD;
    for (const std::uint64_t ahead : {21u, 24u, 30u, 38u}) {
        Written written;
        Ticks now = 0;
        for (int i = 0; i < 1000; i++) {
            const std::uint64_t given = written.count > ahead ? written.count - ahead : 1;
            while (written.backlog.mustWait(encoded(given), now)) now += PATIENCE;
            written.write(1, UHD);
        }
        EXPECT_LE(now, static_cast<Ticks>(2 * (ahead - 20)) * PATIENCE) << ahead;
    }
}

TEST(WriterBacklog, TheRoomForThatIsLimited) {
    Written written(22, 4 * FULL_HD);
    Ticks now = 0;
    for (std::uint64_t given = 1; given < 1000; given++) { // one in, one out
        EXPECT_TRUE(given >= 30 || written.room(encoded(given), 4 * FULL_HD) <= 17);
        while (written.backlog.mustWait(encoded(given), now)) now += PATIENCE;
        written.write(1, 4 * FULL_HD);
    }
    EXPECT_EQ(WriterBacklog::MOST_ROOM, 2 * WriterBacklog::ROOM);
    EXPECT_EQ(written.room(encoded(written.count), 4 * FULL_HD), 44u);
}

// Only what comes before the next patience has run out is an answer.
TEST(WriterBacklog, AnEncoderThatGoesOnWhenThereIsRoomGetsNoMore) {
    Written written(100);
    EXPECT_TRUE(written.backlog.mustWait(encoded(5), 0));
    EXPECT_FALSE(written.backlog.mustWait(encoded(5), PATIENCE));
    written.write(1);
    EXPECT_FALSE(written.backlog.mustWait(encoded(60), PATIENCE));
    EXPECT_EQ(written.room(encoded(written.count)), 87u);
}

// Between two waits the reader may have been seeking for long.
TEST(WriterBacklog, AWaitBeginsWhenItIsAskedForFirst) {
    Written written(90);
    EXPECT_TRUE(written.backlog.mustWait(encoded(0), 0));
    EXPECT_FALSE(written.backlog.mustWait(encoded(10), 1));
    written.write(10);
    EXPECT_TRUE(written.backlog.mustWait(encoded(10), 100 * PATIENCE));
    EXPECT_TRUE(written.backlog.mustWait(encoded(10), 101 * PATIENCE - 1));
}

// Sixty a second, where the source states one a second or whatever else.
TEST(WriterBacklog, ABurstIsHeldBackByItsBytesAlone) {
    WriterBacklog backlog;
    std::uint64_t written = 0;
    while (written < 10'000 && !backlog.mustWait(EncoderProgress{1, 0}, 0)) {
        backlog.wrote(static_cast<Ticks>(++written) * TICKS_PER_SECOND / 60, FULL_HD);
    }
    EXPECT_EQ(written, 87u);
}

// Sounds of half a frame's length are received, whole ones are encoded; or pictures are dropped.
TEST(WriterBacklog, ManySamplesThatArentBehindInTimeDontWait) {
    Written written(10'000);
    const Ticks last = 10'000 * FRAME;
    EXPECT_TRUE(written.backlog.mustWait(EncoderProgress{5'000, last - 87 * FRAME}, 0));
    EXPECT_FALSE(written.backlog.mustWait(EncoderProgress{5'001, last - 86 * FRAME}, 0));
    EXPECT_FALSE(written.backlog.mustWait(EncoderProgress{5'002, last}, 0));
}

// Pictures may come out in another order than they are shown in.
TEST(WriterBacklog, AnEncoderThatStepsBackHasEncodedWhatItHad) {
    Written written(100);
    EXPECT_FALSE(written.backlog.mustWait(encoded(40), 0));
    EXPECT_FALSE(written.backlog.mustWait(EncoderProgress{41, 10 * FRAME}, 0));
}

TEST(WriterBacklog, TakesAnyProgress) {
    constexpr auto MOST = std::numeric_limits<std::uint64_t>::max();
    constexpr Ticks LOWEST = std::numeric_limits<Ticks>::min();
    constexpr Ticks HIGHEST = std::numeric_limits<Ticks>::max();
    Written written(100);
    EXPECT_TRUE(written.backlog.mustWait(EncoderProgress{MOST, LOWEST}, LOWEST));
    EXPECT_FALSE(written.backlog.mustWait(EncoderProgress{MOST, LOWEST}, HIGHEST));
    EXPECT_TRUE(written.backlog.mustWait(EncoderProgress{0, HIGHEST}, 0));
    EXPECT_FALSE(written.backlog.mustWait(EncoderProgress{1, HIGHEST}, 0));
}

} // namespace
} // namespace velkantrix
