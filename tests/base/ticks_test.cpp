#include "base/ticks.h"

#include <cmath>
#include <limits>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr Ticks HIGHEST = std::numeric_limits<Ticks>::max();
constexpr Ticks LOWEST = std::numeric_limits<Ticks>::min();

TEST(SpanBoundaryTicks, TakesTheIntegerPartAfterAddingAHalf) {
    EXPECT_EQ(spanBoundaryTicks(0), 0);
    EXPECT_EQ(spanBoundaryTicks(1), 10'000'000);
    EXPECT_EQ(spanBoundaryTicks(0.00000014), 1);
    EXPECT_EQ(spanBoundaryTicks(0.00000016), 2);
    EXPECT_EQ(spanBoundaryTicks(2.5), 25'000'000);
    EXPECT_EQ(spanBoundaryTicks(0.5e-7), 1);
}

TEST(SpanBoundaryTicks, BelowZeroItTruncatesTowardsZero) {
    EXPECT_EQ(spanBoundaryTicks(-0.00000007), 0);
    EXPECT_EQ(spanBoundaryTicks(-0.00000014), 0);
    EXPECT_EQ(spanBoundaryTicks(-0.00000017), -1);
    EXPECT_EQ(spanBoundaryTicks(-0.5e-7), 0);
    EXPECT_EQ(nearestTicks(-0.00000007), -1);
    EXPECT_EQ(nearestTicks(-0.00000017), -2);
}

TEST(NearestTicks, RoundsToNearest) {
    EXPECT_EQ(nearestTicks(0.00000014), 1);
    EXPECT_EQ(nearestTicks(0.00000016), 2);
    EXPECT_EQ(nearestTicks(1.0 / 3), 3'333'333);
}

TEST(NearestTicks, HalvesGoAwayFromZero) {
    ASSERT_EQ(0.5e-7 * 1e7, 0.5); // a half indeed
    EXPECT_EQ(nearestTicks(0.5e-7), 1);
    EXPECT_EQ(nearestTicks(-0.5e-7), -1);
}

TEST(TicksOfSeconds, TimesPastTheRangeStopAtItsEnd) {
    for (auto convert : {spanBoundaryTicks, nearestTicks}) {
        EXPECT_EQ(convert(1e30), HIGHEST);
        EXPECT_EQ(convert(INF), HIGHEST);
        EXPECT_EQ(convert(-1e30), LOWEST);
        EXPECT_EQ(convert(-INF), LOWEST);
        EXPECT_EQ(convert(std::nan("")), 0);
    }
}

TEST(SecondsOf, IsTheReverse) {
    EXPECT_DOUBLE_EQ(secondsOf(15'000'000), 1.5);
    EXPECT_DOUBLE_EQ(secondsOf(-1), -1e-7);
}

TEST(TicksFromUnits, AreCutTowardsZero) {
    EXPECT_EQ(ticksFromUnits(0, 1), 0);
    EXPECT_EQ(ticksFromUnits(1, 1), 10'000'000);
    EXPECT_EQ(ticksFromUnits(1, 3), 3'333'333);
    EXPECT_EQ(ticksFromUnits(2, 3), 6'666'666);
    EXPECT_EQ(ticksFromUnits(-2, 3), -6'666'666);
    EXPECT_EQ(ticksFromUnits(1001, 30000), 333'666);
    EXPECT_EQ(ticksFromUnits(-1, 0xFFFFFFFF), 0);
    EXPECT_EQ(ticksFromUnits(0xFFFFFFFE, 0xFFFFFFFF), 9'999'999);
}

TEST(TicksFromUnits, StopAtTheEndsOfTheRange) {
    constexpr std::int64_t MOST = std::numeric_limits<std::int64_t>::max();
    constexpr std::int64_t LEAST = std::numeric_limits<std::int64_t>::min();
    EXPECT_EQ(ticksFromUnits(MOST, 1), HIGHEST);
    EXPECT_EQ(ticksFromUnits(LEAST, 1), LOWEST);
    EXPECT_EQ(ticksFromUnits(MOST, 10'000'000), MOST);
    EXPECT_EQ(ticksFromUnits(LEAST, 10'000'000), LEAST);
    EXPECT_EQ(ticksFromUnits(MOST, 9'999'999), HIGHEST);
    EXPECT_EQ(ticksFromUnits(LEAST, 9'999'999), LOWEST);
    EXPECT_EQ(ticksFromUnits(MOST, 0xFFFFFFFF), 21'474'836'484'999'999);
}

TEST(AddTicks, StopsAtTheEndsOfTheRange) {
    EXPECT_EQ(addTicks(2, 3), 5);
    EXPECT_EQ(addTicks(HIGHEST, 1), HIGHEST);
    EXPECT_EQ(addTicks(HIGHEST, -1), HIGHEST - 1);
    EXPECT_EQ(addTicks(LOWEST, -1), LOWEST);
    EXPECT_EQ(addTicks(HIGHEST, LOWEST), -1);
}

TEST(SubtractTicks, StopsAtTheEndsOfTheRange) {
    EXPECT_EQ(subtractTicks(2, 3), -1);
    EXPECT_EQ(subtractTicks(LOWEST, 1), LOWEST);
    EXPECT_EQ(subtractTicks(HIGHEST, -1), HIGHEST);
    EXPECT_EQ(subtractTicks(0, LOWEST), HIGHEST);
    EXPECT_EQ(subtractTicks(-1, LOWEST), HIGHEST);
}

} // namespace
} // namespace velkantrix
