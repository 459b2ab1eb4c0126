// Where the table of a recording names few of its keyframes, or names pictures that are none.
#include <algorithm>
#include <cstdint>
#include <optional>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/playback/source_track_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

// Three keyframes 200 ms apart in one fragment, of which the table names the first one only, then a
// fragment that begins in the middle of the third one's group, which the table names too.
class UnnamedKeyframesTest : public SourceTrackTest {
protected:
    UnnamedKeyframesTest() {
        const auto sample = [](std::uint32_t number, bool sync) {
            return FragmentSample{picture(number, sync), 100, sync};
        };
        const Bytes begin = join({ftyp(), box("moov", trak(1, 1000, "vide", stsd(avc1(64, 48))))});
        const Bytes first = fragment(0, {sample(0, true), sample(1, false), sample(2, true),
                                         sample(3, false), sample(4, true)});
        const Bytes second = fragment(500, {sample(5, false), sample(6, false), sample(7, true)});
        use(join({begin, first, second,
                  mfra(tfra(1, {{0, begin.size()}, {500, begin.size() + first.size()}}))}));
    }
};

TEST_F(UnnamedKeyframesTest, AStartFindsTheLastOneBeforeItsPosition) {
    ASSERT_TRUE(track.openVideo(file->path()));
    EXPECT_EQ(firstAt(0), 0);
    EXPECT_EQ(firstAt(199 * MS), 0);
    EXPECT_EQ(firstAt(200 * MS), 200);
    EXPECT_EQ(firstAt(399 * MS), 200);
    EXPECT_EQ(firstAt(400 * MS), 400);
    EXPECT_EQ(firstAt(500 * MS), 400); // though the table names what begins here
    EXPECT_EQ(firstAt(699 * MS), 400);
    EXPECT_EQ(firstAt(700 * MS), 700); // in the next fragment
    EXPECT_EQ(firstAt(9000 * MS), 700);
}

TEST_F(UnnamedKeyframesTest, WhatIsReadFromThereIsWholeAndBeginsWithParameterSets) {
    ASSERT_TRUE(track.openVideo(file->path()));
    ASSERT_TRUE(track.start(650 * MS, never));
    TrackSample sample;
    ASSERT_EQ(track.read(sample, never), TrackRead::Sample);
    EXPECT_EQ(sample.time, 400 * MS);
    EXPECT_TRUE(sample.keyframe);
    EXPECT_EQ(sample.data[4], 0x67);
    EXPECT_THAT(rest(), ElementsAre(500, 600, 700));
    EXPECT_EQ(last, TrackRead::End);
}

TEST_F(UnnamedKeyframesTest, AStartCanBeGoneBackTo) {
    EXPECT_FALSE(track.startAgain()) << "nothing is open";
    ASSERT_TRUE(track.openVideo(file->path()));
    for (const Ticks position : {250 * MS, 650 * MS, 700 * MS}) {
        ASSERT_TRUE(track.start(position, never));
        TrackSample first;
        ASSERT_EQ(track.read(first, never), TrackRead::Sample);
        const std::vector<Ticks> behind = rest();
        ASSERT_TRUE(track.startAgain());
        TrackSample again;
        ASSERT_EQ(track.read(again, never), TrackRead::Sample);
        EXPECT_EQ(again.time, first.time);
        EXPECT_EQ(again.data, first.data) << "with parameter sets";
        EXPECT_EQ(rest(), behind);
        EXPECT_EQ(last, TrackRead::End);
    }
}

TEST_F(UnnamedKeyframesTest, PicturesArePassedOverUntilNobodyWantsToAnyMore) {
    ASSERT_TRUE(track.openVideo(file->path()) && track.start(400 * MS, never));
    const auto gone = [] {
        return true;
    };
    EXPECT_EQ(track.pass(gone), 400 * MS);
    EXPECT_EQ(track.pass(gone), std::nullopt) << "the next fragment isn't loaded";
    EXPECT_EQ(track.pass(never), 500 * MS);
}

// A fragment for each picture, all of them named; few of them are keyframes.
class FewKeyframesTest : public SourceTrackTest {
protected:
    static constexpr std::uint32_t PICTURES = 300;

    void useKeyframesAt(const std::vector<std::uint32_t>& keyframes) {
        Bytes content = fragmentedStart();
        std::vector<TfraEntry> table;
        for (std::uint32_t i = 0; i < PICTURES; ++i) {
            const bool sync = std::ranges::find(keyframes, i) != keyframes.end();
            const Bytes piece = fragment(i * 100, {{picture(i, sync), 100, sync}});
            table.push_back({i * 100, append(content, piece)});
            offsets.push_back(table.back().moof);
        }
        use(join({content, mfra(tfra(1, table))}));
        ASSERT_TRUE(track.openVideo(file->path()));
    }

