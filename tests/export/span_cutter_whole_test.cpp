// The whole source as one span.
#include <limits>

#include <gtest/gtest.h>

#include "tests/export/coded_stream.h"

namespace velkantrix {
namespace {

const ExportSpan WHOLE{.start = 0, .end = std::numeric_limits<double>::infinity()};

TEST(WholeSource, KeepsAllOfTheVideoAtItsTimes) {
    std::vector<CodedSample> late = plainStream();
    for (CodedSample& sample : late) sample.time += 3 * FRAME / 2;
    const Copied copied = copyVideo({WHOLE}, late);
    EXPECT_EQ(copied.read.size(), late.size());
    EXPECT_EQ(copied.written, copied.read);
}

TEST(WholeSource, BeginsAtAFirstTimeBelowZero) {
    std::vector<CodedSample> early = plainStream();
    for (CodedSample& sample : early) sample.time -= FRAME;
    const Copied copied = copyVideo({WHOLE}, early);
    EXPECT_EQ(copied.written.size(), early.size());
    EXPECT_EQ(copied.written.front(), 0);
}

TEST(WholeSource, KeepsTheSoundInFrontOfTheVideoAndBehindIt) {
    SpanCutter cutter({WHOLE});
    cutter.beginSpan(WHOLE);
    EXPECT_EQ(cutter.placeVideo(key(2 * SECOND)).placing, Placing::Write);
    EXPECT_EQ(cutter.firstInstant(), 0);
    EXPECT_EQ(cutter.placeAudio(0, FRAME).time, 0);
    EXPECT_EQ(cutter.placeAudio(SECOND, FRAME).time, SECOND);
    const Placement behind = cutter.placeAudio(60 * SECOND, FRAME);
    EXPECT_EQ(behind.placing, Placing::Write);
    EXPECT_EQ(behind.time, 60 * SECOND);
    EXPECT_EQ(cutter.soundEnd(), 60 * SECOND + FRAME);
}

} // namespace
} // namespace velkantrix
