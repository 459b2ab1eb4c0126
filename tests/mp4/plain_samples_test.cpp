#include "mp4/plain_samples.h"

#include <gtest/gtest.h>

#include "tests/support/plain_file.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

constexpr std::uint32_t MOST = 0xFFFFFFFF;
constexpr std::int64_t LATEST = INT64_MAX;

class PlainSamplesTest : public testing::Test {
protected:
    // A file whose video track has these children in its stbl.
    bool openWith(const Bytes& stbl, const Bytes& edts = {}, std::uint64_t fileBytes = 8000) {
        file_.emplace(plainFile(stbl, edts));
        file_->resize(fileBytes);
        return samples.open(file_->path());
    }

    std::vector<PlainSample> rest() {
        std::vector<PlainSample> all;
        PlainSample sample;
        while ((end = samples.next(sample)) == WalkOutcome::Sample && all.size() < 100'000) {
            all.push_back(sample);
        }
        return all;
    }

    // The sample that comes next, by its decode time; -1: none.
    std::int64_t nextTime() {
        PlainSample sample;
        return samples.next(sample) == WalkOutcome::Sample ? sample.dts : -1;
    }

    std::int64_t timeAfterSeek(std::int64_t pts) {
        EXPECT_TRUE(samples.seekToSync(pts)) << pts;
        return nextTime();
    }

    PlainSamples samples;
    WalkOutcome end = WalkOutcome::Sample;

private:
    std::optional<TempFile> file_;
};

// Three pictures, the second shown last, in two chunks.
Bytes threeSamples() {
    return join({stts({{2, 10}, {1, 20}}), ctts({{1, 5}, {1, 40}, {1, 0xFFFFFFF6}}), stss({1, 3}),
                 stsz({100, 200, 300}), stsc({{1, 2}, {2, 1}}), stco({1000, 2000})});
}

TEST_F(PlainSamplesTest, EverySampleIsHandedOutInDecodeOrder) {
    ASSERT_TRUE(openWith(threeSamples()));
    EXPECT_EQ(rest(), (std::vector<PlainSample>{{1000, 100, 5, 0, 10, true},
                                                {1100, 200, 50, 10, 10, false},
                                                {2000, 300, 10, 20, 20, true}}));
    EXPECT_EQ(end, WalkOutcome::End);
}

TEST_F(PlainSamplesTest, WhatIsKnownOfTheTrackIsTold) {
    ASSERT_TRUE(openWith(threeSamples()));
    EXPECT_EQ(samples.timescale(), 600u);
    EXPECT_EQ(samples.trackId(), 3u);
    EXPECT_EQ(samples.sampleCount(), 3u);
    EXPECT_EQ(samples.editOffset(), 0);
    std::uint8_t type[4] = {};
    ASSERT_TRUE(ReadAt(samples.file(), 4, type, 4));
    EXPECT_EQ(type[0], 'f');
}

TEST_F(PlainSamplesTest, BehindTheEndTheSampleIsUntouched) {
    ASSERT_TRUE(openWith(threeSamples()));
    rest();
    PlainSample sample{1, 2, 3, 4, 5, true};
    for (int i = 0; i < 3; ++i) EXPECT_EQ(samples.next(sample), WalkOutcome::End);
    EXPECT_EQ(sample, (PlainSample{1, 2, 3, 4, 5, true}));
}

TEST_F(PlainSamplesTest, WithoutCompositionOffsetsTimesAreDecodeTimes) {
    ASSERT_TRUE(
        openWith(join({stts({{2, 10}}), stss({1}), stsz({1, 1}), stsc({{1, 2}}), stco({100})})));
    EXPECT_EQ(rest(),
              (std::vector<PlainSample>{{100, 1, 0, 0, 10, true}, {101, 1, 10, 10, 10, false}}));
}

