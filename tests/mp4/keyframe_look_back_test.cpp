// Tables that name samples which are no keyframes: what FragmentReader and ReadKeyframeSample begin
// with instead.
#include <optional>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mp4/fragment_reader.h"
#include "mp4/keyframe_sample.h"
#include "tests/support/fragmented_file.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

constexpr std::size_t MIB = std::size_t{1} << 20;

// A recording whose samples are a second long, each of them with an entry in the table.
class KeyframeLookBack : public testing::Test {
protected:
    static Bytes picture(std::size_t number, bool sync) {
        return nal(Bytes{sync ? 0x65 : 0x41}.u16(number));
    }

    // Fragments of one sample.
    void add(bool sync, int times = 1) {
        for (; times > 0; --times) {
            const std::size_t number = entries.size();
            const FragmentSample sample{picture(number, sync), 1000, sync};
            addEntry(append(content, fragment(number * 1000, {sample})));
        }
    }

    // One with a moof of so many bytes.
    void addLong(bool sync, std::size_t moofBytes) {
        const std::size_t number = entries.size();
        const Bytes run = trun(0x600, {{7, sync ? SYNC_SAMPLE : NON_SYNC_SAMPLE}},
                               static_cast<std::int32_t>(moofBytes + 8));
        const Bytes traf =
            box("traf", join({tfhd(1, {.duration = 1000}), tfdt(number * 1000), run}));
        const std::size_t more = moofBytes - moof(join({traf, box("free")})).size();
        addEntry(append(content, moof(join({traf, box("free", Bytes().fill(more))}))));
        content.add(box("mdat", picture(number, sync)));
    }

    struct RunFlags {
        std::optional<std::uint32_t> ofAll, ofFirst;
        std::vector<std::uint32_t> ofEach;
    };
    // One with two samples, which says in these ways whether they are sync.
    void addTwo(const RunFlags& flags) {
        const std::size_t number = entries.size();
        const auto withDataAt = [&](std::size_t at) {
            const auto offset = static_cast<std::int32_t>(at);
            std::vector<std::vector<std::uint32_t>> records;
            for (const std::uint32_t each : flags.ofEach) records.push_back({each});
            const Bytes run = records.empty() ? trunOfCount(2, offset, flags.ofFirst)
                                              : trun(0x400, records, offset, flags.ofFirst);
            const TfhdFields defaults{.duration = 1000, .size = 7, .flags = flags.ofAll};
            return moof(box("traf", join({tfhd(1, defaults), tfdt(number * 1000), run})));
        };
        const std::uint64_t at = append(content, withDataAt(withDataAt(0).size() + 8));
        addEntry(at);
        addEntry(at, 2);
        content.add(box("mdat", join({picture(number, true), picture(number + 1, true)})));
    }

    void addEntry(std::uint64_t moofAt, std::uint32_t sampleNumber = 1) {
        entries.push_back({entries.size() * 1000, moofAt, 1, 1, sampleNumber});
    }

    [[nodiscard]] Bytes file() const { return join({content, mfra(tfra(1, entries))}); }

    // The number of the sample that both begin with at this second.
    std::size_t beginningAt(double second) {
        const TempFile temp(file());
        const KeyframeSample keyframe =
            ReadKeyframeSample(temp.path(), LoadVideoTrackIndex(temp.path()), second);
        EXPECT_TRUE(keyframe.ok);
        const std::size_t number = numberIn(keyframe.data);
        EXPECT_EQ(keyframe.timeSeconds, static_cast<double>(number));

        FragmentReader reader;
        ReaderSample first;
        EXPECT_TRUE(reader.Open(temp.path()));
        EXPECT_TRUE(reader.Seek(second));
        EXPECT_EQ(reader.rebase(), 0);
        EXPECT_TRUE(reader.ReadNextSample(first));
        EXPECT_EQ(numberIn(first.data), number);
        EXPECT_EQ(first.pts, static_cast<std::int64_t>(number * 1000));
        return number;
    }

    static std::size_t numberIn(const std::vector<std::uint8_t>& data) {
        return data.size() < 7 ? SIZE_MAX : ByteView(data).u16(data.size() - 2);
    }

    Bytes content = fragmentedStart(avcRecord(Bytes{0x67}, Bytes{0x68}));
    std::vector<TfraEntry> entries;
};

TEST_F(KeyframeLookBack, AnEntryThatNamesAKeyframeIsTaken) {
    add(true, 3);
    EXPECT_EQ(beginningAt(2), 2u);
}

