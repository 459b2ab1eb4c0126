// Up to where a span is known to have come out.
#include <gtest/gtest.h>

#include "tests/export/coded_stream.h"

namespace velkantrix {
namespace {

SpanCutter begun(const ExportSpan& span) {
    SpanCutter cutter({span});
    cutter.beginSpan(span);
    return cutter;
}

CodedSample unending(CodedSample sample) {
    sample.duration = 0;
    return sample;
}

TEST(SpanEnd, IsOpenWhereTheLastPictureAloneDoesNotSayHowLongItLasts) {
    SpanCutter cutter = begun({.start = 0, .end = 60});
    EXPECT_EQ(cutter.placeVideo(key(0)).placing, Placing::Write);
    EXPECT_FALSE(cutter.endIsOpen());
    EXPECT_EQ(cutter.placeVideo(unending(picture(2 * FRAME))).placing, Placing::Write);
    EXPECT_TRUE(cutter.endIsOpen());
    EXPECT_EQ(cutter.placeVideo(picture(FRAME)).placing, Placing::Write);
    EXPECT_TRUE(cutter.endIsOpen()) << "that one is shown before it";
    EXPECT_EQ(cutter.placeVideo(picture(3 * FRAME)).placing, Placing::Write);
    EXPECT_FALSE(cutter.endIsOpen());
    EXPECT_EQ(cutter.cutEnd(), 4 * FRAME);
}

TEST(SpanEnd, IsWhereTheLastPictureBeginsWhereNoneSaysHowLongItLasts) {
    SpanCutter cutter = begun({.start = 0, .end = 60});
    EXPECT_EQ(cutter.placeVideo(unending(key(0))).placing, Placing::Write);
    EXPECT_EQ(cutter.placeVideo(unending(picture(2 * FRAME))).placing, Placing::Write);
    EXPECT_FALSE(cutter.endIsOpen());
    EXPECT_EQ(cutter.cutEnd(), 2 * FRAME + 1);
}

TEST(SpanEnd, IsNotOpenInFrontOfAKeyframe) {
    SpanCutter cutter = begun({.start = 0, .end = 0.5});
    EXPECT_EQ(cutter.placeVideo(key(0)).placing, Placing::Write);
    EXPECT_EQ(cutter.placeVideo(unending(picture(2 * FRAME))).placing, Placing::Write);
    EXPECT_EQ(cutter.placeVideo(key(SECOND)).placing, Placing::Drop);
    EXPECT_FALSE(cutter.endIsOpen());
    EXPECT_EQ(cutter.cutEnd(), SECOND);
}

TEST(SpanEnd, IsNotTheLastSpans) {
    SpanCutter cutter = begun({.start = 0, .end = 60});
    EXPECT_EQ(cutter.placeVideo(key(0)).placing, Placing::Write);
    EXPECT_EQ(cutter.placeVideo(unending(picture(FRAME))).placing, Placing::Write);
    EXPECT_EQ(cutter.placeAudio(0, SECOND).placing, Placing::Write);
    cutter.endSpan();
    cutter.beginSpan({.start = 10, .end = 20});
    EXPECT_EQ(cutter.placeVideo(key(10 * SECOND)).placing, Placing::Write);
    EXPECT_FALSE(cutter.endIsOpen());
    EXPECT_EQ(cutter.soundEnd(), 10 * SECOND);
}

TEST(SpanSound, GoesToTheEndOfTheLastOne) {
    SpanCutter cutter = begun({.start = 1, .end = 60});
    EXPECT_EQ(cutter.placeVideo(key(SECOND)).placing, Placing::Write);
    EXPECT_EQ(cutter.placeVideo(picture(50 * SECOND)).placing, Placing::Write);
    EXPECT_EQ(cutter.placeAudio(0, FRAME).placing, Placing::Drop);
    EXPECT_EQ(cutter.soundEnd(), SECOND) << "none so far";
    EXPECT_EQ(cutter.placeAudio(2 * SECOND, FRAME).placing, Placing::Write);
    EXPECT_EQ(cutter.soundEnd(), 2 * SECOND + FRAME);
}

// Of sound with a gap.
TEST(SpanSound, LacksNothingWhereThereIsSomeBehindTheSpan) {
    SpanCutter cutter = begun({.start = 0, .end = 60});
    EXPECT_EQ(cutter.placeVideo(key(0)).placing, Placing::Write);
    EXPECT_EQ(cutter.placeVideo(key(61 * SECOND)).placing, Placing::Drop);
    EXPECT_EQ(cutter.placeAudio(0, FRAME).placing, Placing::Write);
    EXPECT_EQ(cutter.placeAudio(62 * SECOND, FRAME).placing, Placing::Stop);
    EXPECT_EQ(cutter.soundEnd(), 60 * SECOND);
}

TEST(SpanSound, BehindPicturesThatHaveEndedIsLacking) {
    SpanCutter cutter = begun({.start = 0, .end = 60});
    EXPECT_EQ(cutter.placeVideo(key(0)).placing, Placing::Write);
    EXPECT_EQ(cutter.placeAudio(0, FRAME).placing, Placing::Write);
    EXPECT_EQ(cutter.placeAudio(2 * SECOND, FRAME).placing, Placing::Stop);
    EXPECT_EQ(cutter.soundEnd(), cutter.cutEnd());
}

} // namespace
} // namespace velkantrix
