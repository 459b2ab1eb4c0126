// Limits of mp4/fragment_reader.h, and files that are broken.
#include <gtest/gtest.h>

#include "tests/support/fragment_reader_fixture.h"

namespace velkantrix {
namespace {

constexpr std::uint64_t MIB = std::uint64_t{1} << 20;
constexpr std::uint32_t MOST = 0xFFFFFFFF;

class FragmentReaderDamage : public FragmentReaderTest {
protected:
    // Three fragments, the one in the middle with its moof made longer by empty space.
    void useWithMoofOf(std::uint64_t moofBytes) {
        const Bytes first = join({ftyp(), fragment(0, {key("a")})});
        const Bytes run = box("traf", join({tfhd(1, {.baseDataOffset = first.size()}), tfdt(100),
                                            trun(0x300, {{100, 4}}, 4)}));
        const Bytes end = fragment(200, {key("c")});
        const Bytes rest = boxOfSize("free", moofBytes - 8 - run.size());
        use(join({first, boxOfSize("moof", moofBytes, join({run, rest}))}));
        file->resize(first.size() + moofBytes + end.size());
        file->write(first.size() + moofBytes, end);
        ASSERT_TRUE(openTable({{0, ftyp().size()}, {1000, first.size()}}));
    }

    // What all that is behind the first fragment comes to.
    ReadOutcome outcomeOf(const Bytes& behind) {
        FragmentReader each;
        const TempFile temp(join({ftyp(), fragment(0, {key("a")}), behind}));
        EXPECT_TRUE(each.OpenWithTable(temp.path(), 1, 1000, {{0, ftyp().size()}}));
        EXPECT_TRUE(each.Seek(0));
        ReaderSample sample;
        while (each.ReadNextSample(sample)) {}
        return each.outcome();
    }
};

TEST_F(FragmentReaderDamage, BeforeASeekReadingFails) {
    ReaderSample sample;
    EXPECT_FALSE(reader.ReadNextSample(sample));
    EXPECT_EQ(reader.outcome(), ReadOutcome::Failed);
    EXPECT_FALSE(reader.NextFragment());
}

TEST_F(FragmentReaderDamage, AMoofOf8MiBIsRead) {
    ASSERT_NO_FATAL_FAILURE(useWithMoofOf(8 * MIB));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "moof@100*", "c@200*"}));
    EXPECT_EQ(last, ReadOutcome::End);
    EXPECT_TRUE(reader.Seek(1));
}

TEST_F(FragmentReaderDamage, ALongerMoofIsPassedOverButTheEndIsAFailure) {
    ASSERT_NO_FATAL_FAILURE(useWithMoofOf(8 * MIB + 1));
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(reader.Seek(0));
        EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "c@200*"}));
        EXPECT_EQ(last, ReadOutcome::Failed);
    }
    EXPECT_FALSE(reader.Seek(1));
}

TEST_F(FragmentReaderDamage, BehindWhatWasPassedOverASeekEndsWell) {
    const Bytes first = join({ftyp(), fragment(0, {key("a")}), longBox("moof", Bytes().fill(30))});
    use(join({first, fragment(200, {key("c")})}));
    ASSERT_TRUE(openTable({{0, ftyp().size()}, {1000, first.size()}}));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "c@200*"}));
    EXPECT_EQ(last, ReadOutcome::Failed);
    ASSERT_TRUE(reader.Seek(1));
    EXPECT_EQ(restAsTexts(), Texts{"c@1000*"});
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderDamage, AFailedSeekDoesNotMendWhatWasPassedOver) {
    use(join({ftyp(), fragment(0, {key("a")}), longBox("moof"), fragment(200, {key("c")})}));
    ASSERT_TRUE(openTable({{0, ftyp().size()}, {1000, 3}}));
    ASSERT_TRUE(reader.Seek(0));
    ASSERT_TRUE(reader.NextFragment());
    EXPECT_FALSE(reader.Seek(1));
    EXPECT_EQ(restAsTexts(), Texts{"c@200*"});
    EXPECT_EQ(last, ReadOutcome::Failed);
}

