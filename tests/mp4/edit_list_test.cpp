#include "mp4/edit_list.h"

#include <gtest/gtest.h>

#include "tests/support/box_builder.h"

namespace velkantrix {
namespace {

struct Edit {
    std::uint64_t duration = 0; // of the movie's ticks
    std::int64_t mediaTime = 0; // of the track's ticks; -1: empty
};

// An elst's payload.
Bytes list(int version, const std::vector<Edit>& edits) {
    const std::size_t width = version == 1 ? 8 : 4;
    Bytes bytes = Bytes{version, 0, 0, 0}.u32(edits.size());
    for (const Edit& edit : edits) {
        bytes.number(edit.duration, width);
        bytes.number(static_cast<std::uint64_t>(edit.mediaTime), width);
        bytes.u32(0x10000);
    }
    return bytes;
}

std::int64_t offsetOf(const Bytes& elst, std::uint32_t movie = 1000, std::uint32_t track = 90000) {
    return editListOffset(elst.vector(), movie, track);
}

std::uint64_t presentedOf(const Bytes& elst, std::uint64_t media = 900'000,
                          std::uint32_t movie = 1000, std::uint32_t track = 90000) {
    return presentedTicks(elst.vector(), movie, track, media);
}

TEST(PresentedTicks, OfAnEmptyListAreAll) {
    EXPECT_EQ(presentedOf(Bytes()), 900'000u);
    EXPECT_EQ(presentedOf(list(0, {})), 900'000u);
}

TEST(PresentedTicks, GoFromAnEditsBeginningToItsEndOrTheMedias) {
    for (const int version : {0, 1}) {
        EXPECT_EQ(presentedOf(list(version, {{4000, 90'000}})), 360'000u);
        EXPECT_EQ(presentedOf(list(version, {{40'000, 90'000}})), 810'000u);
        EXPECT_EQ(presentedOf(list(version, {{0, 90'000}})), 810'000u) << "to the end";
        EXPECT_EQ(presentedOf(list(version, {{4000, 900'001}})), 0u);
    }
}

TEST(PresentedTicks, OfSeveralEditsAddUpButForEmptyOnes) {
    EXPECT_EQ(presentedOf(list(0, {{500, -1}, {1000, 0}, {250, -1}, {2000, 810'000}})), 180'000u);
    EXPECT_EQ(presentedOf(list(0, {{500, -1}})), 0u);
    EXPECT_EQ(presentedOf(list(1, {{0, 0}, {0, 0}}), UINT64_MAX), UINT64_MAX);
}

TEST(PresentedTicks, OfABrokenListAreNone) {
    EXPECT_EQ(presentedOf(Bytes{0, 0, 0, 0}.u32(2).u32(1000).u32(0).u32(0x10000)), 0u);
    EXPECT_EQ(presentedOf(list(0, {{1000, 0}}), 900'000, 0), 0u) << "of no time scale";
}

TEST(EditListOffset, AnEmptyListMovesNothing) {
    EXPECT_EQ(offsetOf(Bytes()), 0);
    EXPECT_EQ(offsetOf(list(0, {})), 0);
    EXPECT_EQ(offsetOf(list(1, {})), 0);
}

TEST(EditListOffset, TheFirstEditsMediaTimeIsTakenAway) {
    EXPECT_EQ(offsetOf(list(0, {{5000, 3003}})), -3003);
    EXPECT_EQ(offsetOf(list(1, {{5000, 3003}})), -3003);
    EXPECT_EQ(offsetOf(list(0, {{5000, 0}})), 0);
}

TEST(EditListOffset, AnEmptyEditInFrontIsAddedInTheTracksTicks) {
    EXPECT_EQ(offsetOf(list(0, {{500, -1}, {5000, 0}})), 45000);
    EXPECT_EQ(offsetOf(list(1, {{500, -1}, {5000, 3000}})), 42000);
}

TEST(EditListOffset, EmptyEditsInFrontAddUp) {
    EXPECT_EQ(offsetOf(list(0, {{500, -1}, {250, -1}, {5000, 7}})), 67500 - 7);
}

TEST(EditListOffset, OnlyEmptyEditsAddUpToo) {
    EXPECT_EQ(offsetOf(list(0, {{500, -1}, {250, -1}})), 67500);
}

TEST(EditListOffset, EditsBehindTheFirstThatIsNotEmptyAreNotLookedAt) {
    EXPECT_EQ(offsetOf(list(0, {{5000, 10}, {500, -1}, {5000, 90}})), -10);
}

TEST(EditListOffset, AMediaTimeBelowMinusOneIsATime) {
    EXPECT_EQ(offsetOf(list(0, {{5000, -2}})), 2);
    EXPECT_EQ(offsetOf(list(1, {{5000, -2}})), 2);
    EXPECT_EQ(offsetOf(list(0, {{5000, INT32_MIN}})), std::int64_t{1} << 31);
}

TEST(EditListOffset, TheVersionDecidesTheWidth) {
    const std::uint64_t duration = std::uint64_t{1} << 33;
    const std::int64_t mediaTime = std::int64_t{1} << 34;
    EXPECT_EQ(offsetOf(list(1, {{duration, -1}, {1, mediaTime}}), 1000, 1000),
              static_cast<std::int64_t>(duration) - mediaTime);
    // Of any other version, 32 bits.
    EXPECT_EQ(offsetOf(list(2, {{5000, 3003}})), -3003);
    EXPECT_EQ(offsetOf(list(0, {{0xFFFFFFFF, -1}, {1, 0}}), 1, 1), 0xFFFFFFFF);
}

TEST(EditListOffset, AnEditThatIsNotWholeEndsTheList) {
    for (const int version : {0, 1}) {
        Bytes elst = list(version, {{500, -1}, {5000, 3000}});
        EXPECT_EQ(offsetOf(elst), 42000);
        elst.resize(elst.size() - 1);
        EXPECT_EQ(offsetOf(elst), 45000);
    }
}

TEST(EditListOffset, NoMoreEditsThanStatedAreRead) {
    Bytes elst = list(0, {{500, -1}, {5000, 3000}});
    elst[7] = 1;
    EXPECT_EQ(offsetOf(elst), 45000);
    elst[7] = 0;
    EXPECT_EQ(offsetOf(elst), 0);
}

TEST(EditListOffset, AStatedNumberBeyondTheBoxIsHarmless) {
    Bytes elst = list(0, {{500, -1}});
    for (int i = 4; i < 8; ++i) elst[static_cast<std::size_t>(i)] = 0xFF;
    EXPECT_EQ(offsetOf(elst), 45000);
}

TEST(EditListOffset, EmptyEditsAreRoundedToTheNearestTick) {
    const struct {
        std::uint64_t duration;
        std::uint32_t movie, track;
        std::int64_t offset;
    } cases[] = {{1, 3, 1, 0},     {2, 3, 1, 1},         {3, 2, 1, 2},
                 {1, 2, 1, 1},     {1, 4, 1, 0},         {41, 1000, 90000, 3690},
                 {1, 3, 2, 1},     {7, 600, 30000, 350}, {1, 600, 1, 0},
                 {300, 600, 1, 1}, {299, 600, 1, 0}};
    for (const auto& [duration, movie, track, offset] : cases) {
        EXPECT_EQ(offsetOf(list(0, {{duration, -1}}), movie, track), offset)
            << duration << " of " << movie << " in " << track;
    }
}

TEST(EditListOffset, TheSumOfEmptyEditsIsRoundedOnce) {
    EXPECT_EQ(offsetOf(list(0, {{1, -1}, {1, -1}}), 3, 1), 1);
}

TEST(EditListOffset, WithoutATimeScaleEmptyEditsCountNothing) {
    EXPECT_EQ(offsetOf(list(0, {{500, -1}, {5000, 30}}), 0, 1000), -30);
    EXPECT_EQ(offsetOf(list(0, {{500, -1}, {5000, 30}}), 1000, 0), -30);
}

TEST(EditListOffset, NonsenseStaysInRange) {
    const std::int64_t most = std::int64_t{1} << 61;
    EXPECT_EQ(offsetOf(list(1, {{UINT64_MAX, -1}, {1, 0}})), most);
    EXPECT_EQ(offsetOf(list(1, {{UINT64_MAX, -1}, {UINT64_MAX, -1}, {1, 0}})), most);
    EXPECT_EQ(offsetOf(list(1, {{UINT64_MAX, -1}, {1, 0}}), 0xFFFFFFFF, 0xFFFFFFFF), most);
    EXPECT_EQ(offsetOf(list(1, {{UINT64_MAX, -1}, {1, 0}}), 0xFFFFFFFF, 1), 0x100000001);
    const std::uint64_t half = std::uint64_t{1} << 63;
    EXPECT_EQ(offsetOf(list(1, {{half, -1}, {half, -1}, {1, 0}})), most) << "and not 0";
    EXPECT_EQ(offsetOf(list(1, {{std::uint64_t{1} << 60, -1}, {1, 0}}), 1, 16), most);
    EXPECT_EQ(offsetOf(list(1, {{1, INT64_MAX}})), -most);
    EXPECT_EQ(offsetOf(list(1, {{1, INT64_MIN}})), most);
    EXPECT_EQ(offsetOf(list(1, {{UINT64_MAX, -1}, {1, INT64_MIN}})), 2 * most);
    EXPECT_EQ(offsetOf(list(1, {{std::uint64_t{1} << 61, -1}, {1, 0}}), 1, 1), most);
    EXPECT_EQ(offsetOf(list(1, {{(std::uint64_t{1} << 61) - 1, -1}, {1, 0}}), 1, 1), most - 1);
    EXPECT_EQ(offsetOf(list(1, {{1, most - 1}})), 1 - most);
}

} // namespace
} // namespace velkantrix
