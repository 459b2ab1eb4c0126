#include "mp4/keyframe_table.h"

#include <numeric>

#include <gtest/gtest.h>

#include "tests/support/box_builder.h"
#include "tests/support/mp4_boxes.h"

namespace velkantrix {
namespace {

constexpr std::uint32_t MOST = 0xFFFFFFFF;

VideoTrackIndex build(const Bytes& stbl, std::uint32_t timescale = 600) {
    VideoTrackIndex track;
    BuildKeyframeTable(stbl.vector(), timescale, track);
    return track;
}

RandomAccessTable tableOf(const std::vector<Bytes>& boxes) {
    Bytes stbl;
    for (const Bytes& each : boxes) stbl.add(each);
    return build(stbl).randomAccess;
}

RandomAccessEntry entry(std::uint64_t time, std::uint64_t offset, std::uint32_t size) {
    return {time, offset, size, 1, 1, 1};
}

TEST(BuildKeyframeTable, EachSyncSampleHasItsTimeOffsetAndSize) {
    const VideoTrackIndex track =
        build(join({stsd(avc1(64, 36)), stts({{3, 10}, {2, 5}}), stss({1, 4}),
                    stsz({100, 200, 300, 400, 500}), stsc({{1, 2}, {2, 3}}), stco({1000, 2000})}));
    EXPECT_EQ(track.randomAccess, (RandomAccessTable{entry(0, 1000, 100), entry(30, 2300, 400)}));
    EXPECT_EQ(track.timescale, 600u);
    EXPECT_EQ(track.width, 64u);
    EXPECT_EQ(track.height, 36u);
    EXPECT_EQ(track.avcConfig, avcRecord().vector());
}

TEST(BuildKeyframeTable, EntriesAreAppended) {
    const Bytes stbl =
        join({stts({{1, 10}}), stss({1}), stsz({100}), stsc({{1, 1}}), stco({1000})});
    VideoTrackIndex track;
    track.randomAccess = {entry(99, 98, 97)};
    BuildKeyframeTable(stbl.vector(), 600, track);
    EXPECT_EQ(track.randomAccess, (RandomAccessTable{entry(99, 98, 97), entry(0, 1000, 100)}));
}

TEST(BuildKeyframeTable, WithoutOneOfTheTablesOnlyTheSampleEntryIsRead) {
    const std::vector<Bytes> needed = {stts({{1, 10}}), stss({1}), stsz({100}), stsc({{1, 1}}),
                                       stco({1000})};
    for (std::size_t missing = 0; missing < needed.size(); ++missing) {
        Bytes stbl = stsd(avc1(64, 36));
        for (std::size_t i = 0; i < needed.size(); ++i) {
            if (i != missing) stbl.add(needed[i]);
        }
        const VideoTrackIndex track = build(stbl);
        EXPECT_TRUE(track.randomAccess.empty()) << missing;
        EXPECT_EQ(track.timescale, 0u) << missing;
        EXPECT_EQ(track.width, 64u) << missing;
    }
}

TEST(BuildKeyframeTable, WithoutASampleEntryTheTableIsBuiltAllTheSame) {
    EXPECT_EQ(tableOf({stts({{1, 10}}), stss({1}), stsz({100}), stsc({{1, 1}}), co64({1000})}),
              RandomAccessTable{entry(0, 1000, 100)});
    EXPECT_EQ(tableOf({box("stsd", Bytes().fill(8)), stts({{1, 10}}), stss({1}), stsz({100}),
                       stsc({{1, 1}}), stco({1000})}),
              RandomAccessTable{entry(0, 1000, 100)});
}

TEST(BuildKeyframeTable, ALaterTableReplacesAnEarlierOne) {
    EXPECT_EQ(tableOf({stts({{1, 10}}), stss({1}), stsz({100}), stsc({{1, 1}}), stco({1000}),
                       stts({{2, 7}}), stss({2}), stsz({30, 40}), stsc({{1, 2}}), stco({50})}),
              RandomAccessTable{entry(7, 80, 40)});
}

TEST(BuildKeyframeTable, SyncNumbersOfNoSampleAreSkipped) {
    EXPECT_EQ(tableOf({stts({{3, 10}}), stss({0, 1, 3, 4, MOST}), stsz({1, 2, 3}), stsc({{1, 3}}),
                       stco({100})}),
              (RandomAccessTable{entry(0, 100, 1), entry(20, 103, 3)}));
}

TEST(BuildKeyframeTable, SyncNumbersOutOfOrderAndRepeatedAllHaveEntries) {
    EXPECT_EQ(tableOf({stts({{3, 10}}), stss({3, 1, 3, 2}), stsz({1, 2, 3}), stsc({{1, 3}}),
                       stco({100})}),
              (RandomAccessTable{entry(0, 100, 1), entry(10, 101, 2), entry(20, 103, 3),
                                 entry(20, 103, 3)}));
}

TEST(BuildKeyframeTable, SyncNumbersEndWithTheirBox) {
    Bytes cut = withoutHeader(stss({1, 2, 3}));
    cut.resize(cut.size() - 1);
    EXPECT_EQ(
        tableOf({stts({{3, 10}}), box("stss", cut), stsz({1, 2, 3}), stsc({{1, 3}}), stco({100})}),
        (RandomAccessTable{entry(0, 100, 1), entry(10, 101, 2)}));
}

TEST(BuildKeyframeTable, TheTimeBehindTheLastOneIsTheTotalAndFurtherOnesAreZero) {
    EXPECT_EQ(
        tableOf({stts({{2, 10}}), stss({2, 3, 4}), stszUniform(5, 4), stsc({{1, 4}}), stco({100})}),
        (RandomAccessTable{entry(10, 105, 5), entry(20, 110, 5), entry(0, 115, 5)}));
}

TEST(BuildKeyframeTable, TimesBeyondTheSampleCountDoNotMatter) {
    EXPECT_EQ(tableOf({stts({{MOST, 10}, {MOST, 11}}), stss({2}), stszUniform(5, 2), stsc({{1, 4}}),
                       stco({100})}),
              RandomAccessTable{entry(10, 105, 5)});
}

TEST(BuildKeyframeTable, TimesEndAtTheFirstEntryThatPassesTheBox) {
    Bytes cut = withoutHeader(stts({{1, 10}, {2, 7}}));
    cut.resize(cut.size() - 1);
    EXPECT_EQ(tableOf({box("stts", cut), stss({1, 2, 3}), stszUniform(5, 3), stsc({{1, 4}}),
                       stco({100})}),
              (RandomAccessTable{entry(0, 100, 5), entry(10, 105, 5), entry(0, 110, 5)}));
}

TEST(BuildKeyframeTable, ASizeBeyondTheBoxIsZero) {
    EXPECT_EQ(tableOf({stts({{3, 10}}), stss({1, 2, 3}),
                       fullBox("stsz", 0, 0, Bytes().u32(0).u32(3).u32(50)), stsc({{1, 3}}),
                       stco({100})}),
              (RandomAccessTable{entry(0, 100, 50), entry(10, 150, 0), entry(20, 150, 0)}));
}

TEST(BuildKeyframeTable, OneSizeForAllHidesTheSizes) {
    EXPECT_EQ(tableOf({stts({{2, 10}}), stss({2}),
                       fullBox("stsz", 0, 0, Bytes().u32(9).u32(2).u32(50).u32(60)), stsc({{1, 2}}),
                       stco({100})}),
              RandomAccessTable{entry(10, 109, 9)});
}

TEST(BuildKeyframeTable, SamplesOfNoChunkHaveOffsetZero) {
    EXPECT_EQ(tableOf({stts({{3, 10}}), stss({1, 3}), stszUniform(5, 3), stsc({{1, 1}}),
                       stco({100, 200})}),
              (RandomAccessTable{entry(0, 100, 5), entry(20, 0, 5)}));
}

TEST(BuildKeyframeTable, AnEntryWithFirstChunkZeroSkipsChunkZeroOnly) {
    EXPECT_EQ(tableOf({stts({{3, 10}}), stss({1, 2, 3}), stszUniform(5, 3), stsc({{0, 1}}),
                       stco({100, 200})}),
              (RandomAccessTable{entry(0, 100, 5), entry(10, 200, 5), entry(20, 0, 5)}));
}

TEST(BuildKeyframeTable, AnEntryOfChunkZeroAloneProducesNoOffsets) {
    EXPECT_EQ(tableOf({stts({{3, 10}}), stss({1, 2}), stszUniform(5, 2), stsc({{0, 7}, {1, 1}}),
                       stco({100, 200})}),
              (RandomAccessTable{entry(0, 100, 5), entry(10, 200, 5)}));
}

TEST(BuildKeyframeTable, NoSamplesHaveNoEntries) {
    EXPECT_TRUE(
        tableOf({stts({{3, 10}}), stss({0, 1}), stsz({}), stsc({{1, 1}}), stco({100})}).empty());
}

TEST(BuildKeyframeTable, EmptyBoxesMakeAnEmptyTableWithATimescale) {
    const VideoTrackIndex track =
        build(join({box("stts"), box("stss"), box("stsz"), box("stsc"), box("stco")}));
    EXPECT_TRUE(track.randomAccess.empty());
    EXPECT_EQ(track.timescale, 600u);
}

// What a few bytes claim must cost neither minutes nor gigabytes.

TEST(BuildKeyframeTable, TheMostSamplesOfOneSizeCostNothing) {
    EXPECT_EQ(tableOf({stts({{MOST, 3}}), stss({1, MOST}), stszUniform(2, MOST), stsc({{1, MOST}}),
                       stco({100})}),
              (RandomAccessTable{entry(0, 100, 2), entry(std::uint64_t{MOST - 1} * 3,
                                                         100 + std::uint64_t{MOST - 1} * 2, 2)}));
}

TEST(BuildKeyframeTable, TheMostSamplesWithoutSizesCostNothing) {
    EXPECT_EQ(
        tableOf({stts({{MOST, 3}}), stss({MOST}), fullBox("stsz", 0, 0, Bytes().u32(0).u32(MOST)),
                 stsc({{1, MOST}}), stco({100})}),
        RandomAccessTable{entry(std::uint64_t{MOST - 1} * 3, 100, 0)});
}

TEST(BuildKeyframeTable, ChunksPastTheBoxCostNothing) {
    const Bytes chunks = fullBox("stco", 0, 0, Bytes().u32(MOST).u32(100));
    for (const std::uint32_t samplesPerChunk : {1u, 2u, MOST}) {
        const RandomAccessTable table =
            tableOf({stts({{MOST, 1}}), stss({1, MOST}), stszUniform(1, MOST),
                     stsc({{1, samplesPerChunk}}), chunks});
        ASSERT_EQ(table.size(), 2u);
        EXPECT_EQ(table[0].offset, 100u);
        EXPECT_EQ(table[1].time, MOST - 1);
    }
    EXPECT_EQ(
        tableOf({stts({{MOST, 1}}), stss({1, MOST}), stszUniform(1, MOST), stsc({{1, 0}}), chunks}),
        (RandomAccessTable{entry(0, 0, 1), entry(MOST - 1, 0, 1)}));
}

TEST(BuildKeyframeTable, ManyEntriesOverAllChunksCostNothing) {
    const Bytes chunks = fullBox("stco", 0, 0, Bytes().u32(MOST).u32(100));
    std::vector<std::vector<std::uint32_t>> openEnded;
    for (int i = 0; i < 10'000; ++i) openEnded.push_back({0, 0});
    openEnded.push_back({1, 1});
    EXPECT_EQ(
        tableOf({stts({{MOST, 1}}), stss({1, 2}), stszUniform(1, MOST), stsc(openEnded), chunks}),
        (RandomAccessTable{entry(0, 100, 1), entry(1, 0, 1)}));
}

TEST(BuildKeyframeTable, ManySyncSamplesOfOneChunkAreOneWalk) {
    // Summing up the chunk for each of them would take 2 * 10^10 steps.
    constexpr std::uint32_t COUNT = 200'000;
    std::vector<std::uint32_t> every(COUNT);
    std::iota(every.begin(), every.end(), 1u);
    const RandomAccessTable table =
        tableOf({stts({{COUNT, 1}}), stss(every), stsz(std::vector<std::uint32_t>(COUNT, 3)),
                 stsc({{1, COUNT}}), stco({100})});
    ASSERT_EQ(table.size(), COUNT);
    EXPECT_EQ(table.back(), entry(COUNT - 1, 100 + std::uint64_t{COUNT - 1} * 3, 3));
}

TEST(BuildKeyframeTable, ManyTimeEntriesAreOneWalk) {
    constexpr std::uint32_t COUNT = 200'000;
    std::vector<std::uint32_t> every(COUNT);
    std::iota(every.begin(), every.end(), 1u);
    const RandomAccessTable table = tableOf(
        {stts(std::vector<std::vector<std::uint32_t>>(COUNT, {1, 2})), stss(every),
         stszUniform(3, COUNT), stsc({{1, 1}}), stco(std::vector<std::uint32_t>(COUNT, 7))});
    ASSERT_EQ(table.size(), COUNT);
    EXPECT_EQ(table.back(), entry((COUNT - 1) * 2, 7, 3));
}

} // namespace
} // namespace velkantrix