TEST_F(PlainSamplesTest, BehindTheCompositionOffsetsTimesAreDecodeTimes) {
    ASSERT_TRUE(openWith(join({stts({{3, 10}}), ctts({{1, 7}}), stss({1}), stsz({1, 1, 1}),
                               stsc({{1, 3}}), stco({100})})));
    const std::vector<PlainSample> all = rest();
    ASSERT_EQ(all.size(), 3u);
    EXPECT_EQ(all[0].pts, 7);
    EXPECT_EQ(all[1].pts, 10);
    EXPECT_EQ(all[2].pts, 20);
    EXPECT_EQ(end, WalkOutcome::Failed);
}

TEST_F(PlainSamplesTest, WithoutSyncTableEverySampleIsSync) {
    ASSERT_TRUE(openWith(join({stts({{2, 10}}), stsz({1, 1}), stsc({{1, 2}}), stco({100})})));
    const std::vector<PlainSample> all = rest();
    ASSERT_EQ(all.size(), 2u);
    EXPECT_TRUE(all[0].sync && all[1].sync);
}

TEST_F(PlainSamplesTest, SyncNumbersMayBeUnorderedRepeatedAndOfNoSample) {
    ASSERT_TRUE(openWith(join({stts({{4, 10}}), stss({4, 0, 2, 2, 5, MOST}), stsz({1, 1, 1, 1}),
                               stsc({{1, 4}}), stco({100})})));
    const std::vector<PlainSample> all = rest();
    ASSERT_EQ(all.size(), 4u);
    EXPECT_FALSE(all[0].sync);
    EXPECT_TRUE(all[1].sync);
    EXPECT_FALSE(all[2].sync);
    EXPECT_TRUE(all[3].sync);
    EXPECT_EQ(end, WalkOutcome::Failed);
}

TEST_F(PlainSamplesTest, BehindTheTimesSamplesHaveTheTotal) {
    ASSERT_TRUE(openWith(join({stts({{1, 10}}), ctts({{3, 5}}), stss({1}), stsz({1, 1, 1}),
                               stsc({{1, 3}}), stco({100})})));
    EXPECT_EQ(rest(), (std::vector<PlainSample>{{100, 1, 5, 0, 10, true},
                                                {101, 1, 15, 10, 0, false},
                                                {102, 1, 15, 10, 0, false}}));
    EXPECT_EQ(end, WalkOutcome::Failed);
}

TEST_F(PlainSamplesTest, ATrackOfNoSamplesEndsAtOnce) {
    ASSERT_TRUE(openWith(join({stts({}), stsz({}), stsc({}), stco({})})));
    EXPECT_TRUE(rest().empty());
    EXPECT_EQ(end, WalkOutcome::End);
    EXPECT_FALSE(samples.seekToSync(0));
}

TEST_F(PlainSamplesTest, NotOpenedItFailsAtOnce) {
    EXPECT_TRUE(rest().empty());
    EXPECT_EQ(end, WalkOutcome::Failed);
    EXPECT_FALSE(samples.seekToSync(0));
}

// Its samples are in fragments, of which the first one's header may be spoiled.
TEST_F(PlainSamplesTest, AFileThatSaysThatItIsFragmentedIsNotOpened) {
    const auto opens = [&](const Bytes& sizes) {
        const Bytes stbl = join({stts({}), sizes, stsc({}), stco({})});
        const Bytes children = join({mvhd(1000), trak(3, 600, "vide", stbl), box("mvex")});
        const TempFile file(join({ftyp(), box("moov", children)}));
        return PlainSamples().open(file.path());
    };
    EXPECT_FALSE(opens(stsz({})));
    EXPECT_TRUE(opens(stsz({1})));
}

// A recording that is cut off, its tables in front.
TEST_F(PlainSamplesTest, ASampleBeyondTheFileIsAFailure) {
    ASSERT_TRUE(openWith(threeSamples(), {}, 2300));
    EXPECT_EQ(rest().size(), 3u);
    EXPECT_EQ(end, WalkOutcome::End);
    ASSERT_TRUE(openWith(threeSamples(), {}, 2299));
    EXPECT_EQ(rest().size(), 2u);
    EXPECT_EQ(end, WalkOutcome::Failed);
}

