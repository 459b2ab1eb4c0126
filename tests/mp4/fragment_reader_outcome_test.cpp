// What a reader says of the end of a recording from which something is missing: never that it is
// complete.
#include <gtest/gtest.h>

#include "tests/support/fragment_reader_fixture.h"
#include "tests/support/mp4_boxes.h"

namespace velkantrix {
namespace {

class FragmentReaderOutcome : public FragmentReaderTest {
protected:
    static Bytes first() { return fragment(0, {key("a")}); }
    static Bytes last3() { return fragment(300, {key("c")}); }

    // The samples' bytes, in one text, of a recording with `middle` as its second fragment.
    std::string readWith(const Bytes& middle) {
        openPieces({first(), middle, last3()});
        std::string all;
        for (const ReaderSample& sample : rest())
            all.append(sample.data.begin(), sample.data.end());
        return all;
    }

    static Bytes trafOf(const Bytes& runs) {
        return box("traf", join({tfhd(1, {.baseDataOffset = 4, .duration = 10}), tfdt(100), runs}));
    }
    // Of `size` bytes each, from byte 4 of the file on: "ftyp...".
    static Bytes runOf(const std::vector<std::uint32_t>& sizes) {
        std::vector<std::vector<std::uint32_t>> records;
        for (const std::uint32_t size : sizes) records.push_back({size});
        return trun(0x200, records, 0);
    }
};

TEST_F(FragmentReaderOutcome, NothingWasReadBeforeTheFirstRead) {
    use(join({ftyp(), first()}));
    EXPECT_EQ(reader.outcome(), ReadOutcome::Nothing);
    ASSERT_TRUE(openTable({{0, ftyp().size()}}));
    EXPECT_EQ(reader.outcome(), ReadOutcome::Nothing);
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(reader.outcome(), ReadOutcome::Nothing);
    EXPECT_EQ(rest().size(), 1u);
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(reader.outcome(), ReadOutcome::Nothing);
}

TEST_F(FragmentReaderOutcome, AFragmentWithAllThatItStatesIsNoLoss) {
    EXPECT_EQ(readWith(moof(trafOf(runOf({4})))), "aftypc");
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderOutcome, SamplesWithoutBytesBehindTheOthersAreNoLoss) {
    EXPECT_EQ(readWith(moof(trafOf(runOf({4, 0, 0})))), "aftypc");
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderOutcome, SamplesWithATimeButWithoutBytesAreNoLoss) {
    EXPECT_EQ(readWith(moof(trafOf(trun(0x300, {{10, 4}, {10, 0}}, 0)))), "aftypc");
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderOutcome, AnotherTracksFragmentIsNoLoss) {
    EXPECT_EQ(readWith(fragment(0, {key("x")}, 2)), "ac");
    EXPECT_EQ(last, ReadOutcome::End);
}

struct Loss {
    const char* name;
    Bytes moof;
    const char* read; // what comes out nevertheless
};

void PrintTo(const Loss& loss, std::ostream* out) {
    *out << loss.name;
}

class FragmentReaderLoss : public FragmentReaderOutcome, public testing::WithParamInterface<Loss> {
public:
    static std::vector<Loss> all() {
        constexpr std::uint32_t SIZE_AND_DURATION = 0x300;
        Bytes overrunTraf = trafOf(runOf({4}));
        overrunTraf[3] += 1;
        Bytes overrunTrun = runOf({4});
        overrunTrun[3] += 1;
        Bytes longTrun = runOf({4, 4});
        longTrun[15] -= 1; // it states one
        Bytes swallowingTrun = trafOf(join({runOf({4}), runOf({4})}));
        swallowingTrun[swallowingTrun.size() - 2 * runOf({4}).size() + 3] = 0;
        Bytes shortTrun = runOf({4, 4});
        shortTrun[15] += 1; // it states three
        return {
            {"aSizeOf0AmidOthers", moof(trafOf(runOf({4, 0, 4}))), "aftypc"},
            {"aFirstSizeOf0", moof(trafOf(runOf({0, 4}))), "ac"},
            {"aTrunThatStatesMore", moof(trafOf(shortTrun)), "aftypisomc"},
            {"aTrunThatStatesLess", moof(trafOf(longTrun)), "aftypc"},
            {"aTrunWithoutSizeOfItsOwn", moof(swallowingTrun), "aftypc"},
            {"zerosInATrun", moof(trafOf(trun(SIZE_AND_DURATION, {{10, 4}, {0, 0}}, 0))), "aftypc"},
            {"aTrunThatOverruns", moof(trafOf(overrunTrun)), "ac"},
            {"aTrafThatOverruns", moof(overrunTraf), "ac"},
            {"aBadBoxInFront", moof(join({boxOfSize("free", 7), trafOf(runOf({4}))})), "ac"},
            {"aShortTrun", moof(trafOf(box("trun", Bytes().fill(4)))), "ac"},
            {"aShortTfhd", moof(box("traf", join({box("tfhd", Bytes().fill(4)), runOf({4})}))),
             "ac"},
            {"noTfhd", moof(box("traf", runOf({4}))), "ac"},
            {"noSizeAnywhere", moof(trafOf(trun(0x100, {{10}, {10}}, 0))), "ac"},
            {"noSizeAndNoRecords", moof(trafOf(trunOfCount(100, 0))), "ac"},
            {"aLongSize", longBox("moof", trafOf(runOf({4}))), "ac"},
        };
    }
};

TEST_P(FragmentReaderLoss, MakesTheEndAFailure) {
    EXPECT_EQ(readWith(GetParam().moof), GetParam().read);
    EXPECT_EQ(last, ReadOutcome::Failed);
}

INSTANTIATE_TEST_SUITE_P(Of, FragmentReaderLoss, testing::ValuesIn(FragmentReaderLoss::all()),
                         [](const auto& row) { return row.param.name; });

// An unfinished download: zeros read as one box to the end of the file.
TEST_F(FragmentReaderOutcome, FragmentsThatTheTableKnowsButZerosHideAreMissed) {
    Bytes content = ftyp();
    const std::uint64_t one = append(content, first());
    const std::uint64_t two = append(content, Bytes().fill(first().size()));
    const std::uint64_t three = append(content, last3());
    use(content);
    ASSERT_TRUE(openTable({{0, one}, {1000, two}, {2000, three}}));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(rest().size(), 1u);
    EXPECT_EQ(last, ReadOutcome::Failed);
    ASSERT_TRUE(reader.Seek(2));
    EXPECT_EQ(rest().size(), 1u);
    EXPECT_EQ(last, ReadOutcome::End);
}

TEST_F(FragmentReaderOutcome, ZerosThatTheTableDoesNotKnowAreMissedToo) {
    openPieces({first(), Bytes().fill(100)});
    EXPECT_EQ(rest().size(), 1u);
    EXPECT_EQ(last, ReadOutcome::Failed);
}

TEST_F(FragmentReaderOutcome, AFragmentInTheMiddleThatTheTableKnowsIsMissed) {
    const auto readTo = [&](const Bytes& middle) {
        Bytes content = ftyp();
        const std::uint64_t one = append(content, first());
        const std::uint64_t two = append(content, middle);
        const std::uint64_t three = append(content, last3());
        const TempFile temp(content);
        FragmentReader own;
        EXPECT_TRUE(
            own.OpenWithTable(temp.path(), 1, 1000, {{0, one}, {1000, two}, {2000, three}}));
        EXPECT_TRUE(own.Seek(0));
        ReaderSample sample;
        while (own.ReadNextSample(sample)) {}
        const ReadOutcome fromTheStart = own.outcome();
        EXPECT_TRUE(own.Seek(2));
        while (own.ReadNextSample(sample)) {}
        EXPECT_EQ(own.outcome(), ReadOutcome::End) << "nothing is missed behind it";
        return fromTheStart;
    };
    Bytes renamed = fragment(100, {key("b")});
    renamed[7] = 'x';
    EXPECT_EQ(readTo(fragment(100, {key("b")})), ReadOutcome::End);
    EXPECT_EQ(readTo(renamed), ReadOutcome::Failed);
    EXPECT_EQ(readTo(fragment(100, {key("b")}, 2)), ReadOutcome::Failed) << "of another track";
    EXPECT_EQ(readTo(moof(trafOf(runOf({0})))), ReadOutcome::End) << "with an empty sample only";
    EXPECT_EQ(readTo(moof(trafOf({}))), ReadOutcome::End) << "without samples";
}

TEST_F(FragmentReaderOutcome, FragmentsThatTheTableKnowsBehindTheFilesEndAreMissed) {
    use(join({ftyp(), first()}));
    ASSERT_TRUE(openTable({{0, ftyp().size()}, {1000, 4000}}));
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(rest().size(), 1u);
    EXPECT_EQ(last, ReadOutcome::Failed);
}

TEST_F(FragmentReaderOutcome, BehindAFailedReadThereIsNoEnd) {
    openPieces({first(), moof(trafOf(trun(0x200, {{4}}, 0x7FFFFFFF)))});
    EXPECT_EQ(rest().size(), 1u);
    EXPECT_EQ(last, ReadOutcome::Failed);
    for (int i = 0; i < 3; ++i) {
        EXPECT_TRUE(rest().empty());
        EXPECT_EQ(last, ReadOutcome::Failed);
    }
    ASSERT_TRUE(reader.Seek(0));
    EXPECT_EQ(rest().size(), 1u);
}

TEST_F(FragmentReaderOutcome, AFailedSeekLeavesTheTimesOfWhatFollows) {
    Bytes content = ftyp();
    const std::uint64_t one = append(content, first());
    append(content, fragment(std::nullopt, {key("b")}));
    const std::uint64_t three = append(content, moof(box("traf", join({tfhd(1), tfdt(5000)}))));
    use(content);
    ASSERT_TRUE(openTable({{0, one}, {9000, three}}));
    ASSERT_TRUE(reader.Seek(0));
    ASSERT_FALSE(reader.Seek(9));
    EXPECT_EQ(restAsTexts(), (Texts{"a@0*", "b@100*"}));
}

// Samples that each claim the whole file would take time by the square of its length.
TEST_F(FragmentReaderOutcome, SamplesMayReadAFileFourTimesOver) {
    const auto readTimes = [&](std::size_t times) {
        Bytes runs;
        for (std::size_t i = 0; i < times; ++i) runs.add(trun(0x200, {{1000}}, -4));
        Bytes content = join({ftyp(), moof(trafOf(runs)), openBox("mdat")});
        content.resize(1000);
        use(content);
        FragmentReader own;
        EXPECT_TRUE(own.OpenWithTable(file->path(), 1, 1000, {{0, ftyp().size()}}));
        std::size_t count = 0;
        for (int seek = 0; seek < 2; ++seek) {
            EXPECT_TRUE(own.Seek(0));
            ReaderSample sample;
            for (count = 0; own.ReadNextSample(sample);) ++count;
        }
        last = own.outcome();
        return count;
    };
    EXPECT_EQ(readTimes(4), 4u);
    EXPECT_EQ(last, ReadOutcome::End);
    EXPECT_EQ(readTimes(5), 4u);
    EXPECT_EQ(last, ReadOutcome::Failed);
}

} // namespace
} // namespace velkantrix
