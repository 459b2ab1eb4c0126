#include "mp4/fragment_reader.h"

#include <gtest/gtest.h>

#include "tests/support/fragment_reader_fixture.h"

namespace velkantrix {
namespace {

TEST_F(FragmentReaderTest, SamplesComeInTheirOrderThroughAllFragments) {
    openPieces({fragment(0, {key("a"), other("bb")}), fragment(200, {key("ccc"), other("d")})});
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "bb@100", "ccc@200*", "d@300"}));
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderTest, TimesAndDurationAreTheSamples) {
    openPieces({fragment(50, {{Bytes{1}, 100, true, 20}, {Bytes{2}, 30, false, -10}})});
    const std::vector<ReaderSample> samples = rest();
    ASSERT_EQ(samples.size(), 2u);
    EXPECT_EQ(reader.rebase(), -70);
    EXPECT_EQ(samples[0].pts, 0);
    EXPECT_EQ(samples[0].dts, -20);
    EXPECT_EQ(samples[0].duration, 100u);
    EXPECT_TRUE(samples[0].keyframe);
    EXPECT_EQ(samples[1].pts, 70);
    EXPECT_EQ(samples[1].dts, 80);
    EXPECT_EQ(samples[1].duration, 30u);
    EXPECT_FALSE(samples[1].keyframe);
}

TEST_F(FragmentReaderTest, OtherBoxesAndOtherTracksFragmentsArePassedOver) {
    openPieces({fragment(0, {key("a")}), box("free", Bytes().fill(50)), longBox("uuid"),
                fragment(100, {key("x")}, 2), box("moof"), fragment(100, {}),
                fragment(100, {key("b")}), box("free")});
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "b@100*"}));
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderTest, WithoutATimeAFragmentGoesOn) {
    openPieces({fragment(1000, {key("a"), other("b")}), fragment(std::nullopt, {key("c")}),
                fragment(std::nullopt, {key("d")})});
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "b@100", "c@200*", "d@300*"}));
}

TEST_F(FragmentReaderTest, WithoutATimeAFragmentGoesOnFromOneWithoutSamplesToo) {
    openPieces({fragment(0, {key("a")}), fragment(500, {}), fragment(std::nullopt, {key("b")})});
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "b@500*"}));
}

TEST_F(FragmentReaderTest, TheEndStaysTheEnd) {
    openPieces({fragment(0, {key("a")})});
    rest();
    ReaderSample sample;
    sample.data = {1};
    sample.hasPayload = true;
    for (int i = 0; i < 3; ++i) {
        EXPECT_FALSE(reader.ReadNextSample(sample));
        EXPECT_EQ(reader.outcome(), ReadOutcome::End);
        EXPECT_FALSE(sample.hasPayload);
        EXPECT_TRUE(sample.data.empty());
    }
}

TEST_F(FragmentReaderTest, ABoxToTheEndOfTheFileEndsIt) {
    openPieces({fragment(0, {key("a")}), openBox("mdat", Bytes().fill(50))});
    rest();
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderTest, AMoofToTheEndOfTheFileIsRead) {
    const Bytes runs = join({tfhd(1), tfdt(100), trun(0x300, {{10, 4}}, 4)});
    openPieces({fragment(0, {key("a")}), openBox("moof", box("traf", runs))});
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "moof@100*"}));
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderTest, SamplesMayOverlapAndGoBack) {
    const Bytes runs =
        join({tfhd(1, {.baseDataOffset = 1000}), tfdt(0), trun(0x300, {{10, 3}, {10, 3}}, 2),
              trun(0x300, {{10, 5}}, 3), trun(0x300, {{10, 2}}, 0)});
    Bytes content = join({ftyp(), moof(box("traf", runs))});
    content.add(box("free", Bytes().fill(1000 - 16 - content.size())));
    use(content.add(box("mdat", Bytes().text("ABCDEFGHIJ"))));
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(restAsTexts(), (Texts{"CDE@0*", "FGH@10*", "DEFGH@20*", "AB@30*"}));
}