// Samples that each claim the whole file would take time by the square of its length.
TEST_F(PlainSamplesTest, SamplesMayReadAFileFourTimesOver) {
    for (const std::uint32_t count : {4u, 5u}) {
        const Bytes stbl = join({stts({{count, 1}}), stsz(std::vector<std::uint32_t>(count, 1000)),
                                 stsc({{1, 1}}), stco(std::vector<std::uint32_t>(count, 0))});
        ASSERT_TRUE(openWith(stbl, {}, 1000));
        for (int seek = 0; seek < 2; ++seek) {
            EXPECT_EQ(rest().size(), 4u);
            EXPECT_EQ(end, count == 4 ? WalkOutcome::End : WalkOutcome::Failed);
            samples.seekToStart();
        }
    }
}

// Not a byte more: nothing is left for the last one.
TEST_F(PlainSamplesTest, OneByteMoreThanFourTimesTheFileIsTooMuch) {
    const Bytes stbl = join(
        {stts({{5, 1}}), stsz({1000, 1000, 1000, 1000, 1}), stsc({{1, 1}}), stco({0, 0, 0, 0, 0})});
    ASSERT_TRUE(openWith(stbl, {}, 1000));
    EXPECT_EQ(rest().size(), 4u);
    EXPECT_EQ(end, WalkOutcome::Failed);
}

TEST_F(PlainSamplesTest, OpenNeedsTheTables) {
    const std::vector<Bytes> needed = {stts({{1, 10}}), stsz({100}), stsc({{1, 1}}), stco({1000})};
    for (std::size_t missing = 0; missing < needed.size(); ++missing) {
        Bytes stbl = stss({1});
        for (std::size_t i = 0; i < needed.size(); ++i) {
            if (i != missing) stbl.add(needed[i]);
        }
        EXPECT_FALSE(openWith(stbl)) << missing;
        EXPECT_EQ(samples.timescale(), 0u) << missing;
    }
    EXPECT_TRUE(openWith(join({needed[0], needed[1], needed[2], co64({1000})})));
}

TEST_F(PlainSamplesTest, OpenNeedsAPlainFileWithAVideoTrack) {
    EXPECT_FALSE(samples.open(std::filesystem::path("no/such/file.mp4")));
    EXPECT_FALSE(samples.open(TempFile().path()));
    EXPECT_FALSE(samples.open(TempFile(ftyp()).path()));
    const Bytes sound = box("moov", trak(1, 600, "soun", threeSamples()));
    EXPECT_FALSE(samples.open(TempFile(join({ftyp(), sound})).path()));
    const Bytes untimed = box("moov", trak(1, 0, "vide", threeSamples()));
    EXPECT_FALSE(samples.open(TempFile(join({ftyp(), untimed})).path()));
    const Bytes bare = box("mdia", join({mdhd(600), hdlr("vide"), box("minf")}));
    EXPECT_FALSE(samples.open(TempFile(join({ftyp(), box("moov", box("trak", bare))})).path()));
    EXPECT_TRUE(samples.open(TempFile(plainFile(threeSamples())).path()));
    EXPECT_FALSE(samples.open(TempFile(join({plainFile(threeSamples()), box("moof")})).path()));
    EXPECT_FALSE(samples.file());
}

TEST_F(PlainSamplesTest, OpeningAgainStartsAnew) {
    ASSERT_TRUE(openWith(threeSamples(), elst({{1, 7}})));
    rest();
    ASSERT_TRUE(openWith(join({stts({{1, 9}}), stsz({1}), stsc({{1, 1}}), stco({77})})));
    EXPECT_EQ(rest(), (std::vector<PlainSample>{{77, 1, 0, 0, 9, true}}));
    EXPECT_EQ(samples.editOffset(), 0);
}

TEST_F(PlainSamplesTest, TheEditListTellsTheOffset) {
    ASSERT_TRUE(openWith(threeSamples(), elst({{500, 0xFFFFFFFF}, {9000, 20}})));
    EXPECT_EQ(samples.editOffset(), 300 - 20);
    EXPECT_EQ(rest().front().pts, 5);
}

