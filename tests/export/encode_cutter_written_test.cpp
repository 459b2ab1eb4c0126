// What a re-encode tells of the spans that it has written.
#include <limits>

#include <gtest/gtest.h>

#include "export/encode_cutter.h"

namespace velkantrix {
namespace {

constexpr auto VIDEO = EncodedStream::Video;
constexpr auto AUDIO = EncodedStream::Audio;
constexpr Ticks SECOND = TICKS_PER_SECOND;
constexpr Ticks FRAME = SECOND / 10;
constexpr double OPEN = std::numeric_limits<double>::infinity();

class EncodeCutterWritten : public testing::Test {
protected:
    EncodeCutterWritten() { cutter.beginSpan(span, true); }

    const ExportSpan span{.start = 10, .end = 20};
    EncodeCutter cutter{{span, span}};
};

TEST_F(EncodeCutterWritten, NothingIsASpanWithoutPictures) {
    EXPECT_FALSE(cutter.place(VIDEO, 9 * SECOND, FRAME).write);
    const WrittenSpan written = cutter.written();
    EXPECT_FALSE(written.hasPictures);
    EXPECT_EQ(written.sourceStart, 10);
    EXPECT_EQ(written.outputStart, 0);
    EXPECT_EQ(written.sourceEnd, 10);
    EXPECT_EQ(written.soundEnd, 10);
}

TEST_F(EncodeCutterWritten, GoesToTheEndOfTheLastOfEachStream) {
    EXPECT_TRUE(cutter.place(VIDEO, 10 * SECOND, FRAME).write);
    EXPECT_TRUE(cutter.place(VIDEO, 12 * SECOND, FRAME).write);
    EXPECT_TRUE(cutter.place(AUDIO, 11 * SECOND, FRAME).write);
    cutter.endStream(VIDEO);
    cutter.endStream(AUDIO);
    const WrittenSpan written = cutter.written();
    EXPECT_TRUE(written.hasPictures);
    EXPECT_DOUBLE_EQ(written.sourceEnd, 12.1);
    ASSERT_TRUE(written.soundEnd);
    EXPECT_DOUBLE_EQ(*written.soundEnd, 11.1);
}

// A picture may stand for minutes, and sound may have gaps.
TEST_F(EncodeCutterWritten, LacksNothingWhereThereIsSomeBehindTheSpan) {
    EXPECT_TRUE(cutter.place(VIDEO, 10 * SECOND, FRAME).write);
    EXPECT_FALSE(cutter.place(VIDEO, 70 * SECOND, FRAME).write);
    EXPECT_FALSE(cutter.place(AUDIO, 70 * SECOND, FRAME).write);
    EXPECT_EQ(cutter.written().sourceEnd, 20);
    EXPECT_EQ(cutter.written().soundEnd, 20);
    EXPECT_TRUE(cutter.written().hasPictures);
}

TEST_F(EncodeCutterWritten, IsOpenWhereTheLastPictureAloneDoesNotSayHowLongItLasts) {
    EXPECT_TRUE(cutter.place(VIDEO, 10 * SECOND, FRAME, false).write);
    EXPECT_DOUBLE_EQ(cutter.written().sourceEnd, 10.1) << "none says it";
    EXPECT_TRUE(cutter.place(VIDEO, 11 * SECOND, FRAME).write);
    EXPECT_DOUBLE_EQ(cutter.written().sourceEnd, 11.1);
    EXPECT_TRUE(cutter.place(VIDEO, 12 * SECOND, FRAME, false).write);
    EXPECT_EQ(cutter.written().sourceEnd, OPEN);
}

// From the span's start, and from where a picture ends.
TEST_F(EncodeCutterWritten, TellsOfStretchesWithoutAPicture) {
    const auto placeAt = [&](Ticks time, Ticks duration = FRAME) {
        EXPECT_TRUE(cutter.place(VIDEO, time, duration).write);
    };
    placeAt(12 * SECOND);
    placeAt(12 * SECOND + FRAME, 2 * SECOND);
    placeAt(15 * SECOND);
    placeAt(17 * SECOND);
    const auto holes = cutter.written().holes;
    ASSERT_EQ(holes.size(), 2u);
    EXPECT_NEAR(holes[0].from, 10, 0.001);
    EXPECT_EQ(holes[0].to, 12);
    EXPECT_EQ(holes[1].from, 15.1);
    EXPECT_EQ(holes[1].to, 17);
    cutter.beginSpan(span, true);
    placeAt(10 * SECOND);
    EXPECT_TRUE(cutter.written().holes.empty());
}

TEST_F(EncodeCutterWritten, EachSpanIsItsOwn) {
    EXPECT_TRUE(cutter.place(VIDEO, 15 * SECOND, FRAME).write);
    cutter.endSpan();
    cutter.beginSpan({.start = 40, .end = 60}, false);
    const WrittenSpan written = cutter.written();
    EXPECT_FALSE(written.hasPictures);
    EXPECT_EQ(written.outputStart, 10);
    EXPECT_EQ(written.sourceEnd, 40);
    EXPECT_EQ(written.soundEnd, std::nullopt);
}

} // namespace
} // namespace velkantrix