TEST_F(FragmentReaderTest, AFragmentAtTheStartOfTheFileHasNoNext) {
    use(join({fragment(0, {key("a")}), fragment(100, {key("b")})}));
    ASSERT_TRUE(openTable({{0, 0}}));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(restAsTexts(), Texts{"a@0*"});
    EXPECT_EQ(last, ReadOutcome::Failed) << "offset 0 means that none is loaded";
}

TEST_F(FragmentReaderTest, TheCursorCanBeMovedOn) {
    openPieces({fragment(0, {key("a"), other("b"), other("c")}), fragment(300, {key("d")})});
    EXPECT_EQ(reader.samples().size(), 3u);
    EXPECT_EQ(reader.cursor(), 0u);
    reader.setCursor(2);
    EXPECT_EQ(restAsTexts(), (Texts{"c@200", "d@300*"}));
    ASSERT_TRUE(reader.Seek(0));
    reader.setCursor(3);
    EXPECT_EQ(restAsTexts(), Texts{"d@300*"});
}

TEST_F(FragmentReaderTest, NextFragmentLoadsTheOneBehind) {
    openPieces({fragment(0, {key("a"), other("b")}), fragment(300, {key("d")})});
    ASSERT_TRUE(reader.NextFragment());
    EXPECT_EQ(reader.cursor(), 0u);
    EXPECT_EQ(reader.samples().size(), 1u);
    EXPECT_EQ(reader.samples()[0].pts, 300u);
    EXPECT_FALSE(reader.NextFragment());
    EXPECT_EQ(reader.outcome(), ReadOutcome::End);
    EXPECT_EQ(restAsTexts(), Texts{"d@300*"}) << "the last good fragment stays";
}

TEST_F(FragmentReaderTest, APlaceIsGoneBackToWithItsTimes) {
    EXPECT_FALSE(reader.returnTo(reader.place())) << "nothing is open";
    openPieces({fragment(1000, {key("a"), other("b")}),
                fragment(std::nullopt, {key("c"), other("d")}),
                fragment(std::nullopt, {key("e")})});
    reader.setCursor(1);
    const FragmentReader::Place first = reader.place();
    ASSERT_TRUE(reader.NextFragment());
    reader.setCursor(1);
    const FragmentReader::Place second = reader.place();
    EXPECT_EQ(restAsTexts(), (Texts{"d@300", "e@400*"}));
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(reader.returnTo(second));
        EXPECT_EQ(reader.outcome(), ReadOutcome::Nothing);
        EXPECT_EQ(restAsTexts(), (Texts{"d@300", "e@400*"}));
        EXPECT_EQ(last, ReadOutcome::End);
        ASSERT_TRUE(reader.returnTo(first));
        EXPECT_EQ(restAsTexts(), (Texts{"b@100", "c@200*", "d@300", "e@400*"}));
    }
}

TEST_F(FragmentReaderTest, WhatWasLostBehindAPlaceIsLostAgain) {
    openPieces({fragment(0, {key("a")}), Bytes().u32(4).text("moof")});
    const FragmentReader::Place place = reader.place();
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(restAsTexts(), Texts{"a@0*"});
        EXPECT_EQ(last, ReadOutcome::Failed);
        ASSERT_TRUE(reader.returnTo(place));
    }
}

TEST_F(FragmentReaderTest, APlaceInTheLoadedFragmentTakesNoReadAndAnotherOneDoes) {
    openPieces({fragment(0, {key("a"), other("b")}), fragment(200, {key("c")})});
    const FragmentReader::Place first = reader.place();
    ASSERT_TRUE(reader.NextFragment());
    const FragmentReader::Place second = reader.place();
    file->resize(ftyp().size());
    EXPECT_TRUE(reader.returnTo(second));
    EXPECT_FALSE(reader.returnTo(first));
    EXPECT_EQ(reader.samples().size(), 1u) << "it stays where it was";
}

