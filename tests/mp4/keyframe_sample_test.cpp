#include "mp4/keyframe_sample.h"

#include <gtest/gtest.h>

#include "tests/support/fragmented_file.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

constexpr std::uint64_t MIB = std::uint64_t{1} << 20;
const Bytes PARAMETER_SETS = {0, 0, 0, 1, 0x67, 0, 0, 0, 1, 0x68};

// One second per 1000 ticks.
VideoTrackIndex indexOf(RandomAccessTable table, bool fragmented, std::uint32_t nalLengthSize = 4) {
    VideoTrackIndex index;
    index.valid = true;
    index.fragmented = fragmented;
    index.timescale = 1000;
    index.avcConfig = avcRecord(Bytes{0x67}, Bytes{0x68}, nalLengthSize).vector();
    index.randomAccess = std::move(table);
    return index;
}

void expectUnit(const KeyframeSample& sample, const Bytes& unit) {
    EXPECT_TRUE(sample.ok);
    EXPECT_TRUE(sample.sync);
    EXPECT_EQ(sample.data, join({PARAMETER_SETS, Bytes{0, 0, 0, 1}, unit}).vector());
}

void expectNone(const KeyframeSample& sample) {
    EXPECT_FALSE(sample.ok);
    EXPECT_TRUE(sample.data.empty());
}

// A plain file with these bytes at 100, and a table with one entry for all of them.
KeyframeSample readPlain(const Bytes& bytes, std::uint32_t nalLengthSize = 4) {
    const TempFile file(Bytes().fill(100, 0xEE).add(bytes));
    const auto size = static_cast<std::uint32_t>(bytes.size());
    return ReadKeyframeSample(file.path(), indexOf({{0, 100, size}}, false, nalLengthSize), 0);
}

TEST(ReadKeyframeSample, OfAPlainFileTheEntrySaysWhereItIs) {
    const TempFile file(Bytes().fill(50).add(nal({0x65, 1})).add(nal({0x65, 2, 3})));
    const VideoTrackIndex index = indexOf({{0, 50, 6}, {2500, 56, 7}}, false);
    KeyframeSample sample = ReadKeyframeSample(file.path(), index, 0);
    expectUnit(sample, {0x65, 1});
    EXPECT_EQ(sample.timeSeconds, 0);
    sample = ReadKeyframeSample(file.path(), index, 3);
    expectUnit(sample, {0x65, 2, 3});
    EXPECT_EQ(sample.timeSeconds, 2.5);
}

TEST(ReadKeyframeSample, OnlyWholeSecondsCount) {
    const TempFile file(Bytes().fill(50).add(nal({0x65, 1})).add(nal({0x65, 2})));
    const VideoTrackIndex index = indexOf({{0, 50, 6}, {2500, 56, 6}}, false);
    expectUnit(ReadKeyframeSample(file.path(), index, 2.9), {0x65, 1});
    expectUnit(ReadKeyframeSample(file.path(), index, -7), {0x65, 1});
}

TEST(ReadKeyframeSample, EveryUnitGetsAStartCode) {
    for (std::uint32_t width = 1; width <= 4; ++width) {
        const KeyframeSample sample =
            readPlain(join({nal({6, 7}, width), nal({0x65}, width)}), width);
        expectUnit(sample, {6, 7, 0, 0, 0, 1, 0x65});
    }
}

TEST(ReadKeyframeSample, ABrokenUnitEndsTheSample) {
    expectUnit(readPlain(join({nal({0x65}), nal({}), nal({0x41})})), {0x65});
    expectUnit(readPlain(join({nal({0x65}), Bytes{0, 0, 0, 2, 1}})), {0x65});
}

TEST(ReadKeyframeSample, WithoutAWholeUnitThereIsNone) {
    expectNone(readPlain(nal({})));
    expectNone(readPlain({0, 0, 0, 2, 1}));
    expectNone(readPlain({0, 0, 1}));
}

TEST(ReadKeyframeSample, WithoutATableOrATimeScaleThereIsNone) {
    const TempFile file(Bytes().add(nal({0x65})));
    expectNone(ReadKeyframeSample(file.path(), indexOf({}, false), 0));
    VideoTrackIndex index = indexOf({{0, 0, 5}}, false);
    expectUnit(ReadKeyframeSample(file.path(), index, 0), {0x65});
    index.timescale = 0;
    expectNone(ReadKeyframeSample(file.path(), index, 0));
}

