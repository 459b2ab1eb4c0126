// How often readers read from the file, counted by this program's own pread.
#include <algorithm>
#include <cstdint>
#include <fcntl.h>
#include <functional>
#include <optional>
#include <sys/syscall.h>
#include <unistd.h>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "mp4/fragment_reader.h"
#include "mp4/keyframe_sample.h"
#include "mp4/plain_samples.h"
#include "mp4/probe.h"
#include "mp4/track_description.h"
#include "tests/support/fragmented_file.h"
#include "tests/support/mp4_files.h"
#include "tests/support/temp_file.h"

namespace {

std::vector<std::size_t> readSizes; // of all reads so far
std::size_t failingRead = 0;        // which of them fails, from 1; 0: none

std::vector<int> hints; // given so far

} // namespace

extern "C" int posix_fadvise(int, off_t, off_t, int advice) {
    hints.push_back(advice);
    return 0;
}

extern "C" ssize_t pread(int descriptor, void* buffer, size_t length, off_t offset) {
    readSizes.push_back(length);
    if (readSizes.size() == failingRead) return 0;
    return static_cast<ssize_t>(syscall(SYS_pread64, descriptor, buffer, length, offset));
}

namespace velkantrix {
namespace {

class ReadCount : public testing::Test {
protected:
    void SetUp() override { restart(); }
    void TearDown() override { failingRead = 0; }
    static void restart() {
        readSizes.clear();
        hints.clear();
    }
};

using Sizes = std::vector<std::size_t>;

TEST_F(ReadCount, TheProbeReadsHeadersOnly) {
    const TempFile file(join({ftyp(), longBox("mdat", Bytes().fill(100)), box("moov")}));
    ASSERT_TRUE(ProbeFile(file.path()).reachedEnd);
    EXPECT_EQ(readSizes, (Sizes{8, 8, 8, 8}));
    EXPECT_EQ(hints, std::vector<int>{POSIX_FADV_SEQUENTIAL});
}

// Nothing of its pictures.
TEST_F(ReadCount, OfAPlainFileAnIndexIsTheHeadersAndTheMoov) {
    const Bytes content = plainRecording();
    const TempFile file(content);
    ASSERT_TRUE(LoadVideoTrackIndex(file.path()).valid);
    ASSERT_EQ(readSizes.size(), 4u);
    EXPECT_EQ(readSizes[0] + readSizes[1] + readSizes[2], 24u);
    EXPECT_EQ(hints, std::vector<int>{POSIX_FADV_RANDOM});
}

TEST_F(ReadCount, AnIndexIsReadInOnePiecePerBox) {
    const TempFile file(fragmentedRecording());
    ASSERT_TRUE(LoadVideoTrackIndex(file.path()).valid);
    // Three headers, the moov, the mfro, the mfra.
    ASSERT_EQ(readSizes.size(), 6u);
    EXPECT_EQ(readSizes[0] + readSizes[1] + readSizes[2], 24u);
    EXPECT_EQ(readSizes[4], 16u);
}

// The moof and its samples, and of each box on the way its header.
TEST_F(ReadCount, AFragmentIsReadInTwoPieces) {
    const TempFile file(fragmentedRecording());
    FragmentReader reader;
    ASSERT_TRUE(reader.Open(file.path()));
    ASSERT_TRUE(reader.Seek(0));
    ReaderSample sample;
    ASSERT_TRUE(reader.ReadNextSample(sample));
    restart();
    for (int i = 1; i < 5; ++i) ASSERT_TRUE(reader.ReadNextSample(sample));
    EXPECT_EQ(readSizes, Sizes{});
    for (int i = 0; i < 5; ++i) ASSERT_TRUE(reader.ReadNextSample(sample));
    ASSERT_EQ(readSizes.size(), 4u);
    EXPECT_EQ(readSizes[0] + readSizes[1], 16u);
}

// Behind the last fragment is another track's, with a moof to be read.
TEST_F(ReadCount, TheEndIsLookedForOnce) {
    const Bytes first = join({ftyp(), fragment(0, {{Bytes{1}, 100, true}})});
    const Bytes other = fragment(0, {{Bytes{1}, 100, true}}, 2);
    for (const bool broken : {false, true}) {
        const TempFile file(join({first, other, broken ? boxOfSize("free", 7) : Bytes()}));
        const ReadOutcome end = broken ? ReadOutcome::Failed : ReadOutcome::End;
        FragmentReader reader;
        ASSERT_TRUE(reader.OpenWithTable(file.path(), 1, 1000, {{0, ftyp().size()}}));
        for (int seek = 0; seek < 2; ++seek) {
            ASSERT_TRUE(reader.Seek(0));
            ReaderSample sample;
            ASSERT_TRUE(reader.ReadNextSample(sample));
            restart();
            EXPECT_FALSE(reader.ReadNextSample(sample));
            EXPECT_EQ(reader.outcome(), end);
            // Three headers and a moof, or one header more.
            EXPECT_EQ(readSizes.size(), broken ? 5u : 4u);
            restart();
            for (int i = 0; i < 3; ++i) {
                EXPECT_FALSE(reader.ReadNextSample(sample));
                EXPECT_EQ(reader.outcome(), end);
                EXPECT_FALSE(reader.NextFragment());
            }
            EXPECT_EQ(readSizes, Sizes{});
        }
    }
}

// The reader is taken back by its cursor, and the disk has failed since.
TEST_F(ReadCount, AnEndThatWasFoundIsNoneBehindAFailedRead) {
    TempFile file(join({ftyp(), fragment(0, {{Bytes{1}, 100, true}, {Bytes{2}, 100, true}})}));
    FragmentReader reader;
    ASSERT_TRUE(reader.OpenWithTable(file.path(), 1, 1000, {{0, ftyp().size()}}));
    ASSERT_TRUE(reader.Seek(0));
    reader.setCursor(2);
    ReaderSample sample;
    EXPECT_FALSE(reader.ReadNextSample(sample));
    EXPECT_EQ(reader.outcome(), ReadOutcome::End);
    file.resize(ftyp().size());
    reader.setCursor(1);
    for (int i = 0; i < 2; ++i) {
        EXPECT_FALSE(reader.ReadNextSample(sample));
        EXPECT_EQ(reader.outcome(), ReadOutcome::Failed);
    }
}

TEST_F(ReadCount, OfAPlainFileAKeyframeIsOneRead) {
    const TempFile file(plainRecording());
    const VideoTrackIndex index = LoadVideoTrackIndex(file.path());
    restart();
    ASSERT_TRUE(ReadKeyframeSample(file.path(), index, 0).ok);
    EXPECT_EQ(readSizes, Sizes{index.randomAccess[0].size});
}

TEST_F(ReadCount, OfAFragmentedFileAKeyframeIsItsMoofAndItself) {
    const TempFile file(fragmentedRecording());
    const VideoTrackIndex index = LoadVideoTrackIndex(file.path());
    restart();
    const KeyframeSample sample = ReadKeyframeSample(file.path(), index, 0);
    ASSERT_TRUE(sample.ok);
    ASSERT_EQ(readSizes.size(), 3u);
    EXPECT_EQ(readSizes[0], 8u);
    EXPECT_EQ(readSizes[2], picture(0, true).size());
}

// A header and a moof of each entry that is looked at, 64 beside the one named, and the sample.
TEST_F(ReadCount, AKeyframeFarInFrontIsNoMoreReadsThanThereAreEntriesLookedAt) {
    const Bytes sample = nal({0x65, 1, 2});
    for (const std::size_t others : {1, 64, 65, 200}) {
        Bytes content = fragmentedStart();
        std::vector<TfraEntry> entries;
        std::size_t moofBytes = 0;
        for (std::size_t i = 0; i <= others; ++i) {
            const Bytes piece = fragment(i * 1000, {{sample, 1000, i == 0}});
            moofBytes = piece.size() - 8 - sample.size();
            entries.push_back({i * 1000, append(content, piece)});
        }
        const TempFile file(content.add(mfra(tfra(1, entries))));
        const VideoTrackIndex index = LoadVideoTrackIndex(file.path());
        restart();
        const KeyframeSample keyframe = ReadKeyframeSample(file.path(), index, 1e6);
        ASSERT_TRUE(keyframe.ok);
        EXPECT_EQ(keyframe.timeSeconds, others <= 64 ? 0 : static_cast<double>(others));
        Sizes expected;
        for (std::size_t i = 0; i <= std::min<std::size_t>(others, 64); ++i) {
            expected.insert(expected.end(), {8, moofBytes});
        }
        expected.push_back(sample.size());
        EXPECT_EQ(readSizes, expected) << others;
    }
}

// Where the 8 MiB are used up, a header more and no moof.
TEST_F(ReadCount, AKeyframeBehindLongMoofsIsNoMoreBytesThanTheLimit) {
    Bytes content = fragmentedStart();
    std::vector<TfraEntry> entries;
    const Bytes sample = nal({0x41, 1, 2});
    for (std::size_t i = 0; i < 5; ++i) {
        const auto time = static_cast<std::uint64_t>(i) * 1000;
        const Bytes traf = box("traf", join({tfhd(1, {.size = 7, .flags = NON_SYNC_SAMPLE}),
                                             tfdt(time), trunOfCount(1, 3 << 20)}));
        const std::size_t more = (3 << 20) - 8 - traf.size() - 8;
        entries.push_back(
            {time, append(content, box("moof", join({traf, box("free", Bytes().fill(more))})))});
        content.add(sample);
    }
    const TempFile file(content.add(mfra(tfra(1, entries))));
    const VideoTrackIndex index = LoadVideoTrackIndex(file.path());
    restart();
    ASSERT_TRUE(ReadKeyframeSample(file.path(), index, 4).ok);
    constexpr std::size_t MOOF = 3 << 20;
    EXPECT_EQ(readSizes, (Sizes{8, MOOF, 8, MOOF, 8, MOOF, 8, sample.size()}));
}

TEST_F(ReadCount, OfAFragmentedFileTheAudioIsTwoHeadersTheMoovAndTheTables) {
    const TempFile file(fragmentedRecording());
    ASSERT_TRUE(LoadAudioTrackInfo(file.path()).valid);
    ASSERT_EQ(readSizes.size(), 5u);
    EXPECT_EQ(readSizes[0] + readSizes[1], 16u);
    EXPECT_GT(readSizes[2], 100u);
    EXPECT_EQ(readSizes[3], 16u);
    EXPECT_GT(readSizes[4], 100u);
}

// The whole of a file is read by nothing but the probe.
TEST_F(ReadCount, EveryOtherReaderSaysThatItReadsHereAndThere) {
    const TempFile plain(plainRecording()), fragmented(fragmentedRecording());
    const VideoTrackIndex plainIndex = LoadVideoTrackIndex(plain.path());
    const VideoTrackIndex index = LoadVideoTrackIndex(fragmented.path());
    const std::pair<const char*, std::function<bool()>> readers[] = {
        {"Open",
         [&] {
             return FragmentReader().Open(fragmented.path());
         }},
        {"OpenWithTable",
         [&] {
             return FragmentReader().OpenWithTable(fragmented.path(), 1, 1000, index.randomAccess);
         }},
        {"a plain file's keyframe",
         [&] {
             return ReadKeyframeSample(plain.path(), plainIndex, 0).ok;
         }},
        {"a fragmented file's keyframe",
         [&] {
             return ReadKeyframeSample(fragmented.path(), index, 0).ok;
         }},
        {"the audio",
         [&] {
             return LoadAudioTrackInfo(fragmented.path()).valid;
         }},
        {"a plain file's samples",
         [&] {
             return PlainSamples().open(plain.path());
         }},
    };
    for (const auto& [name, read] : readers) {
        restart();
        EXPECT_TRUE(read()) << name;
        ASSERT_FALSE(hints.empty()) << name;
        EXPECT_EQ(hints, std::vector<int>(hints.size(), POSIX_FADV_RANDOM)) << name;
    }
}

// A disk that fails once. Whatever the read was for, what is lost by it must show.
TEST_F(ReadCount, NoSingleFailedReadMakesARecordingShorterUnnoticed) {
    const TempFile file(fragmentedRecording());
    FragmentReader reader;
    ASSERT_TRUE(reader.Open(file.path()));
    // Samples up to an end that is called one; nothing when it isn't, or the seek fails.
    const auto samplesToTheEnd = [&]() -> std::optional<int> {
        restart();
        ReaderSample sample;
        int count = 0;
        if (!reader.Seek(0)) return std::nullopt;
        while (reader.ReadNextSample(sample)) ++count;
        if (reader.outcome() != ReadOutcome::End) return std::nullopt;
        return count;
    };
    ASSERT_EQ(samplesToTheEnd(), 15);
    const std::size_t reads = readSizes.size();
    ASSERT_GT(reads, 8u);
    int noticed = 0;
    for (failingRead = 1; failingRead <= reads; ++failingRead) {
        const std::optional<int> samples = samplesToTheEnd();
        EXPECT_EQ(samples.value_or(15), 15) << "read " << failingRead;
        if (!samples) ++noticed;
    }
    EXPECT_GT(noticed, 8);
}

} // namespace
} // namespace velkantrix