// Handing out as Annex B byte stream.
class FragmentReaderAnnexB : public FragmentReaderTest {
protected:
    // Parameter sets of 10 bytes, behind start codes.
    void openVideo(const std::vector<FragmentSample>& samples, std::uint32_t nalLengthSize = 4,
                   std::uint32_t firstSample = 1) {
        Bytes content = fragmentedStart(avcRecord(Bytes{0x67}, Bytes{0x68}, nalLengthSize));
        const std::uint64_t place = append(content, fragment(0, samples));
        use(content.add(mfra(tfra(1, {{0, place, 1, 1, firstSample}}))));
        ASSERT_TRUE(reader.Open(file->path()));
        ASSERT_TRUE(reader.Seek(0));
    }

    // A read that must come to this.
    ReaderSample read(bool hasPayload, ReadOutcome outcome) {
        ReaderSample sample;
        EXPECT_EQ(reader.ReadNextSample(sample), hasPayload);
        EXPECT_EQ(sample.hasPayload, hasPayload);
        EXPECT_EQ(reader.outcome(), outcome);
        return sample;
    }

    static FragmentSample keyOf(const Bytes& bytes) { return {bytes, 100, true}; }
    static FragmentSample otherOf(const Bytes& bytes) { return {bytes, 100, false}; }

    static std::vector<std::uint8_t> unit(const Bytes& bytes) {
        return join({Bytes{0, 0, 0, 1}, bytes}).vector();
    }
    static std::vector<std::uint8_t> setsAnd(const Bytes& bytes) {
        return join({Bytes{0, 0, 0, 1, 0x67, 0, 0, 0, 1, 0x68, 0, 0, 0, 1}, bytes}).vector();
    }
};

TEST_F(FragmentReaderAnnexB, OnlyTheFirstKeyframeBehindASeekGetsParameterSets) {
    const Bytes picture = Bytes{0x65}.fill(20, 7);
    openVideo({keyOf(nal(picture)), keyOf(nal(picture)), otherOf(nal({0x41}))});
    for (int i = 0; i < 2; ++i) {
        EXPECT_EQ(read(true, ReadOutcome::Sample).data, setsAnd(picture));
        EXPECT_EQ(read(true, ReadOutcome::Sample).data, unit(picture));
        EXPECT_EQ(read(true, ReadOutcome::Sample).data, unit({0x41}));
        read(false, ReadOutcome::End);
        ASSERT_TRUE(reader.Seek(0));
    }
}

TEST_F(FragmentReaderAnnexB, ParameterSetsWaitForAKeyframe) {
    openVideo({otherOf(nal({0x41})), keyOf(nal({0x65}))});
    EXPECT_EQ(read(true, ReadOutcome::Sample).data, unit({0x41}));
    EXPECT_EQ(read(true, ReadOutcome::Sample).data, setsAnd({0x65}));
}

TEST_F(FragmentReaderAnnexB, AKeyframeThatCannotBeReadLeavesThemToTheNext) {
    Bytes content = fragmentedStart(avcRecord(Bytes{0x67}, Bytes{0x68}));
    // The first one's bytes are beyond the file.
    const Bytes runs = join({tfhd(1, {.baseDataOffset = content.size(), .duration = 100}), tfdt(0),
                             trun(0x200, {{9}}, 0x7FFFFFFF), trun(0x200, {{5}}, 8)});
    content.add(box("mdat", nal({0x65})));
    const std::uint64_t place = append(content, moof(box("traf", runs)));
    use(content.add(mfra(tfra(1, {{0, place}}))));
    ASSERT_TRUE(reader.Open(file->path()));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_TRUE(read(false, ReadOutcome::Failed).data.empty());
    EXPECT_EQ(read(true, ReadOutcome::Sample).data, setsAnd({0x65}));
}

TEST_F(FragmentReaderAnnexB, AFailedSeekAsksForParameterSetsToo) {
    Bytes content = fragmentedStart();
    const std::uint64_t place =
        append(content, fragment(0, {keyOf(nal({0x65})), keyOf(nal(Bytes{0x65}.fill(50)))}));
    use(content.add(mfra(tfra(1, {{0, place}, {3000, 1}}))));
    ASSERT_TRUE(reader.Open(file->path()));
    ASSERT_TRUE(reader.Seek(0));
    read(true, ReadOutcome::Sample);
    EXPECT_FALSE(reader.Seek(3));
    EXPECT_EQ(read(true, ReadOutcome::Sample).data.at(4), 0x67);
}