TEST_F(FragmentReaderDamage, AFailedSeekToABrokenFragmentDoesNotSpoilTheEnd) {
    const Bytes first = join({ftyp(), longBox("moof")});
    use(join({first, fragment(200, {key("c")})}));
    ASSERT_TRUE(openTable({{0, first.size()}, {1000, ftyp().size()}}));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_FALSE(reader.Seek(1));
    EXPECT_EQ(restAsTexts(), Texts{"c@0*"});
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderDamage, AMoofWithALongSizeYieldsNothing) {
    const Bytes run = box("traf", join({tfhd(1, {.size = 1}), trunOfCount(1)}));
    EXPECT_EQ(outcomeOf(longBox("moof", run)), ReadOutcome::Failed);
    use(join({ftyp(), longBox("moof", run)}));
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    EXPECT_FALSE(reader.Seek(0));
}

TEST_F(FragmentReaderDamage, OtherBoxesWithLongSizesAreFollowed) {
    EXPECT_EQ(outcomeOf(longBox("mdat", Bytes().fill(30))), ReadOutcome::End);
}

TEST_F(FragmentReaderDamage, ABrokenBoxBehindTheFragmentIsAFailure) {
    const struct {
        Bytes behind;
        ReadOutcome outcome;
    } cases[] = {{Bytes(), ReadOutcome::End},
                 {box("mdat"), ReadOutcome::End},
                 {Bytes().fill(7), ReadOutcome::Failed},
                 {boxOfSize("mdat", 7), ReadOutcome::Failed},
                 {boxOfSize("mdat", 9), ReadOutcome::Failed},
                 {longBoxOfSize("mdat", 15), ReadOutcome::Failed},
                 {longBoxOfSize("mdat", 16), ReadOutcome::End},
                 {longBoxOfSize("mdat", UINT64_MAX), ReadOutcome::Failed},
                 {boxOfSize("mdat", 1), ReadOutcome::Failed},
                 {boxOfSize("moof", 7), ReadOutcome::Failed},
                 {boxOfSize("moof", 100, Bytes().fill(91)), ReadOutcome::Failed},
                 {box("moof"), ReadOutcome::End}};
    for (const auto& [behind, outcome] : cases) {
        EXPECT_EQ(outcomeOf(behind), outcome) << &behind - &cases[0].behind;
    }
}

TEST_F(FragmentReaderDamage, AMoofIsSearchedIn4096Boxes) {
    Bytes between;
    for (int i = 0; i < 4094; ++i) between.add(box("free"));
    // The first one is the mdat of the fragment before.
    use(join({ftyp(), fragment(0, {key("a")}), between, fragment(100, {key("b")})}));
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "b@100*"}));
    EXPECT_EQ(last, ReadOutcome::End);

    reader = {};
    use(join({ftyp(), fragment(0, {key("a")}), between, box("free"), fragment(100, {key("b")})}));
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(restAsTexts(), Texts{"a@0*"});
    EXPECT_EQ(last, ReadOutcome::Failed);
}

TEST_F(FragmentReaderDamage, BoxesUpToTheEndAreNoFailureIfThereAreNoMore) {
    Bytes boxes;
    for (int i = 0; i < 4095; ++i) boxes.add(box("free"));
    EXPECT_EQ(outcomeOf(boxes), ReadOutcome::End);
    EXPECT_EQ(outcomeOf(boxes.add(box("free"))), ReadOutcome::Failed);
}

TEST_F(FragmentReaderDamage, AFileCutBetweenFragmentsAfterItWasOpenedFails) {
    const Bytes first = join({ftyp(), fragment(0, {key("a")})});
    openPieces({fragment(0, {key("a")}), fragment(100, {key("b")})});
    file->resize(first.size());
    EXPECT_EQ(restAsTexts(), Texts{"a@0*"});
    EXPECT_EQ(last, ReadOutcome::Failed);
}

