#include "export/span_cutter.h"

#include <algorithm>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "export/read_budget.h"
#include "tests/export/coded_stream.h"

namespace velkantrix {
namespace {

TEST(SpanCutter, AStartBetweenKeyframesBeginsAtTheEarlierOne) {
    const Copied copied = copyVideo({{1.5, 2}}, plainStream());
    EXPECT_EQ(copied.read, every(1 * SECOND, 2 * SECOND));
    EXPECT_EQ(copied.written, every(0, 1 * SECOND));
}

TEST(SpanCutter, AnEndBetweenKeyframesRunsOnToTheNext) {
    const Copied copied = copyVideo({{1, 2.3}}, plainStream());
    EXPECT_EQ(copied.read, every(1 * SECOND, 3 * SECOND));
}

TEST(SpanCutter, AnEndOnAKeyframeStopsThere) {
    EXPECT_EQ(copyVideo({{1, 2}}, plainStream()).read, every(1 * SECOND, 2 * SECOND));
    EXPECT_EQ(copyVideo({{1, 2.0000001}}, plainStream()).read, every(1 * SECOND, 3 * SECOND));
}

TEST(SpanCutter, AnEndBehindTheLastKeyframeRunsToTheEndOfTheStream) {
    EXPECT_EQ(copyVideo({{9, 9.2}}, plainStream()).read, every(9 * SECOND, 10 * SECOND));
    EXPECT_EQ(copyVideo({{9, 1e300}}, plainStream()).read, every(9 * SECOND, 10 * SECOND));
}

TEST(SpanCutter, AKeyframeAtTheCutItselfNeverEndsTheSpan) {
    // The span ends before its own first keyframe: one group of pictures is written all the same.
    EXPECT_EQ(copyVideo({{2, 1}}, plainStream()).read, every(2 * SECOND, 3 * SECOND));
}

TEST(SpanCutter, EverythingBeforeTheFirstKeyframeIsDropped) {
    SpanCutter cutter({{0, 1}});
    cutter.beginSpan({0, 1});
    EXPECT_EQ(cutter.placeVideo(picture(0)).placing, Placing::Drop);
    EXPECT_FALSE(cutter.hasCut());
    EXPECT_EQ(cutter.placeVideo(key(FRAME)).placing, Placing::Write);
    EXPECT_TRUE(cutter.hasCut());
    EXPECT_EQ(cutter.firstInstant(), FRAME);
}

TEST(SpanCutter, ASpanWithoutKeyframesAddsNothing) {
    SpanCutter cutter({{0, 1}, {1, 2}});
    cutter.beginSpan({0, 1});
    EXPECT_EQ(cutter.placeVideo(picture(0)).placing, Placing::Drop);
    cutter.endSpan();
    EXPECT_FALSE(cutter.hasCut());
    EXPECT_EQ(cutter.outBase(), 0);
    cutter.beginSpan({1, 2});
    EXPECT_EQ(cutter.placeVideo(key(5 * SECOND)).time, 0);
}

TEST(SpanCutter, AFirstTimeMayBeNegative) {
    SpanCutter cutter({{0, 1}});
    cutter.beginSpan({0, 1});
    EXPECT_EQ(cutter.placeVideo(key(-FRAME)).time, 0);
    EXPECT_TRUE(cutter.hasCut());
    EXPECT_EQ(cutter.firstInstant(), -FRAME);
    EXPECT_EQ(cutter.placeVideo(picture(0)).time, FRAME);
    cutter.endSpan();
    EXPECT_EQ(cutter.outBase(), 2 * FRAME);
}

TEST(SpanCutter, JoinedSpansFollowEachOtherWithoutAGap) {
    const Copied copied = copyVideo({{1, 2}, {5, 6}, {8, 9}}, plainStream());
    EXPECT_EQ(copied.written, every(0, 3 * SECOND));
    EXPECT_EQ(copied.read[10], 5 * SECOND);
    EXPECT_EQ(copied.read[20], 8 * SECOND);
}

TEST(SpanCutter, SpansWhoseKeyframesOverlapFollowEachOtherToo) {
    const Copied copied = copyVideo({{1, 2.5}, {2.5, 4}}, plainStream());
    EXPECT_EQ(copied.written, every(0, 4 * SECOND));
    EXPECT_EQ(copied.read[20], 2 * SECOND); // the second span begins again at its own keyframe
}

TEST(SpanCutter, TheEndOfTheStreamEndsASpanAtItsLastPicture) {
    SpanCutter cutter({{9, 20}});
    Copied copied;
    copySpan(cutter, {9, 20}, plainStream(), copied);
    cutter.endSpan();
    EXPECT_EQ(cutter.outBase(), 1 * SECOND);
}

TEST(SpanCutter, ALastPictureWithoutDurationStillHasAnInstantOfItsOwn) {
    SpanCutter cutter({{0, 20}, {0, 20}});
    cutter.beginSpan({0, 20});
    EXPECT_EQ(cutter.placeVideo({.time = 0, .keyframe = true}).time, 0);
    cutter.endSpan();
    cutter.beginSpan({0, 20});
    EXPECT_EQ(cutter.placeVideo({.time = 0, .keyframe = true}).time, 1);
}

// ---- pictures that are shown before the keyframe they follow ----

// Keyframes each second; the two pictures shown before a keyframe are stored after it. Decode times
// are two pictures ahead, as an encoder with two B-frames gives them.
std::vector<CodedSample> openStream(int seconds) {
    std::vector<CodedSample> stream;
    int place = 0;
    const auto add = [&](CodedSample sample) {
        stream.push_back(decodedAt((place++ - 2) * FRAME, sample));
    };
    for (int s = 0; s < seconds; s++) {
        const Ticks start = s * SECOND;
        add(key(start));
        if (s > 0) add(picture(start - 2 * FRAME));
        if (s > 0) add(picture(start - 1 * FRAME));
        for (int i = 1; i < 8; i++) add(picture(start + i * FRAME));
    }
    return stream;
}

TEST(SpanCutter, PicturesThatHangOnWhatWasCutAwayAreDropped) {
    const Copied copied = copyVideo({{2, 3}}, openStream(10));
    EXPECT_EQ(copied.read, every(2 * SECOND, 3 * SECOND - 2 * FRAME));
    EXPECT_EQ(copied.written, every(0, 1 * SECOND - 2 * FRAME));
}

TEST(SpanCutter, AJoinHasNoHoleWherePicturesHangOnTheKeyframeBehind) {
    const Copied copied = copyVideo({{2, 3}, {5, 6}, {6, 7}}, openStream(10));
    EXPECT_EQ(copied.written, every(0, 24 * FRAME));
}

TEST(SpanCutter, InsideASpanHangingPicturesStay) {
    const Copied copied = copyVideo({{2, 4}}, openStream(10));
    EXPECT_EQ(copied.read.size(), 18u);
    EXPECT_EQ(copied.read[8], 3 * SECOND);
    EXPECT_EQ(copied.read[9], 3 * SECOND - 2 * FRAME);
}

TEST(SpanCutter, DecodeTimesAscendOverJoins) {
    const Copied copied = copyVideo({{2, 3}, {5, 6}, {6, 7}}, openStream(10));
    for (size_t i = 1; i < copied.decode.size(); i++) {
        EXPECT_LT(copied.decode[i - 1], copied.decode[i]) << i;
        EXPECT_LE(copied.decode[i], copied.written[i]) << i;
    }
}

TEST(SpanCutter, DecodeTimesMoveWithTheirSamples) {
    const std::vector<CodedSample> stream = openStream(10);
    const Copied copied = copyVideo({{2, 4}}, stream);
    for (size_t i = 0; i < copied.read.size(); i++) {
        const auto same = [&](const CodedSample& s) {
            return s.time == copied.read[i];
        };
        const auto sample = std::find_if(stream.begin(), stream.end(), same);
        ASSERT_NE(sample, stream.end());
        EXPECT_EQ(copied.written[i], sample->time - 2 * SECOND);
        EXPECT_EQ(copied.decode[i], *sample->decodeTime - 2 * SECOND);
    }
}

TEST(SpanCutter, AJoinThatWouldGoBackInDecodingMovesTheDecodeTimeAlone) {
    SpanCutter cutter({{0, 1}, {5, 6}});
    cutter.beginSpan({0, 1});
    EXPECT_EQ(cutter.placeVideo(decodedAt(0, key(0))).decodeTime, 0);
    EXPECT_EQ(cutter.placeVideo(decodedAt(FRAME, picture(FRAME))).decodeTime, FRAME);
    cutter.endSpan();
    cutter.beginSpan({5, 6});
    const Placement first = cutter.placeVideo(decodedAt(5 * SECOND - 2 * FRAME, key(5 * SECOND)));
    EXPECT_EQ(first.time, 2 * FRAME);
    EXPECT_EQ(first.decodeTime, FRAME + SECOND / 1000);
    const Placement second =
        cutter.placeVideo(decodedAt(5 * SECOND - FRAME, picture(5 * SECOND + FRAME)));
    EXPECT_EQ(second.decodeTime, FRAME + 2 * SECOND / 1000);
    const Placement third =
        cutter.placeVideo(decodedAt(5 * SECOND, picture(5 * SECOND + 2 * FRAME)));
    EXPECT_EQ(third.decodeTime, 2 * FRAME);
}

TEST(SpanCutter, AMovedDecodeTimeIsSaidEvenWhereTheSampleHadNone) {
    SpanCutter cutter({{0, 1}, {5, 6}});
    cutter.beginSpan({0, 1});
    EXPECT_EQ(cutter.placeVideo(decodedAt(3 * FRAME, key(0))).decodeTime, 3 * FRAME);
    cutter.endSpan();
    cutter.beginSpan({5, 6});
    const Placement placement = cutter.placeVideo(key(5 * SECOND));
    EXPECT_EQ(placement.time, FRAME);
    EXPECT_EQ(placement.decodeTime, 3 * FRAME + 1);
}

TEST(SpanCutter, AStreamWithoutDecodeTimesGetsNoneThoughItIsReordered) {
    SpanCutter cutter({{0, 1}, {5, 6}});
    cutter.beginSpan({0, 1});
    for (const Ticks time : {0, 3, 1, 2}) {
        const CodedSample sample{.time = time * FRAME, .duration = FRAME, .keyframe = time == 0};
        EXPECT_FALSE(cutter.placeVideo(sample).decodeTime) << time;
    }
    cutter.endSpan();
    cutter.beginSpan({5, 6});
    EXPECT_FALSE(cutter.placeVideo(key(5 * SECOND)).decodeTime);
}

TEST(SpanCutter, APictureShownBehindTheKeyframeThatEndsTheSpanStillFits) {
    SpanCutter cutter({{0, 0.5}, {5, 6}});
    cutter.beginSpan({0, 0.5});
    EXPECT_EQ(cutter.placeVideo(key(0)).placing, Placing::Write);
    EXPECT_EQ(cutter.placeVideo(picture(2 * SECOND)).placing, Placing::Write);
    EXPECT_EQ(cutter.placeVideo(key(SECOND)).placing, Placing::Drop);
    EXPECT_EQ(cutter.placeAudio(2 * SECOND, FRAME).placing, Placing::Write);
    EXPECT_EQ(cutter.placeAudio(2 * SECOND + 1, FRAME).placing, Placing::Stop);
    cutter.endSpan();
    EXPECT_EQ(cutter.outBase(), 2 * SECOND + 1);
}

TEST(SpanCutter, ASampleWithoutDecodeTimeGetsNone) {
    SpanCutter cutter({{0, 1}});
    cutter.beginSpan({0, 1});
    EXPECT_FALSE(cutter.placeVideo(key(0)).decodeTime);
    EXPECT_EQ(cutter.placeVideo(decodedAt(FRAME, picture(FRAME))).decodeTime, FRAME);
}

TEST(SpanCutter, AStrayEarlyPictureBehindTheSpanDoesNotShortenIt) {
    SpanCutter cutter({{0, 1}});
    cutter.beginSpan({0, 1});
    EXPECT_EQ(cutter.placeVideo(key(0)).placing, Placing::Write);
    EXPECT_EQ(cutter.placeVideo(picture(FRAME)).placing, Placing::Write);
    EXPECT_EQ(cutter.placeVideo(key(SECOND)).placing, Placing::Drop);
    EXPECT_EQ(cutter.placeVideo(picture(FRAME)).placing, Placing::Drop);
    EXPECT_EQ(cutter.placeVideo(picture(SECOND + FRAME)).placing, Placing::Stop);
    cutter.endSpan();
    EXPECT_EQ(cutter.outBase(), SECOND);
}

TEST(SpanCutter, LooksOnlyAFewSamplesBehindTheSpan) {
    SpanCutter cutter({{0, 1}});
    cutter.beginSpan({0, 1});
    EXPECT_EQ(cutter.placeVideo(key(0)).placing, Placing::Write);
    EXPECT_FALSE(cutter.videoComplete());
    EXPECT_EQ(cutter.placeVideo(key(SECOND)).placing, Placing::Drop);
    EXPECT_TRUE(cutter.videoComplete());
    int reads = 0;
    while (cutter.placeVideo(picture(SECOND - 1)).placing == Placing::Drop) reads++;
    EXPECT_EQ(reads, 32);
}

// ---- progress ----

TEST(SpanCutter, ProgressIsTheOutputTimeReachedSoFar) {
    const Copied copied = copyVideo({{1, 2}, {5, 6}}, plainStream());
    ASSERT_EQ(copied.progress.size(), 20u);
    EXPECT_DOUBLE_EQ(copied.progress[0], 0);
    EXPECT_DOUBLE_EQ(copied.progress[9], 0.9);
    EXPECT_DOUBLE_EQ(copied.progress[10], 1);
    EXPECT_DOUBLE_EQ(copied.progress[19], 1.9);
}

TEST(SpanCutter, ProgressNeverReachesTheTotalBeforeTheEnd) {
    // Half a second asked for, two seconds written: what would reach the total is held back.
    const Copied copied = copyVideo({{1.7, 2.2}}, plainStream());
    EXPECT_EQ(copied.read.size(), 20u);
    ASSERT_EQ(copied.progress.size(), 5u);
    EXPECT_DOUBLE_EQ(copied.progress.back(), 0.4);
}

TEST(TotalSeconds, AddsTheSpansAsAskedFor) {
    EXPECT_DOUBLE_EQ(totalSeconds({{1, 2.5}, {10, 11}}), 2.5);
    EXPECT_DOUBLE_EQ(totalSeconds({}), 0);
}

// ---- audio ----

// A cutter whose video went from 1 s to 2 s.
SpanCutter cutFromOneToTwo() {
    SpanCutter cutter({{1, 2}});
    Copied copied;
    copySpan(cutter, {1, 2}, plainStream(), copied);
    return cutter;
}

TEST(SpanCutterAudio, WhatEndsBeforeTheCutIsDropped) {
    SpanCutter cutter = cutFromOneToTwo();
    EXPECT_EQ(cutter.placeAudio(SECOND - FRAME, FRAME).placing, Placing::Drop);
    EXPECT_EQ(cutter.placeAudio(SECOND - FRAME, FRAME + 1).placing, Placing::Write);
}

TEST(SpanCutterAudio, WhatStraddlesTheCutIsMovedToTheFirstInstant) {
    SpanCutter cutter = cutFromOneToTwo();
    EXPECT_EQ(cutter.placeAudio(SECOND - 5, 10).time, 0);
    EXPECT_EQ(cutter.placeAudio(SECOND, 10).time, 0);
    EXPECT_EQ(cutter.placeAudio(SECOND + 5, 10).time, 5);
}

TEST(SpanCutterAudio, TheFirstSampleAtTheEndStops) {
    SpanCutter cutter = cutFromOneToTwo();
    EXPECT_EQ(cutter.placeAudio(2 * SECOND - 1, FRAME).placing, Placing::Write); // and runs past it
    EXPECT_EQ(cutter.placeAudio(2 * SECOND, FRAME).placing, Placing::Stop);
}

TEST(SpanCutterAudio, AtTheEndOfTheStreamItGoesToTheEndOfTheVideo) {
    SpanCutter cutter({{9, 20}});
    Copied copied;
    copySpan(cutter, {9, 20}, plainStream(), copied);
    EXPECT_EQ(cutter.placeAudio(10 * SECOND - 1, FRAME).placing, Placing::Write);
    EXPECT_EQ(cutter.placeAudio(10 * SECOND, FRAME).placing, Placing::Stop);
}

TEST(SpanCutterAudio, LaterSpansBeginWhereTheVideoOfTheLastOneEnded) {
    SpanCutter cutter({{1, 2}, {5, 6}});
    Copied copied;
    copySpan(cutter, {1, 2}, plainStream(), copied);
    cutter.endSpan();
    copySpan(cutter, {5, 6}, plainStream(), copied);
    EXPECT_EQ(cutter.placeAudio(5 * SECOND - 1, FRAME).time, SECOND);
    EXPECT_EQ(cutter.placeAudio(5 * SECOND + 7, FRAME).time, SECOND + 7);
}

// ---- what files may say ----

TEST(SpanCutter, TimesAtTheEndsOfTheRangeDoNotOverflow) {
    constexpr Ticks HIGHEST = std::numeric_limits<Ticks>::max();
    constexpr Ticks LOWEST = std::numeric_limits<Ticks>::min();
    SpanCutter cutter({{-1e300, 1e300}, {0, 1}});
    cutter.beginSpan({-1e300, 1e300});
    EXPECT_EQ(cutter.startTicks(), LOWEST);
    EXPECT_EQ(cutter.placeVideo({.time = LOWEST, .duration = HIGHEST, .keyframe = true}).time, 0);
    EXPECT_EQ(
        cutter.placeVideo({.time = HIGHEST, .duration = HIGHEST, .decodeTime = LOWEST}).placing,
        Placing::Write);
    EXPECT_EQ(cutter.placeAudio(LOWEST, HIGHEST).placing, Placing::Write);
    cutter.endSpan();
    cutter.beginSpan({0, 1});
    EXPECT_EQ(cutter.placeVideo(key(0)).placing, Placing::Write);
    EXPECT_FALSE(cutter.progressAfter(key(HIGHEST)));
}

TEST(ReadBudget, EndsAPassThatNeverEnds) {
    ReadBudget budget(2);
    EXPECT_TRUE(budget.take());
    EXPECT_TRUE(budget.take());
    EXPECT_FALSE(budget.take());
    EXPECT_FALSE(budget.take());
    EXPECT_EQ(ReadBudget::READS_PER_PASS, 20'000'000);
}

} // namespace
} // namespace velkantrix