TEST_F(FragmentReaderAnnexB, UnitsBehindLengthsOfOneToFourBytesAreSplit) {
    for (std::uint32_t width = 1; width <= 4; ++width) {
        reader = {};
        openVideo({keyOf(join({nal({6, 1}, width), nal({0x65}, width)}))}, width);
        EXPECT_EQ(read(true, ReadOutcome::Sample).data, setsAnd({6, 1, 0, 0, 0, 1, 0x65}));
    }
}

TEST_F(FragmentReaderAnnexB, ABrokenUnitEndsItsSampleOnly) {
    openVideo({keyOf(join({nal({0x65}), Bytes{0, 0, 0, 9, 1}})),
               otherOf(join({nal({0x41}), nal({}), nal({0x42})})), otherOf(nal({0x43}))});
    EXPECT_EQ(read(true, ReadOutcome::Sample).data, setsAnd({0x65}));
    EXPECT_EQ(read(true, ReadOutcome::Sample).data, unit({0x41}));
    EXPECT_EQ(read(true, ReadOutcome::Sample).data, unit({0x43}));
}

TEST_F(FragmentReaderAnnexB, ASampleWithoutAWholeUnitIsEmptyAndMoreMayCome) {
    openVideo(
        {keyOf({0, 0, 0, 9, 1}), otherOf({0, 0, 0, 0}), keyOf(nal({})), otherOf(nal({0x41}))});
    read(false, ReadOutcome::Empty);
    read(false, ReadOutcome::Empty);
    read(false, ReadOutcome::Empty);
    EXPECT_EQ(read(true, ReadOutcome::Sample).data, unit({0x41}));
    read(false, ReadOutcome::End);
}

TEST_F(FragmentReaderAnnexB, AnEmptyKeyframeUsesTheParameterSetsUp) {
    const std::vector<std::uint8_t> sets = setsAnd({});
    const Bytes picture = Bytes{0x65}.fill(20, 7);
    openVideo({keyOf({0, 0, 0, 9, 1}), keyOf(nal(picture)), keyOf({0, 0, 0, 0})});
    for (int i = 0; i < 2; ++i) {
        const ReaderSample empty = read(false, ReadOutcome::Empty);
        EXPECT_TRUE(empty.keyframe);
        EXPECT_EQ(empty.data, std::vector<std::uint8_t>(sets.begin(), sets.end() - 4));
        EXPECT_EQ(read(true, ReadOutcome::Sample).data, unit(picture));
        EXPECT_TRUE(read(false, ReadOutcome::Empty).data.empty());
        ASSERT_TRUE(reader.Seek(0));
    }
}

TEST_F(FragmentReaderAnnexB, AKeyframeNoLongerThanParameterSetsHasNoPayloadButIsASample) {
    // 10 bytes of parameter sets; 10 and 11 bytes of keyframe.
    openVideo({keyOf(nal({0x65})), keyOf(nal({0x65, 1, 2, 3, 4, 5})),
               keyOf(nal({0x65, 1, 2, 3, 4, 5, 6})), otherOf(nal({0x41}))});
    read(true, ReadOutcome::Sample);
    const ReaderSample sample = read(false, ReadOutcome::Sample);
    EXPECT_EQ(sample.data, unit({0x65, 1, 2, 3, 4, 5}));
    EXPECT_TRUE(sample.keyframe);
    EXPECT_EQ(sample.pts, 100);
    read(true, ReadOutcome::Sample);
    read(true, ReadOutcome::Sample);
}

TEST_F(FragmentReaderAnnexB, ASeekToAnotherSampleBeginsThere) {
    openVideo({keyOf(nal({0x65, 1})), otherOf(nal({0x41})), keyOf(nal({0x65, 3}))}, 4, 3);
    EXPECT_EQ(read(true, ReadOutcome::Sample).data, setsAnd({0x65, 3}));
    read(false, ReadOutcome::End);
}

} // namespace
} // namespace velkantrix
