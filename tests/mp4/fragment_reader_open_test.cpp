// Opening, durations and seeking of mp4/fragment_reader.h.
#include <gtest/gtest.h>

#include "tests/support/fragment_reader_fixture.h"

namespace velkantrix {
namespace {

class FragmentReaderOpening : public FragmentReaderTest {};

// One fragment whose only picture is a keyframe, with its table.
Bytes videoFile(const Bytes& start) {
    Bytes content = start;
    const std::uint64_t place = append(content, fragment(0, {{nal({0x65}), 100, true}}));
    return content.add(mfra(tfra(1, {{0, place}})));
}

TEST_F(FragmentReaderOpening, AFragmentedVideoIsOpened) {
    use(videoFile(fragmentedStart()));
    ASSERT_TRUE(reader.Open(file->path()));
    EXPECT_TRUE(reader.annexB());
    EXPECT_EQ(reader.timescale(), 1000u);
    EXPECT_EQ(reader.index().trackId, 1u);
    EXPECT_EQ(reader.index().width, 64u);
    EXPECT_EQ(reader.index().randomAccess.size(), 1u);
    EXPECT_EQ(reader.DurationSeconds(), 0.1);
}

TEST_F(FragmentReaderOpening, AnythingElseIsRefused) {
    EXPECT_FALSE(reader.Open(std::filesystem::path("no/such/file.mp4")));
    EXPECT_FALSE(reader.Open(std::filesystem::temp_directory_path()));
    const Bytes plain =
        join({stsd(avc1(64, 36)), stts({{1, 1}}), stss({1}), stsz({1}), stsc({{1, 1}}), stco({1})});
    for (const Bytes& content :
         {Bytes(), join({ftyp(), box("moov", trak(1, 1000, "vide", plain))}), fragmentedStart(),
          join({fragmentedStart(), fragment(0, {{nal({0x65}), 100, true}})})}) {
        use(content);
        EXPECT_FALSE(reader.Open(file->path())) << content.size();
        EXPECT_FALSE(reader.Seek(0));
    }
}

TEST_F(FragmentReaderOpening, AVideoWithoutParameterSetsIsRefused) {
    use(videoFile(fragmentedStart(Bytes{1, 0x64, 0, 0x1E, 0xFF, 0xE0, 0})));
    EXPECT_FALSE(reader.Open(file->path()));
    use(videoFile(fragmentedStart(Bytes())));
    EXPECT_FALSE(reader.Open(file->path()));
    EXPECT_FALSE(reader.Seek(0));
}

TEST_F(FragmentReaderOpening, OpeningTwiceIsRefusedAndHarmless) {
    use(videoFile(fragmentedStart()));
    ASSERT_TRUE(reader.Open(file->path()));
    EXPECT_FALSE(reader.Open(file->path()));
    EXPECT_FALSE(openTable({{0, 1}}));
    EXPECT_TRUE(reader.annexB());
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(rest().size(), 1u);
}

TEST_F(FragmentReaderOpening, ATableNeedsEntriesATimeScaleAndAFile) {
    use(videoFile(fragmentedStart()));
    EXPECT_FALSE(openTable({}));
    EXPECT_FALSE(reader.OpenWithTable(file->path(), 1, 0, {{0, 1}}));
    EXPECT_FALSE(
        reader.OpenWithTable(std::filesystem::path("no/such/file.mp4"), 1, 1000, {{0, 1}}));
    EXPECT_FALSE(reader.Seek(0));
    EXPECT_TRUE(openTable({{0, fragmentedStart().size()}}));
}

TEST_F(FragmentReaderOpening, WithATableSamplesAreHandedOutAsStored) {
    use(videoFile(fragmentedStart()));
    ASSERT_TRUE(openTable({{0, fragmentedStart().size()}}));
    EXPECT_FALSE(reader.annexB());
    EXPECT_TRUE(reader.index().valid);
    EXPECT_TRUE(reader.index().fragmented);
    EXPECT_EQ(reader.index().trackId, 1u);
    ASSERT_TRUE(reader.Seek(0));
    const std::vector<ReaderSample> samples = rest();
    // What follows the fragment is the mfra, which has no samples.
    ASSERT_EQ(samples.size(), 1u);
    EXPECT_EQ(samples[0].data, nal({0x65}).vector());
}

TEST_F(FragmentReaderOpening, SoughtBeforeItIsOpenedItRefuses) {
    EXPECT_FALSE(reader.Seek(0));
    EXPECT_EQ(reader.DurationSeconds(), 0);
}

class FragmentReaderDuration : public FragmentReaderTest {};

TEST_F(FragmentReaderDuration, ItIsTheLatestEndOfTheLastFragments) {
    Bytes content = ftyp();
    const std::uint64_t first = append(content, fragment(0, {key("a")}));
    const std::uint64_t second =
        append(content, fragment(5000, {key("b"), {Bytes{1}, 300, false, 700}, other("c")}));
    append(content, fragment(5600, {other("d")}));
    use(content);
    ASSERT_TRUE(openTable({{0, first}, {5000, second}}));
    EXPECT_EQ(reader.DurationSeconds(), (5100 + 700 + 300) / 1000.0);
}

TEST_F(FragmentReaderDuration, FragmentsBehindTheLastInTheTableCount) {
    Bytes content = ftyp();
    const std::uint64_t first = append(content, fragment(0, {key("a")}));
    append(content, fragment(9000, {other("d")}));
    append(content, fragment(100, {other("d")}));
    use(content);
    ASSERT_TRUE(openTable({{0, first}}));
    EXPECT_EQ(reader.DurationSeconds(), 9.1);
}

TEST_F(FragmentReaderDuration, TimesAreThoseOfTheTable) {
    Bytes content = ftyp();
    const std::uint64_t first = append(content, fragment(5000, {other("a"), key("b"), other("c")}));
    use(content);
    ASSERT_TRUE(openTable({{2000, first, 0, 1, 1, 2}}));
    EXPECT_EQ(reader.DurationSeconds(), 2.2) << "the second sample is at 2.0";
    for (const std::uint32_t none : {0u, 4u, 0xFFFFFFFFu}) {
        FragmentReader another;
        ASSERT_TRUE(another.OpenWithTable(file->path(), 1, 1000, {{2000, first, 0, 1, 1, none}}));
        EXPECT_EQ(another.DurationSeconds(), 2.3) << "the first one is, by " << none;
    }
}

TEST_F(FragmentReaderDuration, WithoutTheLastFragmentItIsTheLastTime) {
    use(join({ftyp(), fragment(0, {key("a")})}));
    ASSERT_TRUE(openTable({{0, ftyp().size()}, {4500, 3}}));
    EXPECT_EQ(reader.DurationSeconds(), 4.5);
}

TEST_F(FragmentReaderDuration, TheLastEntryIsTheTablesAsItIsGiven) {
    use(join({ftyp(), fragment(0, {key("a")})}));
    ASSERT_TRUE(openTable({{4500, 3}, {0, ftyp().size()}}));
    EXPECT_EQ(reader.DurationSeconds(), 0.1);
}

TEST_F(FragmentReaderDuration, AtMost512FragmentsAreLookedAt) {
    for (const std::uint64_t fragments : {511u, 512u, 513u}) {
        Bytes content = ftyp();
        for (std::uint64_t i = 0; i < fragments; ++i)
            append(content, fragment(i * 100, {key("a")}));
        const TempFile temp(content);
        FragmentReader each;
        ASSERT_TRUE(each.OpenWithTable(temp.path(), 1, 1000, {{0, ftyp().size()}}));
        EXPECT_EQ(each.DurationSeconds(),
                  static_cast<double>(std::min<std::uint64_t>(fragments, 512)) / 10)
            << fragments;
    }
}

TEST_F(FragmentReaderDuration, AtMost65536BoxesAreLookedAt) {
    const auto moofAt = [](std::uint64_t time) {
        return moof(box("traf", join({tfhd(1, {.baseDataOffset = 0, .duration = 100, .size = 1}),
                                      tfdt(time), trunOfCount(1)})));
    };
    Bytes between, content = join({ftyp(), moofAt(0)});
    for (int i = 0; i < 4095; ++i) between.add(box("free"));
    for (std::uint64_t i = 1; i <= 16; ++i) content.add(between).add(moofAt(i * 1000));
    use(content);
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    EXPECT_EQ(reader.DurationSeconds(), 16.1);
    use(content.add(moofAt(17'000)));
    reader = {};
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    EXPECT_EQ(reader.DurationSeconds(), 16.1) << "the last one is one box too far";
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(rest().size(), 18u);
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderDuration, AfterwardsItMustBeSought) {
    use(join({ftyp(), fragment(0, {key("a")})}));
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    ReaderSample sample;
    EXPECT_FALSE(reader.ReadNextSample(sample));
    EXPECT_EQ(reader.outcome(), ReadOutcome::Failed);
    EXPECT_FALSE(reader.NextFragment());
    EXPECT_TRUE(reader.samples().empty());
}

TEST_F(FragmentReaderDuration, FragmentsWithoutATimeDoNotGoOnFromIt) {
    // Measuring has read both fragments; the first seek begins with time 0 all the same, so that
    // the rebase is what the table says.
    use(join({ftyp(), fragment(std::nullopt, {key("a")}), fragment(std::nullopt, {key("b")})}));
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    EXPECT_EQ(reader.DurationSeconds(), 0.2);
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(reader.samples()[0].dts, 0u);
}

class FragmentReaderSeeking : public FragmentReaderTest {
protected:
    // Fragments at 0 (samples a to c, the second at 1000 by the table) and 5000 (d, e).
    void SetUp() override {
        Bytes content = ftyp();
        first = append(content, fragment(0, {key("a"), key("b"), other("c")}));
        second = append(content, fragment(5000, {key("d"), other("e")}));
        use(content);
        ASSERT_TRUE(openTable({{0, first, 0, 1, 1, 1},
                               {1000, first, 0, 1, 1, 2},
                               {5000, second, 0, 1, 1, 1},
                               {9000, 3, 0, 1, 1, 1}}));
    }

    std::uint64_t first = 0, second = 0;
};

TEST_F(FragmentReaderSeeking, ItGoesToTheLastKeyframeAtOrBefore) {
    const struct {
        double seconds;
        const char* text;
    } cases[] = {{-1, "a@0*"},     {0, "a@0*"},    {0.99, "a@0*"},  {1, "b@1000*"},
                 {4.9, "b@1000*"}, {5, "d@5000*"}, {8.9, "d@5000*"}};
    for (const auto& [seconds, text] : cases) {
        ASSERT_TRUE(reader.Seek(seconds)) << seconds;
        EXPECT_EQ(restAsTexts().at(0), text) << seconds;
    }
}

TEST_F(FragmentReaderSeeking, TheFirstEntryIsTheTables) {
    ASSERT_TRUE(reader.Seek(5));
    ASSERT_TRUE(reader.seekToFirstEntry());
    EXPECT_EQ(reader.outcome(), ReadOutcome::Nothing);
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "b@100*", "c@200", "d@5000*", "e@5100"}));
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderSeeking, TheFirstEntryCanBeSoughtWhateverTheTimes) {
    for (const std::uint64_t time : {std::uint64_t{0}, std::uint64_t{7000}, UINT64_MAX}) {
        FragmentReader each;
        ASSERT_TRUE(each.OpenWithTable(file->path(), 1, 1000,
                                       {{time, first, 0, 1, 1, 2}, {0, second}, {0, second}}));
        ASSERT_TRUE(each.Seek(0));
        EXPECT_EQ(each.samples().size(), 2u) << "of the last entry of that time";
        ASSERT_TRUE(each.seekToFirstEntry());
        EXPECT_EQ(each.samples().size(), 3u);
        EXPECT_EQ(each.cursor(), 1u);
        EXPECT_EQ(each.rebase(), static_cast<std::int64_t>(time - 100));
    }
}

TEST_F(FragmentReaderTest, AFirstEntryThatLeadsNowhereCannotBeSought) {
    EXPECT_FALSE(reader.seekToFirstEntry()) << "nothing is open";
    use(join({ftyp(), fragment(0, {key("a"), key("b")})}));
    ASSERT_TRUE(openTable({{0, 3}, {1000, ftyp().size()}}));
    ASSERT_TRUE(reader.Seek(1));
    EXPECT_FALSE(reader.seekToFirstEntry());
    EXPECT_EQ(restAsTexts(), (Texts{"a@1000*", "b@1100*"})) << "it stays where it was";
}

TEST_F(FragmentReaderSeeking, TheKeyframeHasItsTimeInTheTableAndTheRestKeepsItsDistance) {
    ASSERT_TRUE(reader.Seek(1));
    EXPECT_EQ(reader.rebase(), 900);
    EXPECT_EQ(reader.cursor(), 1u);
    EXPECT_EQ(restAsTexts(), (Texts{"b@1000*", "c@1100", "d@5900*", "e@6000"}));
}

TEST_F(FragmentReaderSeeking, BehindTheEndItCanBeSoughtAgain) {
    for (int i = 0; i < 3; ++i) {
        ASSERT_TRUE(reader.Seek(5));
        EXPECT_EQ(restAsTexts(), (Texts{"d@5000*", "e@5100"}));
        EXPECT_EQ(last, ReadOutcome::End);
    }
}

TEST_F(FragmentReaderSeeking, FailedItStaysWhereItWas) {
    ASSERT_TRUE(reader.Seek(1));
    ReaderSample sample;
    ASSERT_TRUE(reader.ReadNextSample(sample));
    EXPECT_FALSE(reader.Seek(9)) << "there is no fragment";
    EXPECT_EQ(reader.rebase(), 900);
    EXPECT_EQ(restAsTexts(), (Texts{"c@1100", "d@5900*", "e@6000"}));
}

// All is in order in it but its own type.
TEST_F(FragmentReaderTest, NoOtherBoxIsAFragmentWhereTheTableNamesIt) {
    for (const char* const type : {"moox", "free", "traf", "MOOF"}) {
        Bytes content = join({ftyp(), fragment(0, {key("a")})});
        Bytes other = fragment(5000, {key("b")});
        for (std::size_t i = 0; i < 4; ++i) other[4 + i] = static_cast<std::uint8_t>(type[i]);
        const std::uint64_t place = append(content, other);
        use(content);
        reader = {};
        ASSERT_TRUE(openTable({{0, ftyp().size()}, {5000, place}}));
        EXPECT_EQ(reader.DurationSeconds(), 5.0) << type << ", of which nothing is known";
        EXPECT_FALSE(reader.Seek(5)) << type;
        EXPECT_TRUE(reader.Seek(0)) << type;
    }
}

TEST_F(FragmentReaderTest, AMoofThatRunsToTheEndOfTheFileCanBeSought) {
    const Bytes run = join({tfhd(1, {.baseDataOffset = 4}), tfdt(0), trun(0x300, {{10, 4}}, 0)});
    openPieces({openBox("moof", box("traf", run))});
    EXPECT_EQ(restAsTexts(), Texts{"ftyp@0*"});
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderTest, WithoutDecodeTimesASeekGoesOnFromWhatWasReadBefore) {
    openPieces({fragment(std::nullopt, {key("a")}), fragment(std::nullopt, {key("b")})});
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "b@100*"}));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(reader.samples()[0].dts, 200u);
    EXPECT_EQ(reader.rebase(), -200);
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "b@100*"}));
}