TEST(ReadKeyframeSample, WithoutAConfigurationThereIsNone) {
    const TempFile file(Bytes().add(nal({0x65})));
    VideoTrackIndex index = indexOf({{0, 0, 5}}, false);
    index.avcConfig.clear();
    expectNone(ReadKeyframeSample(file.path(), index, 0));
    index.avcConfig = {1, 0x64, 0, 0x1E, 0xFF, 0xE0, 0};
    expectNone(ReadKeyframeSample(file.path(), index, 0));
}

TEST(ReadKeyframeSample, WithoutTheFileThereIsNone) {
    expectNone(ReadKeyframeSample(std::filesystem::path("no/such/file.mp4"),
                                  indexOf({{0, 0, 5}}, false), 0));
}

TEST(ReadKeyframeSample, AnEmptySampleIsNone) {
    const TempFile file(Bytes().add(nal({0x65})));
    expectNone(ReadKeyframeSample(file.path(), indexOf({{0, 0, 0}}, false), 0));
}

TEST(ReadKeyframeSample, ASampleBeyondTheFileIsNone) {
    const TempFile file(Bytes().add(nal({0x65})));
    expectNone(ReadKeyframeSample(file.path(), indexOf({{0, 0, 6}}, false), 0));
    expectNone(ReadKeyframeSample(file.path(), indexOf({{0, UINT64_MAX, 5}}, false), 0));
}

TEST(ReadKeyframeSample, ASampleOf64MiBIsTheLongest) {
    TempFile file(Bytes().u32(64 * MIB - 4));
    file.resize(65 * MIB);
    const KeyframeSample sample =
        ReadKeyframeSample(file.path(), indexOf({{0, 0, 64 * MIB}}, false), 0);
    EXPECT_TRUE(sample.ok);
    EXPECT_EQ(sample.data.size(), PARAMETER_SETS.size() + 64 * MIB);
    expectNone(ReadKeyframeSample(file.path(), indexOf({{0, 0, 64 * MIB + 1}}, false), 0));
}

// A file whose moof, at 100, holds these trafs, with 00 00 00 02 65 NN at 1000 + 6 * NN, and
// nothing else.
class FragmentKeyframe : public testing::Test {
protected:
    static constexpr std::uint64_t MOOF = 100;

    void use(const Bytes& moofBox) {
        Bytes content = Bytes().fill(MOOF).add(moofBox);
        ASSERT_LE(content.size(), 1000u);
        content.fill(1000 - content.size());
        for (int i = 0; i < 20; ++i) content.add({0, 0, 0, 2, 0x65, i});
        file_.emplace(content);
    }
    void useTraf(std::initializer_list<Bytes> children) { use(moof(box("traf", join(children)))); }

    KeyframeSample read(std::uint32_t trafNumber, std::uint32_t trun, std::uint32_t sample) {
        const VideoTrackIndex index = indexOf({{500, MOOF, 0, trafNumber, trun, sample}}, true);
        return ReadKeyframeSample(file_->path(), index, 0);
    }

    // The sample is the one whose bytes are at 1000 + 6 * number.
    void expectSample(int number, const KeyframeSample& sample) {
        expectUnit(sample, {0x65, number});
        EXPECT_EQ(sample.timeSeconds, 0.5);
    }

    // A data offset that means the same.
    static std::int32_t to(int number) {
        return 1000 + 6 * number - static_cast<std::int32_t>(MOOF);
    }

    std::optional<TempFile> file_;
};

const std::vector<std::vector<std::uint32_t>> THREE_SIZES = {{6}, {12}, {6}};

TEST_F(FragmentKeyframe, SizesInFrontOfItAreAddedUp) {
    useTraf({tfhd(1), trun(0x200, THREE_SIZES, to(4))});
    expectSample(4, read(1, 1, 1));
    expectSample(7, read(1, 1, 3));
}

TEST_F(FragmentKeyframe, OtherFieldsOfARecordDoNotMatter) {
    useTraf({tfhd(1, {.size = 5}), trun(0xF00, {{9, 6, 9, 9}, {9, 6, 9, 9}}, to(2), 0x77)});
    expectSample(2, read(1, 1, 1));
    expectSample(3, read(1, 1, 2));
}

TEST_F(FragmentKeyframe, WithoutSizesTheyAreTheHeaders) {
    useTraf({tfhd(1, {.descriptionIndex = 1, .duration = 2, .size = 6, .flags = 3}),
             trun(0x100, {{9}, {9}}, to(2)), trunOfCount(3, to(8))});
    expectSample(3, read(1, 1, 2));
    expectSample(10, read(1, 2, 3));
}