TEST_F(FragmentReaderDamage, AFileCutWithinTheSamplesAfterItWasOpenedFails) {
    openPieces({fragment(0, {key("aa"), other("bb"), other("cc")})});
    file->resize(join({ftyp(), fragment(0, {key("aa"), other("bb"), other("cc")})}).size() - 3);
    ReaderSample sample;
    ASSERT_TRUE(reader.ReadNextSample(sample));
    // Each sample that is gone fails, and so does what should follow them; never an end.
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(reader.ReadNextSample(sample));
        EXPECT_EQ(reader.outcome(), ReadOutcome::Failed) << i;
        EXPECT_TRUE(sample.data.empty());
    }
}

TEST_F(FragmentReaderDamage, AFileCutToNothingAfterItWasOpenedFails) {
    openPieces({fragment(0, {key("a")}), fragment(100, {key("b")})});
    file->resize(0);
    for (int i = 0; i < 4; ++i) {
        EXPECT_TRUE(rest().empty());
        EXPECT_EQ(last, ReadOutcome::Failed);
    }
    EXPECT_FALSE(reader.Seek(0));
}

TEST_F(FragmentReaderDamage, ASampleBeyondTheFileFailsAndTheNextIsRead) {
    const Bytes runs = join({tfhd(1, {.baseDataOffset = 0}), tfdt(0), trun(0x300, {{10, 4}}, 4),
                             trun(0x300, {{10, 9}}, 0x7FFFFFFF), trun(0x300, {{10, 9}}, -1),
                             trun(0x300, {{10, 4}}, 8)});
    openPieces({moof(box("traf", runs))});
    EXPECT_EQ(restAsTexts(), Texts{"ftyp@0*"});
    EXPECT_EQ(last, ReadOutcome::Failed);
    EXPECT_EQ(reader.cursor(), 2u) << "past the sample that failed";
    EXPECT_TRUE(rest().empty());
    EXPECT_EQ(restAsTexts(), Texts{"isom@30*"});
    EXPECT_EQ(last, ReadOutcome::Failed) << "samples were lost";
}

// Whether a fragment's bytes were read in one piece shows when the file changes in between.
class FragmentReaderPrefetch : public FragmentReaderDamage {
protected:
    // Two samples of 4 bytes, the second `span` bytes behind the first one's start, less its own.
    static Bytes apart(std::uint64_t first, std::uint64_t span) {
        const auto second = static_cast<std::int32_t>(span - 4);
        return box("traf", join({tfhd(1, {.baseDataOffset = first}), tfdt(0),
                                 trun(0x300, {{10, 4}}, 0), trun(0x300, {{10, 4}}, second)}));
    }

    // Reads the first sample, changes the second, reads that.
    bool readInOnePiece(std::uint64_t secondAt) {
        ReaderSample sample;
        EXPECT_TRUE(reader.ReadNextSample(sample));
        file->write(secondAt, Bytes().text("new!"));
        EXPECT_TRUE(reader.ReadNextSample(sample));
        return sample.data != Bytes().text("new!").vector();
    }
};

TEST_F(FragmentReaderPrefetch, SamplesWithin64MiBAreReadInOnePiece) {
    for (const std::uint64_t span : {100 * MIB, 64 * MIB + 1, 64 * MIB, std::uint64_t{100}}) {
        const std::uint64_t first = 1000;
        reader = {};
        use(join({ftyp(), moof(apart(first, span))}));
        file->resize(first + span);
        ASSERT_TRUE(openTable({{0, ftyp().size()}}));
        ASSERT_TRUE(reader.Seek(0));
        EXPECT_EQ(readInOnePiece(first + span - 4), span <= 64 * MIB) << span;
    }
}

TEST_F(FragmentReaderPrefetch, SamplesBeyondTheFileAreReadOneByOne) {
    const Bytes runs = join({tfhd(1, {.baseDataOffset = 1000}), trun(0x300, {{10, 4}}, 0),
                             trun(0x300, {{10, 4}}, 50), trun(0x300, {{10, 4}}, 9000)});
    use(join({ftyp(), moof(box("traf", runs))}));
    file->resize(2000);
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_FALSE(readInOnePiece(1050));
    EXPECT_TRUE(rest().empty());
    EXPECT_EQ(last, ReadOutcome::Failed);
}