    void spoilFragment(std::uint32_t number) {
        constexpr std::uint64_t TYPE_OF_BOX = 4; // bytes into it
        file->write(offsets[number] + TYPE_OF_BOX, Bytes().text("free"));
    }

    std::vector<std::uint64_t> offsets; // of the fragments
};

// Fragments of a second, cut where the second ends: keyframes are in the middle of some.
class KeyframesOffTheGridTest : public SourceTrackTest {
protected:
    static constexpr std::uint32_t FRAGMENTS = 200;

    KeyframesOffTheGridTest() {
        Bytes content = fragmentedStart();
        std::vector<TfraEntry> table;
        for (std::uint32_t i = 0; i < FRAGMENTS; ++i) {
            std::vector<FragmentSample> samples;
            for (std::uint32_t j = 0; j < 10; ++j) {
                const bool sync = i == 0 ? j == 0 : i % 4 == 1 && j == 5;
                samples.push_back({picture(i * 10 + j, sync), 100, sync});
            }
            table.push_back({i * 1000, append(content, fragment(i * 1000, samples))});
        }
        use(join({content, mfra(tfra(1, table))}));
    }
};

TEST_F(KeyframesOffTheGridTest, AStartFindsTheLastOneAndReadsNoMoreThanTheWayToIt) {
    ASSERT_TRUE(track.openVideo(file->path()));
    for (const std::uint32_t second : {1u, 50u, 101u, 199u}) {
        int asked = 0;
        ASSERT_TRUE(track.start(second * 1000 * MS, [&] { return ++asked < 0; }));
        EXPECT_LE(asked, 30) << second;
    }
    EXPECT_EQ(firstAt(1'499 * MS), 0);
    EXPECT_EQ(firstAt(1'500 * MS), 1'500);
    EXPECT_EQ(firstAt(5'499 * MS), 1'500);
    EXPECT_EQ(firstAt(199'900 * MS), 197'500);
}

TEST_F(FewKeyframesTest, AStartGoesBackToOneHoweverFarItIs) {
    useKeyframesAt({0, 180});
    for (const std::uint32_t picture : {64u, 65u, 66u, 129u, 179u})
        EXPECT_EQ(firstAt(picture * 100 * MS), 0) << picture;
    for (const std::uint32_t picture : {180u, 181u, 245u, 299u, 9000u})
        EXPECT_EQ(firstAt(picture * 100 * MS), 18'000) << picture;
}

TEST_F(FewKeyframesTest, WhereThereIsNoneInFrontItIsTheFirstOneBehind) {
    useKeyframesAt({200, 201});
    for (const std::uint32_t picture : {0u, 1u, 70u, 199u, 200u})
        EXPECT_EQ(firstAt(picture * 100 * MS), 20'000) << picture;
    EXPECT_EQ(firstAt(20'100 * MS), 20'100);
}

TEST_F(FewKeyframesTest, WithoutAnyItBeginsWhereTheTableSays) {
    useKeyframesAt({});
    EXPECT_EQ(firstAt(15'000 * MS), 15'000);
    EXPECT_EQ(firstAt(0), 0);
    int asked = 0;
    ASSERT_TRUE(track.start(29'900 * MS, [&] { return ++asked < 0; }));
    EXPECT_LE(asked, 3) << "it is known by now";
}

TEST_F(FewKeyframesTest, WhatCantBeReadOnTheWayBackHidesNothingInFrontOfIt) {
    useKeyframesAt({0, 180});
    for (const std::uint32_t spoiled : {86u, 149u}) {
        spoilFragment(spoiled);
        EXPECT_EQ(firstAt(15'000 * MS), 0) << spoiled;
    }
    spoilFragment(150);
    EXPECT_EQ(firstAt(15'000 * MS), std::nullopt) << "the place itself";
}

TEST_F(FewKeyframesTest, AKeyframeThatCantBeReadIsNotTheOneBehindIt) {
    useKeyframesAt({1, 180});
    EXPECT_EQ(firstAt(15'000 * MS), 100);
    spoilFragment(1);
    EXPECT_EQ(firstAt(15'000 * MS), std::nullopt);
    EXPECT_EQ(firstAt(18'000 * MS), 18'000);
}

TEST_F(FewKeyframesTest, TheWayBackEndsWhenNobodyWantsItAnyMore) {
    useKeyframesAt({0});
    int asked = 0;
    EXPECT_FALSE(track.start(29'900 * MS, [&] { return ++asked > 2; }));
    EXPECT_EQ(asked, 3);
}

TEST_F(UnnamedKeyframesTest, TheSearchEndsWhenNobodyWantsItAnyMore) {
    ASSERT_TRUE(track.openVideo(file->path()));
    EXPECT_FALSE(track.start(500 * MS, [] { return true; }));
}

} // namespace
} // namespace velkantrix
