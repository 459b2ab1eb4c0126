#include "export/job_rules.h"

#include <cmath>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

TEST(ProgressShare, StaysBetweenNoneAndAll) {
    EXPECT_DOUBLE_EQ(progressShare(25, 100), 0.25);
    EXPECT_DOUBLE_EQ(progressShare(-1, 100), 0);
    EXPECT_DOUBLE_EQ(progressShare(101, 100), 1);
}

TEST(ProgressShare, NothingExpectedIsDone) {
    EXPECT_DOUBLE_EQ(progressShare(0, 0), 1);
    EXPECT_DOUBLE_EQ(progressShare(1, -1), 1);
    EXPECT_DOUBLE_EQ(progressShare(1, std::nan("")), 1);
    EXPECT_DOUBLE_EQ(progressShare(std::nan(""), 10), 1);
}

TEST(SecondsLeft, IsSaidOnlyBetweenHalfAPercentAndTheEnd) {
    EXPECT_LT(secondsLeft(0, 10), 0);
    EXPECT_LT(secondsLeft(0.005, 10), 0);
    EXPECT_NEAR(secondsLeft(0.0051, 1), 195.078, 0.001);
    EXPECT_DOUBLE_EQ(secondsLeft(0.5, 10), 10);
    EXPECT_DOUBLE_EQ(secondsLeft(0.75, 30), 10);
    EXPECT_LT(secondsLeft(1, 10), 0);
}

TEST(ProgressText, NamesShareTimesAndWhatIsLeft) {
    EXPECT_EQ(progressText(42, 100, 42),
              L"Exporting  42%   ·   00:42.000 / 01:40.000   ·   about 00:58.000 remaining");
}

TEST(ProgressText, LeavesTheTimeLeftOutAtBothEnds) {
    EXPECT_EQ(progressText(0, 100, 1), L"Exporting  0%   ·   00:00.000 / 01:40.000");
    EXPECT_EQ(progressText(0.5, 100, 1), L"Exporting  1%   ·   00:00.500 / 01:40.000");
    EXPECT_EQ(progressText(100, 100, 1), L"Exporting  100%   ·   01:40.000 / 01:40.000");
}

} // namespace
} // namespace velkantrix