TEST_F(KeyframeLookBack, InsteadOfAnotherSampleTheNearestKeyframeInFrontIsTaken) {
    add(true, 2);
    add(false);
    EXPECT_EQ(beginningAt(2), 1u);
    add(false, 4);
    add(true);
    EXPECT_EQ(beginningAt(6), 1u);
    EXPECT_EQ(beginningAt(7), 7u);
}

TEST_F(KeyframeLookBack, ItMayBeInTheSameFragment) {
    addTwo({.ofEach = {SYNC_SAMPLE, NON_SYNC_SAMPLE}});
    EXPECT_EQ(beginningAt(1), 0u);
}

TEST_F(KeyframeLookBack, AtMost64EntriesAreLookedAt) {
    add(true);
    add(false, 64);
    EXPECT_EQ(beginningAt(64), 0u);
    add(false);
    EXPECT_EQ(beginningAt(65), 65u) << "as if nobody had looked";
}

TEST_F(KeyframeLookBack, AtMost8MiBOfMoofsAreReadOnTop) {
    const std::size_t own = 9000;
    for (const std::size_t more : {std::size_t{0}, std::size_t{1}}) {
        content = fragmentedStart(avcRecord(Bytes{0x67}, Bytes{0x68}));
        entries.clear();
        addLong(true, 5 * MIB);
        addLong(false, 3 * MIB + more);
        addLong(false, own);
        EXPECT_EQ(beginningAt(2), more == 0 ? 0u : 2u);
    }
}

TEST_F(KeyframeLookBack, WithoutAKeyframeInFrontTheSampleItselfIsTaken) {
    add(false, 3);
    EXPECT_EQ(beginningAt(0), 0u);
    EXPECT_EQ(beginningAt(2), 2u);
}

TEST_F(KeyframeLookBack, EntriesThatLeadNowhereArePassedOver) {
    add(true);
    addEntry(3);
    addEntry(append(content, fragment(0, {{picture(9, true), 1000, true}}, 2)));
    addEntry(append(content, fragment(0, {})));
    addEntry(append(content, boxOfSize("moof", 7)));
    addEntry(content.size() + 1'000'000);
    const std::uint64_t at = append(content, box("free"));
    addEntry(at);
    add(false);
    EXPECT_EQ(beginningAt(7), 0u);
}

// All is in order in it but its own type.
TEST_F(KeyframeLookBack, NoOtherBoxIsAFragmentWhereTheTableNamesIt) {
    add(true, 2);
    content[entries[1].moof + 7] = 'x';
    add(false);
    EXPECT_EQ(beginningAt(2), 0u);
}

TEST_F(KeyframeLookBack, AKeyframeWithoutBytesIsPassedOver) {
    add(true);
    addEntry(append(content, fragment(1000, {{Bytes(), 1000, true}})));
    add(false);
    EXPECT_EQ(beginningAt(2), 0u);
}

// A reader reads samples of any length.
TEST_F(KeyframeLookBack, AKeyframeLongerThanItsLimitIsPassedOverWhereItIsFetched) {
    for (const std::uint64_t size : {MAX_KEYFRAME_BYTES, MAX_KEYFRAME_BYTES + 1}) {
        content = fragmentedStart(avcRecord(Bytes{0x67}, Bytes{0x68}));
        entries.clear();
        add(true);
        const auto records = trun(0x600, {{static_cast<std::uint32_t>(size), SYNC_SAMPLE}}, 0);
        const TfhdFields fields{.baseDataOffset = content.size(), .duration = 1000};
        content.add(nal(Bytes{0x65}.u16(1)));
        addEntry(append(content, moof(box("traf", join({tfhd(1, fields), tfdt(1000), records})))));
        add(false);
        const Bytes table = mfra(tfra(1, entries));
        const std::uint64_t length = content.size() + size;
        TempFile temp(content);
        temp.resize(length + table.size());
        temp.write(length, table);
        const VideoTrackIndex index = LoadVideoTrackIndex(temp.path());
        ASSERT_TRUE(index.valid);
        const KeyframeSample keyframe = ReadKeyframeSample(temp.path(), index, 2);
        EXPECT_TRUE(keyframe.ok);
        EXPECT_EQ(keyframe.timeSeconds, size > MAX_KEYFRAME_BYTES ? 0 : 1) << size;
        EXPECT_FALSE(size > MAX_KEYFRAME_BYTES && ReadKeyframeSample(temp.path(), index, 1).ok);
    }
}