TEST_F(PlainSamplesTest, SamplesWithoutASizeFail) {
    ASSERT_TRUE(openWith(join({stts({{9, 10}}), stss({1}),
                               fullBox("stsz", 0, 0, Bytes().u32(0).u32(3).u32(1).u32(2)),
                               stsc({{1, 9}}), stco({100})})));
    EXPECT_EQ(rest().size(), 2u);
    EXPECT_EQ(end, WalkOutcome::Failed);
    PlainSample sample{1, 2, 3, 4, 5, true};
    EXPECT_EQ(samples.next(sample), WalkOutcome::Failed);
    EXPECT_EQ(sample, (PlainSample{1, 2, 3, 4, 5, true}));
}

TEST_F(PlainSamplesTest, SamplesOfNoChunkFail) {
    ASSERT_TRUE(
        openWith(join({stts({{3, 10}}), stsz({1, 1, 1}), stsc({{1, 1}}), stco({100, 200})})));
    EXPECT_EQ(rest().size(), 2u);
    EXPECT_EQ(end, WalkOutcome::Failed);
}

TEST_F(PlainSamplesTest, SamplesOfAChunkWhosePlaceIsMissingFail) {
    ASSERT_TRUE(openWith(join({stts({{3, 10}}), stsz({1, 1, 1}), stsc({{1, 1}}),
                               fullBox("stco", 0, 0, Bytes().u32(3).u32(100).u32(200))})));
    EXPECT_EQ(rest().size(), 2u);
    EXPECT_EQ(end, WalkOutcome::Failed);
}

TEST_F(PlainSamplesTest, EmptySamplesAreSamples) {
    ASSERT_TRUE(openWith(join({stts({{2, 10}}), stsz({0, 5}), stsc({{1, 2}}), stco({100})})));
    EXPECT_EQ(rest(),
              (std::vector<PlainSample>{{100, 0, 0, 0, 10, true}, {100, 5, 10, 10, 10, true}}));
}

TEST_F(PlainSamplesTest, EqualSamplesMayFillTheFileButNoMore) {
    const Bytes stbl = join({stts({{5, 10}}), stszUniform(1000, 5), stsc({{1, 9}}), stco({0})});
    TempFile file(plainFile(stbl));
    file.resize(5000);
    ASSERT_TRUE(samples.open(file.path()));
    EXPECT_EQ(rest().size(), 5u);
    EXPECT_EQ(end, WalkOutcome::End);
    file.resize(4999);
    ASSERT_TRUE(samples.open(file.path()));
    EXPECT_EQ(rest().size(), 4u);
    EXPECT_EQ(end, WalkOutcome::Failed);
    // A seek begins the count again.
    samples.seekToStart();
    EXPECT_EQ(rest().size(), 4u);
    EXPECT_EQ(end, WalkOutcome::Failed);
}

TEST_F(PlainSamplesTest, TheMostEqualSamplesInASmallFileFailSoon) {
    ASSERT_TRUE(
        openWith(join({stts({{MOST, 1}}), stszUniform(1, MOST), stsc({{1, MOST}}), stco({0})})));
    EXPECT_EQ(rest().size(), samples.file().size);
    EXPECT_EQ(end, WalkOutcome::Failed);
}

TEST_F(PlainSamplesTest, TheMostSamplesWithoutSizesFailSoon) {
    ASSERT_TRUE(openWith(join({stts({{MOST, 1}}), fullBox("stsz", 0, 0, Bytes().u32(0).u32(MOST)),
                               stsc({{1, MOST}}), stco({0})})));
    EXPECT_TRUE(rest().empty());
    EXPECT_EQ(end, WalkOutcome::Failed);
    EXPECT_FALSE(samples.seekToSync(0)) << "no sample has a size";
}

TEST_F(PlainSamplesTest, StartingAgainHandsOutTheSame) {
    ASSERT_TRUE(openWith(threeSamples()));
    const std::vector<PlainSample> all = rest();
    samples.seekToStart();
    EXPECT_EQ(rest(), all);
}