TEST_F(FragmentKeyframe, TrafsAndTrunsAreCountedFromOneAndZeroIsOne) {
    const Bytes other = box("traf", join({tfhd(2, {.size = 6}), trunOfCount(1, to(9))}));
    const Bytes ours =
        box("traf",
            join({tfhd(1, {.size = 6}), tfdt(5), trunOfCount(1, to(2)), trunOfCount(2, to(5))}));
    use(moof(join({other, box("free"), ours})));
    expectSample(9, read(1, 1, 1));
    expectSample(9, read(0, 0, 0));
    expectSample(2, read(2, 1, 1));
    expectSample(5, read(2, 2, 1));
    expectSample(6, read(2, 2, 2));
    expectNone(read(3, 1, 1));
    expectNone(read(1, 2, 1));
    expectNone(read(2, 3, 1));
}

TEST_F(FragmentKeyframe, ASampleBehindTheStatedCountIsNone) {
    useTraf({tfhd(1, {.size = 6}), trunOfCount(3, to(2)), trun(0x200, THREE_SIZES, to(4))});
    expectSample(4, read(1, 1, 3));
    expectNone(read(1, 1, 4));
    expectSample(7, read(1, 2, 3));
    expectNone(read(1, 2, 4));
    expectNone(read(1, 1, 0xFFFFFFFF));
}

TEST_F(FragmentKeyframe, ARecordBeyondItsBoxIsNone) {
    Bytes run = withoutHeader(trun(0x200, THREE_SIZES, to(4)));
    run.resize(run.size() - 1);
    useTraf({tfhd(1, {.size = 6}), box("trun", run)});
    expectNone(read(1, 1, 3));
    expectSample(4, read(1, 1, 1));
}

TEST_F(FragmentKeyframe, ARecordThatIsNotWholeIsNoneEvenIfItsSizeIsKnown) {
    const auto cut = [](const Bytes& run) {
        Bytes payload = withoutHeader(run);
        payload.resize(payload.size() - 1);
        return box("trun", payload);
    };
    useTraf({tfhd(1, {.size = 6}), cut(trun(0x100, {{9}, {9}}, to(2))),
             cut(trun(0x600, {{6, 9}, {6, 9}}, to(2)))});
    expectSample(2, read(1, 1, 1));
    expectNone(read(1, 1, 2));
    expectSample(2, read(1, 2, 1));
    expectNone(read(1, 2, 2));
}

TEST_F(FragmentKeyframe, ASizeOfZeroIsNone) {
    useTraf({tfhd(1), trun(0x200, {{0}, {6}}, to(4)), trunOfCount(2, to(4))});
    expectNone(read(1, 1, 1));
    expectSample(4, read(1, 1, 2));
    expectNone(read(1, 2, 1));
}

TEST_F(FragmentKeyframe, TheHeadersBaseReplacesTheFragmentsPlace) {
    useTraf({tfhd(1, {.baseDataOffset = 1600, .duration = 9, .size = 6}), trunOfCount(1, -600 + 12),
             trunOfCount(1, -600)});
    expectSample(2, read(1, 1, 1));
    expectSample(0, read(1, 2, 1));
}

TEST_F(FragmentKeyframe, WithoutADataOffsetItBeginsAtTheBase) {
    useTraf({tfhd(1, {.baseDataOffset = 1018, .size = 6}), trunOfCount(2), trunOfCount(2)});
    expectSample(3, read(1, 1, 1));
    expectSample(4, read(1, 2, 2));
}

TEST_F(FragmentKeyframe, ADataOffsetThatDoesNotFitIsZero) {
    Bytes run = withoutHeader(trunOfCount(1, 50));
    run.resize(11);
    useTraf({tfhd(1, {.baseDataOffset = 1018, .size = 6}), box("trun", run)});
    expectSample(3, read(1, 1, 1));
}

TEST_F(FragmentKeyframe, ARunBelowEightBytesIsNoneButCounts) {
    useTraf({tfhd(1, {.size = 6}), box("trun", Bytes().fill(7)), trunOfCount(1, to(3))});
    expectNone(read(1, 1, 1));
    expectSample(3, read(1, 2, 1));
}

TEST_F(FragmentKeyframe, WithoutAHeaderDefaultsAreZero) {
    useTraf({trun(0x200, THREE_SIZES, to(4)), trunOfCount(1, to(4))});
    expectSample(4, read(1, 1, 1));
    expectNone(read(1, 2, 1));
}

TEST_F(FragmentKeyframe, ARunThatClaimsTheMostSamplesCostsNothing) {
    useTraf({tfhd(1, {.size = 1}), trunOfCount(0xFFFFFFFF, to(4))});
    expectNone(read(1, 1, 0xFFFFFFFF));
}