TEST_F(KeyframeLookBack, AnEntryThatLeadsNowhereItselfIsStillNone) {
    add(true);
    addEntry(3);
    const TempFile temp(file());
    EXPECT_FALSE(ReadKeyframeSample(temp.path(), LoadVideoTrackIndex(temp.path()), 1).ok);
    FragmentReader reader;
    ASSERT_TRUE(reader.Open(temp.path()));
    EXPECT_FALSE(reader.Seek(1));
}

TEST_F(KeyframeLookBack, EverythingBehindItFollowsUpToTheEnd) {
    add(true);
    add(false, 5);
    const TempFile temp(file());
    FragmentReader reader;
    ASSERT_TRUE(reader.Open(temp.path()));
    for (const double second : {5, 3}) {
        ASSERT_TRUE(reader.Seek(second));
        EXPECT_EQ(reader.outcome(), ReadOutcome::Nothing);
        ReaderSample sample;
        for (std::size_t number = 0; number < 6; ++number) {
            ASSERT_TRUE(reader.ReadNextSample(sample)) << number;
            EXPECT_EQ(numberIn(sample.data), number);
        }
        EXPECT_FALSE(reader.ReadNextSample(sample));
        EXPECT_EQ(reader.outcome(), ReadOutcome::End);
    }
}

// What was looked at on the way leaves no trace.
TEST_F(KeyframeLookBack, WithoutDecodeTimesItBeginsAsIfItHadBeenSought) {
    for (const bool sync : {true, false, false}) {
        const FragmentSample sample{picture(entries.size(), sync), 1000, sync};
        addEntry(append(content, fragment(std::nullopt, {sample})));
    }
    const TempFile temp(file());
    FragmentReader reader;
    ASSERT_TRUE(reader.Open(temp.path()));
    ASSERT_TRUE(reader.Seek(2));
    EXPECT_EQ(reader.samples()[0].dts, 0u);
    EXPECT_EQ(reader.rebase(), 0);
    ASSERT_TRUE(reader.NextFragment());
    EXPECT_EQ(reader.samples()[0].dts, 1000u);
}

TEST_F(KeyframeLookBack, TheTableOfAnyOtherTrackIsTakenAsItIs) {
    add(true);
    add(false);
    const TempFile temp(file());
    FragmentReader reader;
    ASSERT_TRUE(reader.OpenWithTable(temp.path(), 1, 1000,
                                     {{0, entries[0].moof}, {1000, entries[1].moof}}));
    ASSERT_TRUE(reader.Seek(1));
    ReaderSample sample;
    ASSERT_TRUE(reader.ReadNextSample(sample));
    EXPECT_EQ(numberIn(sample.data), 1u);
}

// Which of the samples 0 to 2 is begun with at 1 and at 2 seconds.
struct FlagsCase {
    const char* name;
    std::optional<std::uint32_t> ofAll, ofFirst;
    std::vector<std::uint32_t> ofEach;
    std::size_t atOne, atTwo;
};

void PrintTo(const FlagsCase& flags, std::ostream* out) {
    *out << flags.name;
}

class KeyframeLookBackFlags : public KeyframeLookBack,
                              public testing::WithParamInterface<FlagsCase> {};

TEST_P(KeyframeLookBackFlags, SayWhatIsNoKeyframe) {
    const FlagsCase& flags = GetParam();
    add(true);
    addTwo({flags.ofAll, flags.ofFirst, flags.ofEach});
    EXPECT_EQ(beginningAt(1), flags.atOne);
    EXPECT_EQ(beginningAt(2), flags.atTwo);
}

constexpr std::uint32_t S = SYNC_SAMPLE, N = NON_SYNC_SAMPLE;
INSTANTIATE_TEST_SUITE_P(
    Of, KeyframeLookBackFlags,
    testing::Values(FlagsCase{"nothing", {}, {}, {}, 1, 2}, FlagsCase{"theHeader", N, {}, {}, 0, 0},
                    FlagsCase{"theFirst", {}, N, {}, 0, 2},
                    FlagsCase{"theFirstBeforeTheHeader", N, S, {}, 1, 1},
                    FlagsCase{"theRecords", {}, {}, {N, S}, 0, 2},
                    FlagsCase{"theRecordsBeforeTheHeader", N, {}, {S, S}, 1, 2},
                    FlagsCase{"theFirstBeforeItsRecord", {}, N, {S, S}, 0, 2}),
    [](const auto& row) { return row.param.name; });

} // namespace
} // namespace velkantrix
