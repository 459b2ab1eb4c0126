// FindKeyframeAtOrBefore; how an index comes about is in video_index_test.cpp.
#include "mp4/video_index.h"

#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

constexpr double INF = std::numeric_limits<double>::infinity();
constexpr double NOT_A_NUMBER = std::numeric_limits<double>::quiet_NaN();
constexpr std::uint64_t LATEST = std::numeric_limits<std::uint64_t>::max();

VideoTrackIndex indexOf(std::uint32_t timescale, const std::vector<std::uint64_t>& times) {
    VideoTrackIndex index;
    index.timescale = timescale;
    for (const std::uint64_t time : times) index.randomAccess.emplace_back().time = time;
    return index;
}

TEST(FindKeyframeAtOrBefore, TheLastOneAtOrBeforeTheWholeSecond) {
    const VideoTrackIndex index = indexOf(1000, {0, 5000, 12000, 12001, 12500, 13000});
    struct Row {
        double seconds;
        std::uint64_t time;
    };
    for (const Row& row :
         {Row{0, 0}, Row{0.4, 0}, Row{-3, 0}, Row{-INF, 0}, Row{-0.0, 0}, Row{4.999, 0},
          Row{5, 5000}, Row{5.001, 5000}, Row{11.999, 5000}, Row{12, 12000}, Row{12.9, 12000},
          Row{12.999999, 12000}, Row{13, 13000}, Row{1e9, 13000}, Row{1e300, 13000},
          Row{INF, 13000}, Row{NOT_A_NUMBER, 0}}) {
        EXPECT_EQ(FindKeyframeAtOrBefore(index, row.seconds)->time, row.time) << row.seconds;
    }
}

TEST(FindKeyframeAtOrBefore, InFrontOfTheFirstOneItIsTheFirst) {
    const VideoTrackIndex index = indexOf(1000, {7000, 9000});
    for (const double seconds : {-3.0, 0.0, 0.4, 6.9, 7.0, 8.9}) {
        EXPECT_EQ(FindKeyframeAtOrBefore(index, seconds), index.randomAccess.data()) << seconds;
    }
    EXPECT_EQ(FindKeyframeAtOrBefore(index, 9), &index.randomAccess[1]);
}

TEST(FindKeyframeAtOrBefore, OfEqualTimesTheLast) {
    const VideoTrackIndex index = indexOf(1000, {0, 2000, 2000, 2000, 3000});
    EXPECT_EQ(FindKeyframeAtOrBefore(index, 2), &index.randomAccess[3]);
}

TEST(FindKeyframeAtOrBefore, EveryEntryOfALongTableIsFound) {
    for (const std::size_t count : {1u, 2u, 3u, 64u, 65u}) {
        VideoTrackIndex index = indexOf(10, {});
        for (std::uint64_t i = 0; i < count; ++i) index.randomAccess.emplace_back().time = i * 20;
        for (std::size_t i = 0; i < count; ++i) {
            const double seconds = static_cast<double>(i) * 2;
            EXPECT_EQ(FindKeyframeAtOrBefore(index, seconds), &index.randomAccess[i]);
            EXPECT_EQ(FindKeyframeAtOrBefore(index, seconds + 1), &index.randomAccess[i]);
        }
    }
}

TEST(FindKeyframeAtOrBefore, NullForNoTableOrNoTimeScale) {
    EXPECT_EQ(FindKeyframeAtOrBefore(indexOf(1000, {}), 5), nullptr);
    EXPECT_EQ(FindKeyframeAtOrBefore(indexOf(0, {0, 5}), 5), nullptr);
    EXPECT_EQ(FindKeyframeAtOrBefore(VideoTrackIndex(), 5), nullptr);
}

// An index that isn't valid for want of a sign may still be asked.
TEST(FindKeyframeAtOrBefore, TheValidFlagIsNotLookedAt) {
    EXPECT_NE(FindKeyframeAtOrBefore(indexOf(1000, {0}), 5), nullptr);
}

TEST(FindKeyframeAtOrBefore, ProductsAboveThirtyTwoBitsAreNotCutOff) {
    const VideoTrackIndex index = indexOf(90000, {0, std::uint64_t{1} << 32});
    EXPECT_EQ(FindKeyframeAtOrBefore(index, 47721)->time, 0u);
    EXPECT_EQ(FindKeyframeAtOrBefore(index, 47722)->time, std::uint64_t{1} << 32);
}

TEST(FindKeyframeAtOrBefore, ProductsAboveSixtyFourBitsAreTheLatest) {
    for (const std::uint32_t timescale : {1u, 2u, 3u, 1000u, 0x80000000u, 0xFFFFFFFFu}) {
        const VideoTrackIndex index = indexOf(timescale, {0, LATEST - 1, LATEST});
        const double limit = 18446744073709551616.0 / timescale;
        EXPECT_EQ(FindKeyframeAtOrBefore(index, limit * 1.001)->time, LATEST) << timescale;
        EXPECT_EQ(FindKeyframeAtOrBefore(index, limit * 2)->time, LATEST) << timescale;
        EXPECT_EQ(FindKeyframeAtOrBefore(index, limit * 0.999)->time, 0u) << timescale;
        if (timescale > 2) continue; // the limit itself is a double of the others' only by chance
        EXPECT_EQ(FindKeyframeAtOrBefore(index, limit)->time, LATEST) << timescale;
    }
}

TEST(FindKeyframeAtOrBefore, AnUnsortedTableGivesSomeEntry) {
    const VideoTrackIndex index = indexOf(1, {9, 1, 8, 2, 7, 3});
    for (const double seconds : {0.0, 1.0, 5.0, 8.0, 100.0}) {
        const RandomAccessEntry* const entry = FindKeyframeAtOrBefore(index, seconds);
        EXPECT_GE(entry, index.randomAccess.data());
        EXPECT_LE(entry, &index.randomAccess.back());
    }
}

} // namespace
} // namespace velkantrix