// The base lies so far in front of the file that it wraps around; the sums lead back into it.
TEST_F(FragmentKeyframe, BytesInFrontOfItAreAddedUpIn64Bits) {
    constexpr std::uint64_t LONG = 0xFFFFFFFF, NUMBER = 0x80000000;
    useTraf({tfhd(1, {.baseDataOffset = 1000 + 6 * 5 - (LONG + 12)}),
             trun(0x200, {{LONG}, {12}, {6}})});
    expectSample(5, read(1, 1, 3));
    useTraf({tfhd(1, {.baseDataOffset = 1000 + 6 * 7 - (NUMBER - 1) * 6, .size = 6}),
             trunOfCount(0xFFFFFFFF)});
    expectSample(7, read(1, 1, NUMBER));
}

TEST_F(FragmentKeyframe, WhatIsNoMoofIsNone) {
    const Bytes ours = box("traf", join({tfhd(1, {.size = 6}), trunOfCount(1, to(2))}));
    use(box("moof", ours));
    expectSample(2, read(1, 1, 1));
    use(box("moov", ours));
    expectNone(read(1, 1, 1));
}

TEST_F(FragmentKeyframe, OnlySizesOf32BitsAreTaken) {
    const Bytes ours = box("traf", join({tfhd(1, {.size = 6}), trunOfCount(1, to(2))}));
    use(longBox("moof", ours));
    expectNone(read(1, 1, 1));
    use(openBox("moof", ours));
    expectNone(read(1, 1, 1));
    for (const std::uint32_t size : {2u, 7u}) {
        use(boxOfSize("moof", size, ours));
        expectNone(read(1, 1, 1));
    }
    use(boxOfSize("moof", 8, ours));
    expectNone(read(1, 1, 1));
}

TEST_F(FragmentKeyframe, AMoofOf8MiBIsTheLongest) {
    const Bytes ours = box("traf", join({tfhd(1, {.size = 6}), trunOfCount(1, to(2))}));
    for (const std::uint64_t size : {8 * MIB, 8 * MIB + 1}) {
        use(boxOfSize("moof", size, ours));
        file_->resize(9 * MIB);
        if (size == 8 * MIB) {
            expectSample(2, read(1, 1, 1));
        } else {
            expectNone(read(1, 1, 1));
        }
    }
}

TEST_F(FragmentKeyframe, AMoofBeyondTheFileIsNone) {
    use(boxOfSize("moof", 10'000,
                  box("traf", join({tfhd(1, {.size = 6}), trunOfCount(1, to(2))}))));
    expectNone(read(1, 1, 1));
}

// Four fragments of tracks in one moof; sample data behind it.
class KeyframeOfTracks : public testing::Test {
protected:
    // The moof's trafs are of these tracks, each with one sample: nal({0x65, its place from 0}).
    KeyframeSample read(const std::vector<std::uint32_t>& tracks, std::uint32_t named,
                        std::uint32_t trackId) {
        Bytes samples;
        const auto trafs = [&](std::size_t moofBytes) {
            Bytes all;
            samples = Bytes();
            for (std::size_t i = 0; i < tracks.size(); ++i) {
                const auto at = static_cast<std::int32_t>(moofBytes + samples.size());
                samples.add(nal({0x65, static_cast<int>(i)}));
                all.add(box("traf", join({tfhd(tracks[i]), trun(0x200, {{6}}, at)})));
            }
            return all;
        };
        const std::size_t moofBytes = moof(trafs(0)).size();
        const TempFile file(join({moof(trafs(moofBytes)), samples}));
        VideoTrackIndex index = indexOf({{0, 0, 0, named, 1, 1}}, true);
        index.trackId = trackId;
        return ReadKeyframeSample(file.path(), index, 0);
    }
};

TEST_F(KeyframeOfTracks, TheNamedOneIsTakenIfItIsTheTracks) {
    expectUnit(read({2, 1, 1}, 3, 1), {0x65, 2});
    expectUnit(read({2, 1, 1}, 2, 1), {0x65, 1});
}

TEST_F(KeyframeOfTracks, InsteadOfAnotherTracksTheFirstOfItsOwnIsTaken) {
    expectUnit(read({2, 1, 1}, 1, 1), {0x65, 1});
    expectUnit(read({1, 1, 2}, 3, 1), {0x65, 0});
}

TEST_F(KeyframeOfTracks, WithoutOneOfItsOwnThereIsNone) {
    expectNone(read({2, 3}, 1, 1));
}

TEST_F(KeyframeOfTracks, OneThatTheMoofDoesNotHaveIsNone) {
    expectNone(read({2, 1, 1}, 4, 1));
}

TEST_F(KeyframeOfTracks, WithoutATrackTheNumberAloneCounts) {
    expectUnit(read({2, 1, 1}, 1, 0), {0x65, 0});
}

} // namespace
} // namespace velkantrix