// ffmpeg's tables of sound, where the first time would be below 0.
TEST_F(FragmentReaderTest, EachSeekMovesTimesByItsOwnEntry) {
    Bytes content = ftyp();
    const std::uint64_t one = append(content, fragment(0, {key("a")}));
    const std::uint64_t two = append(content, fragment(5000, {key("b")}));
    use(content);
    ASSERT_TRUE(openTable({{0, one}, {3976, two}}));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(reader.rebase(), 0);
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "b@5000*"}));
    ASSERT_TRUE(reader.Seek(4));
    EXPECT_EQ(reader.rebase(), -1024);
    EXPECT_EQ(restAsTexts(), Texts{"b@3976*"});
}

class FragmentReaderSeekingBySample : public FragmentReaderTest {
protected:
    // The first sample behind a seek to this entry of a fragment with samples in two runs.
    std::string sought(std::uint32_t trafNumber, std::uint32_t trunNumber,
                       std::uint32_t sampleNumber) {
        const Bytes runs = join({tfhd(1), tfdt(0), trun(0x300, {{10, 1}, {10, 1}}, 0),
                                 trun(0x300, {{10, 1}, {10, 1}}, 2)});
        use(join({ftyp(), moof(box("traf", runs))}));
        FragmentReader each;
        EXPECT_TRUE(each.OpenWithTable(
            file->path(), 1, 1000, {{70, ftyp().size(), 0, trafNumber, trunNumber, sampleNumber}}));
        EXPECT_TRUE(each.Seek(0));
        return std::to_string(each.cursor()) + " by " + std::to_string(each.rebase());
    }
};

TEST_F(FragmentReaderSeekingBySample, ItCountsThroughAllRuns) {
    EXPECT_EQ(sought(1, 1, 1), "0 by 70");
    EXPECT_EQ(sought(1, 1, 3), "2 by 50");
    EXPECT_EQ(sought(1, 1, 4), "3 by 40");
}

TEST_F(FragmentReaderSeekingBySample, TheNumbersOfTrafAndTrunDoNotCount) {
    EXPECT_EQ(sought(7, 2, 2), "1 by 60");
    EXPECT_EQ(sought(0, 0xFFFFFFFF, 2), "1 by 60");
}

TEST_F(FragmentReaderSeekingBySample, ANumberThatTheFragmentDoesNotHaveIsTheFirstSample) {
    EXPECT_EQ(sought(1, 1, 5), "0 by 70");
    EXPECT_EQ(sought(1, 1, 0), "0 by 70");
    EXPECT_EQ(sought(1, 1, 0xFFFFFFFF), "0 by 70");
}

} // namespace
} // namespace velkantrix
