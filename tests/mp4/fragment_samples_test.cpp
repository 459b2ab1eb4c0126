// FragmentSamples of mp4/fragment.h.
#include <gtest/gtest.h>

#include "mp4/fragment.h"

namespace velkantrix {
namespace {

constexpr SampleRecord FIRST{1000, 10, 50, 40, 5, true};

TEST(FragmentSamples, NewItIsEmpty) {
    const FragmentSamples samples;
    EXPECT_TRUE(samples.empty());
    EXPECT_EQ(samples.size(), 0u);
    EXPECT_EQ(samples.latestEnd(0), 0);
    EXPECT_GE(samples.span().first, samples.span().end);
}

TEST(FragmentSamples, SamplesAndRowsOfEqualOnesMix) {
    FragmentSamples samples;
    samples.append({1, 2, 3, 4, 5, true});
    samples.append({6, 7, 8, 9, 10, false});
    samples.appendEqual(FIRST, 3, false);
    samples.appendEqual(FIRST, 1, false);
    samples.append({11, 12, 13, 14, 15, true});
    ASSERT_EQ(samples.size(), 7u);
    EXPECT_EQ(samples[0], (SampleRecord{1, 2, 3, 4, 5, true}));
    EXPECT_EQ(samples[1], (SampleRecord{6, 7, 8, 9, 10, false}));
    EXPECT_EQ(samples[2], FIRST);
    EXPECT_EQ(samples[3], (SampleRecord{1010, 10, 55, 45, 5, false}));
    EXPECT_EQ(samples[4], (SampleRecord{1020, 10, 60, 50, 5, false}));
    EXPECT_EQ(samples[5], FIRST);
    EXPECT_EQ(samples[6], (SampleRecord{11, 12, 13, 14, 15, true}));
}

TEST(FragmentSamples, NoEqualOnesAreNone) {
    FragmentSamples samples;
    samples.appendEqual(FIRST, 0, true);
    EXPECT_TRUE(samples.empty());
}

TEST(FragmentSamples, TheSpanReachesOverAllOfThem) {
    FragmentSamples samples;
    samples.append({500, 10, 0, 0, 0, true});
    EXPECT_EQ(samples.span().first, 500u);
    EXPECT_EQ(samples.span().end, 510u);
    samples.append({100, 20, 0, 0, 0, true});
    EXPECT_EQ(samples.span().first, 100u);
    EXPECT_EQ(samples.span().end, 510u);
    samples.appendEqual({450, 10, 0, 0, 0, true}, 7, true);
    EXPECT_EQ(samples.span().first, 100u);
    EXPECT_EQ(samples.span().end, 520u);
}

TEST(FragmentSamples, ASpanBeyondAllNumbersEndsAtTheLargest) {
    FragmentSamples samples;
    samples.append({UINT64_MAX - 5, 5, 0, 0, 0, true});
    EXPECT_EQ(samples.span().end, UINT64_MAX);
    samples = {};
    samples.append({UINT64_MAX - 5, 6, 0, 0, 0, true});
    EXPECT_EQ(samples.span().end, UINT64_MAX);
    samples = {};
    samples.appendEqual({UINT64_MAX - 5, 0xFFFFFFFF, 0, 0, 0, true}, 0xFFFFFFFF, true);
    EXPECT_EQ(samples.span().end, UINT64_MAX);
    EXPECT_EQ(samples.span().first, UINT64_MAX - 5);
}

TEST(FragmentSamples, TheLatestEndIsThatOfAnyOfThem) {
    FragmentSamples samples;
    samples.append({0, 1, 90, 0, 20, true});
    samples.append({0, 1, 50, 0, 10, true});
    EXPECT_EQ(samples.latestEnd(0), 110);
    EXPECT_EQ(samples.latestEnd(-100), 10);
    EXPECT_EQ(samples.latestEnd(1000), 1110);
    samples.appendEqual({0, 1, 50, 0, 10, true}, 7, true);
    EXPECT_EQ(samples.latestEnd(0), 120);
}

TEST(FragmentSamples, TheLatestEndIsNotBelowZero) {
    FragmentSamples samples;
    samples.append({0, 1, 90, 0, 20, true});
    EXPECT_EQ(samples.latestEnd(-111), 0);
}

TEST(FragmentSamples, EqualOnesOfAnyNumberCostTheSame) {
    FragmentSamples samples;
    const std::uint64_t many = std::uint64_t{1} << 32;
    samples.appendEqual(FIRST, many, true);
    samples.append(FIRST);
    EXPECT_EQ(samples.size(), many + 1);
    EXPECT_EQ(samples[many - 1].offset, 1000 + (many - 1) * 10);
    EXPECT_EQ(samples[many], FIRST);
    EXPECT_EQ(samples.span().end, 1000 + many * 10);
    EXPECT_EQ(samples.latestEnd(0), static_cast<std::int64_t>(50 + many * 5));
}

} // namespace
} // namespace velkantrix