TEST_F(FragmentReaderPrefetch, SamplesBeyondTheFileUseNothingUpOfItsLength) {
    // The first reaches beyond; the second spans as much as is left if the first counted.
    use(join({ftyp(), moof(apart(1000, 1100)), moof(apart(1000, 1000))}));
    file->resize(2000);
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    ASSERT_TRUE(reader.Seek(0));
    ReaderSample sample;
    EXPECT_TRUE(reader.ReadNextSample(sample));
    EXPECT_FALSE(reader.ReadNextSample(sample));
    EXPECT_TRUE(readInOnePiece(1996));
}

TEST_F(FragmentReaderPrefetch, FragmentsThatShareTheirBytesAreReadInOnePieceWithinTheFilesLength) {
    // Each of them spans all but 1000 bytes of the file: only one does so within its length.
    const std::uint64_t span = 100'000;
    use(join({ftyp(), moof(apart(1000, span)), moof(apart(1000, span))}));
    file->resize(1000 + span);
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    for (int i = 0; i < 2; ++i) {
        file->write(1000 + span - 4, Bytes().text("old!"));
        ASSERT_TRUE(reader.Seek(0));
        EXPECT_TRUE(readInOnePiece(1000 + span - 4));
        file->write(1000 + span - 4, Bytes().text("old!"));
        EXPECT_FALSE(readInOnePiece(1000 + span - 4));
    }
}

// What a few bytes claim must cost neither minutes nor gigabytes.

TEST_F(FragmentReaderDamage, AMoofThatClaimsTheMostSamplesFailsSoon) {
    const Bytes run = join({tfhd(1, {.duration = 1, .size = 1}), tfdt(0), trunOfCount(MOST, 8)});
    const Bytes moofBox = moof(box("traf", run));
    openPieces({moofBox, box("mdat", Bytes().fill(1000, 'x'))});
    const std::uint64_t length = ftyp().size() + moofBox.size() + 1008;
    EXPECT_EQ(reader.samples().size(), MOST);
    const std::vector<ReaderSample> samples = rest();
    // As many as there are bytes behind the moof's header.
    EXPECT_EQ(samples.size(), length - ftyp().size() - 8);
    EXPECT_EQ(last, ReadOutcome::Failed);
}

TEST_F(FragmentReaderDamage, ManyMoofsThatClaimTheMostSamplesFailSoon) {
    Bytes runs = join({tfhd(1, {.baseDataOffset = 0, .duration = 1, .size = 1000}), tfdt(0)});
    for (int i = 0; i < 50; ++i) runs.add(trunOfCount(MOST));
    Bytes content = ftyp();
    for (int i = 0; i < 300; ++i) content.add(moof(box("traf", runs)));
    use(content);
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(rest().size(), content.size() / 1000);
    EXPECT_EQ(last, ReadOutcome::Failed);
}

TEST_F(FragmentReaderDamage, EqualSamplesThatFillTheFileAreNoFailure) {
    const Bytes run =
        join({tfhd(1, {.baseDataOffset = 0, .duration = 5, .size = 10}), tfdt(0), trunOfCount(20)});
    use(join({ftyp(), moof(box("traf", run))}));
    file->resize(208);
    file->write(200, Bytes().u32(8).text("free"));
    Bytes moofBox = moof(box("traf", run));
    file->write(ftyp().size() + moofBox.size(),
                Bytes().u32(200 - ftyp().size() - moofBox.size()).text("free"));
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    EXPECT_EQ(reader.DurationSeconds(), 0.1);
    for (int i = 0; i < 2; ++i) {
        ASSERT_TRUE(reader.Seek(0));
        EXPECT_EQ(rest().size(), 20u);
        EXPECT_EQ(last, ReadOutcome::End);
    }
}

} // namespace
} // namespace velkantrix