TEST_F(PlainSamplesTest, SeekingGoesToTheLastSyncSampleAtOrBefore) {
    ASSERT_TRUE(openWith(join({stts({{6, 10}}), ctts({{6, 5}}), stss({1, 3, 5}), stszUniform(1, 6),
                               stsc({{1, 6}}), stco({0})})));
    const struct {
        std::int64_t pts, time;
    } cases[] = {{INT64_MIN, 0}, {-1, 0},  {4, 0},   {5, 0},   {24, 0},     {25, 20},
                 {44, 20},       {45, 40}, {46, 40}, {55, 40}, {LATEST, 40}};
    for (const auto& [pts, time] : cases) EXPECT_EQ(timeAfterSeek(pts), time) << pts;
}

TEST_F(PlainSamplesTest, SeekingGoesByDecodeOrderWhereTimesGoBack) {
    // Composition times of the sync samples: 100, 10, 20.
    ASSERT_TRUE(openWith(join({stts({{3, 10}}), ctts({{1, 100}, {2, 0}}), stss({1, 2, 3}),
                               stszUniform(1, 3), stsc({{1, 3}}), stco({0})})));
    EXPECT_EQ(timeAfterSeek(9), 0) << "the first one, when none is early enough";
    EXPECT_EQ(timeAfterSeek(10), 10);
    EXPECT_EQ(timeAfterSeek(20), 20);
    EXPECT_EQ(timeAfterSeek(100), 20);
}

TEST_F(PlainSamplesTest, SeekingGoesToTheFirstSyncSampleWhereNoneIsEarlier) {
    ASSERT_TRUE(openWith(
        join({stts({{4, 10}}), stss({4, 3}), stszUniform(1, 4), stsc({{1, 4}}), stco({0})})));
    EXPECT_EQ(timeAfterSeek(5), 20);
}

TEST_F(PlainSamplesTest, WithoutAnySyncSampleSeekingStaysWhereItWas) {
    ASSERT_TRUE(
        openWith(join({stts({{4, 10}}), stss({}), stszUniform(1, 4), stsc({{1, 4}}), stco({0})})));
    nextTime();
    EXPECT_FALSE(samples.seekToSync(0));
    EXPECT_EQ(nextTime(), 10);
}

TEST_F(PlainSamplesTest, BehindASeekTheRestIsTheSame) {
    ASSERT_TRUE(openWith(threeSamples()));
    const std::vector<PlainSample> all = rest();
    ASSERT_TRUE(samples.seekToSync(10));
    EXPECT_EQ(rest(), std::vector<PlainSample>{all[2]});
    EXPECT_EQ(end, WalkOutcome::End);
}

TEST_F(PlainSamplesTest, WhereEverySampleIsSyncSeekingGoesToTheLastAtOrBefore) {
    ASSERT_TRUE(openWith(
        join({stts({{3, 10}, {2, 0}, {3, 7}}), stszUniform(1, 9), stsc({{1, 9}}), stco({0})})));
    const std::vector<PlainSample> all = rest();
    ASSERT_EQ(all.size(), 9u);
    for (const std::int64_t pts : {-1, 0, 9, 10, 19, 20, 29, 30, 36, 37, 44, 50, 51, 52, 1000}) {
        const PlainSample* expected = &all[0];
        for (const PlainSample& sample : all) {
            if (sample.pts <= pts) expected = &sample;
        }
        ASSERT_TRUE(samples.seekToSync(pts));
        PlainSample sample;
        ASSERT_EQ(samples.next(sample), WalkOutcome::Sample);
        EXPECT_EQ(sample, *expected) << pts;
    }
}

TEST_F(PlainSamplesTest, SeekingAmongTheMostSamplesCostsNothing) {
    const Bytes stbl = join({stts({{MOST, 3}}), ctts({{0x80000000, 5}, {MOST, 1}}),
                             stszUniform(1, MOST), stsc({{1, MOST}}), stco({7})});
    ASSERT_TRUE(openWith(stbl, {}, std::uint64_t{5} << 30));
    EXPECT_EQ(timeAfterSeek(3'000'000'005), 3'000'000'000);
    EXPECT_EQ(timeAfterSeek(9'000'000'000), 8'999'999'997) << "in the second run";
    EXPECT_EQ(timeAfterSeek(LATEST), (std::int64_t{MOST} - 1) * 3);
}

} // namespace
} // namespace velkantrix
