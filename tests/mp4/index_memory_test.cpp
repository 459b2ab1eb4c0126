// How much memory readers take at most, counted by this program's own operator new. A program of
// its own for that reason.
#include <algorithm>
#include <cstdint>
#include <cstdlib>
#include <malloc.h>
#include <new>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

#include "mp4/fragment_reader.h"
#include "mp4/keyframe_sample.h"
#include "mp4/plain_samples.h"
#include "mp4/track_description.h"
#include "mp4/video_index.h"
#include "tests/support/fragmented_file.h"
#include "tests/support/mp4_files.h"
#include "tests/support/temp_file.h"

namespace {

std::size_t live = 0, peak = 0; // bytes; of one thread, like all of this program

void* counted(std::size_t size) {
    void* memory = std::malloc(size);
    if (memory == nullptr) std::abort(); // no test asks for so much
    live += malloc_usable_size(memory);
    peak = std::max(peak, live);
    return memory;
}

void uncounted(void* memory) {
    live -= malloc_usable_size(memory);
    std::free(memory);
}

} // namespace

void* operator new(std::size_t size) {
    return counted(size);
}
void* operator new[](std::size_t size) {
    return counted(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return counted(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return counted(size);
}
void operator delete(void* memory) noexcept {
    uncounted(memory);
}
void operator delete[](void* memory) noexcept {
    uncounted(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    uncounted(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    uncounted(memory);
}

namespace velkantrix {
namespace {

constexpr std::size_t MEBIBYTE = 1 << 20;

// The most bytes that were held at once during `action`, beyond those held before.
template <class Action>
std::size_t peakOf(Action&& action) {
    const std::size_t before = live;
    peak = live;
    action();
    return peak - before;
}

struct LongFile {
    Bytes content;
    std::size_t moovBytes = 0; // of its payload
};

// Four hours of 60 pictures a second: 864,000 samples, of which every 60th is a keyframe.
LongFile fourHours() {
    constexpr std::uint32_t SAMPLES = 4 * 3600 * 60;
    std::vector<std::uint32_t> sizes(SAMPLES, 3000), keyframes, chunks;
    for (std::uint32_t i = 1; i <= SAMPLES; i += 60) keyframes.push_back(i);
    std::vector<std::vector<std::uint32_t>> offsets;
    for (std::uint32_t i = 0; i < SAMPLES; ++i) offsets.push_back({1, i % 3});
    for (std::uint32_t i = 0; i < SAMPLES; i += 15) chunks.push_back(i);
    const Bytes stbl = join({stsd(avc1(1920, 1080)), stts({{SAMPLES, 1}}), ctts(offsets),
                             stss(keyframes), stsz(sizes), stsc({{1, 15}}), stco(chunks)});
    const Bytes moov = box("moov", join({mvhd(60), trak(1, 60, "vide", stbl)}));
    return {join({ftyp(), moov}), moov.size() - 8};
}

TEST(IndexMemory, OfALongFileIsTheMoovAndTheTable) {
    const LongFile file = fourHours();
    const TempFile temp(file.content);
    VideoTrackIndex index;
    const std::size_t most = peakOf([&] { index = LoadVideoTrackIndex(temp.path()); });
    ASSERT_EQ(index.randomAccess.size(), 4u * 3600);
    EXPECT_EQ(index.randomAccess.capacity(), index.randomAccess.size());
    EXPECT_LE(most,
              file.moovBytes + index.randomAccess.size() * sizeof(RandomAccessEntry) + 64 * 1024);
}

// The moov isn't held any more when the table is read.
TEST(IndexMemory, OfAFragmentedFileIsTheMfraAndTheTable) {
    std::vector<TfraEntry> entries(50'000);
    for (std::size_t i = 0; i < entries.size(); ++i) entries[i].time = i;
    const Bytes tables = mfra(tfra(1, entries, 0));
    const Bytes track = trak(1, 60, "vide", stsd(avc1(1920, 1080)));
    const Bytes moov = box("moov", join({track, box("free", Bytes().fill(2 * MEBIBYTE))}));
    const TempFile temp(join({ftyp(), moov, box("moof"), tables}));
    VideoTrackIndex index;
    const std::size_t most = peakOf([&] { index = LoadVideoTrackIndex(temp.path()); });
    ASSERT_EQ(index.randomAccess.size(), entries.size());
    EXPECT_EQ(index.randomAccess.capacity(), entries.size());
    const std::size_t tableBytes = entries.size() * sizeof(RandomAccessEntry);
    EXPECT_LE(most, std::max(moov.size(), tables.size() + tableBytes) + 64 * 1024);
}

TEST(IndexMemory, OfAnInvalidIndexNothingIsHeld) {
    const LongFile file = fourHours();
    const TempFile temp(join({file.content, box("moof")})); // without mfra
    const VideoTrackIndex index = LoadVideoTrackIndex(temp.path());
    EXPECT_FALSE(index.valid);
    EXPECT_EQ(index.randomAccess.capacity(), 0u);
}

TEST(IndexMemory, OfManyRecordsIsTheMoovAndTheRecords) {
    Bytes records;
    for (int i = 0; i < 200; ++i) records.add(box("avcC", Bytes().fill(10'000)));
    const Bytes entry = box("avc1", visualFields(1, 1).add(records));
    const Bytes moov = box("moov", trak(1, 60, "vide", stsd(entry)));
    const TempFile temp(join({ftyp(), moov}));
    VideoTrackIndex index;
    const std::size_t most = peakOf([&] { index = LoadVideoTrackIndex(temp.path()); });
    EXPECT_EQ(index.avcConfig.size(), 2'000'000u);
    EXPECT_LE(most, moov.size() + index.avcConfig.size() + 64 * 1024);
}

TEST(IndexMemory, ASmallFileThatClaimsMuchTakesLittle) {
    const Bytes stbl = join({stts({{0xFFFFFFFF, 1}}), stss({1, 0xFFFFFFFF}),
                             stszUniform(1, 0xFFFFFFFF), stsc({{1, 0xFFFFFFFF}}), stco({8})});
    const TempFile temp(join({ftyp(), box("moov", trak(1, 60, "vide", stbl))}));
    VideoTrackIndex index;
    EXPECT_LE(peakOf([&] { index = LoadVideoTrackIndex(temp.path()); }), 64u * 1024);
    EXPECT_EQ(index.randomAccess.size(), 2u);
}

TEST(IndexMemory, AMoovThatClaimsToBeLongerThanTheFileIsNotMadeRoomFor) {
    const TempFile temp(join({ftyp(), boxOfSize("moov", 200 * MEBIBYTE)}));
    EXPECT_LE(peakOf([&] { EXPECT_FALSE(LoadVideoTrackIndex(temp.path()).valid); }), 64u * 1024);
}

TEST(PlainSamplesMemory, OfALongFileIsTheMoovAndTheKeyframeNumbers) {
    const LongFile file = fourHours();
    TempFile temp(file.content);
    temp.resize(std::uint64_t{3} << 30); // room for all samples
    PlainSamples samples;
    std::uint64_t count = 0;
    const std::size_t most = peakOf([&] {
        ASSERT_TRUE(samples.open(temp.path()));
        PlainSample sample;
        while (samples.next(sample) == WalkOutcome::Sample) ++count;
    });
    EXPECT_EQ(count, 864000u);
    EXPECT_LE(most, file.moovBytes + std::size_t{4} * 3600 * 4 + 64 * 1024);
}

// 2^32 samples of each of a hundred runs.
TEST(FragmentMemory, EqualSamplesTakeTheRoomOfOne) {
    const Bytes moov = box("moov", trak(VIDEO_TRACK, 1000, "vide", stsd(avc1(64, 48))));
    Bytes runs;
    for (int i = 0; i < 100; ++i) runs.add(trunOfCount(0xFFFFFFFF, 0));
    const Bytes traf =
        box("traf", join({tfhd(VIDEO_TRACK, {.duration = 1, .size = 1}), tfdt(0), runs}));
    const std::uint64_t moofAt = ftyp().size() + moov.size();
    const TempFile temp(join({ftyp(), moov, box("moof", traf), box("mdat", Bytes().fill(100)),
                              mfra(tfra(VIDEO_TRACK, {{0, moofAt}}))}));
    FragmentReader reader;
    std::uint64_t samples = 0;
    const std::size_t most = peakOf([&] {
        ASSERT_TRUE(reader.Open(temp.path()));
        ASSERT_TRUE(reader.Seek(0));
        samples = reader.samples().size();
    });
    EXPECT_GT(samples, 1000u);
    EXPECT_LE(most, 64u * 1024);
}

// Of 4 bytes each, with sizes of 1 to 3 bytes.
Bytes runOfRecords(std::uint32_t count) {
    std::vector<std::vector<std::uint32_t>> records;
    for (std::uint32_t i = 0; i < count; ++i) records.push_back({1 + i % 3});
    return trun(0x200, records, 0);
}

constexpr std::size_t MOST_PER_MOOF_BYTE = 10;

TEST(FragmentMemory, RecordsTakeTenTimesTheirBytes) {
    Bytes shortRuns, equalRuns, manyTrafs;
    for (int i = 0; i < 20'000; ++i) {
        shortRuns.add(runOfRecords(1));
        equalRuns.add(trunOfCount(5));
    }
    for (int i = 0; i < 5'000; ++i) {
        manyTrafs.add(box("traf", join({tfhd(VIDEO_TRACK), runOfRecords(70)})));
    }
    for (const Bytes& trafs :
         {box("traf", join({tfhd(VIDEO_TRACK), runOfRecords(300'000)})),
          box("traf", join({tfhd(VIDEO_TRACK, {.size = 1}), shortRuns, equalRuns})), manyTrafs}) {
        FragmentTrack track;
        track.trackId = VIDEO_TRACK;
        const std::size_t most = peakOf([&] { ParseFragment(trafs.vector(), track); });
        EXPECT_GE(track.samples.size(), 20'000u);
        EXPECT_LE(most, MOST_PER_MOOF_BYTE * trafs.size());
    }
}

TEST(FragmentMemory, OfOtherTracksNothingIsHeld) {
    const Bytes traf = box("traf", join({tfhd(AUDIO_TRACK), runOfRecords(10'000)}));
    FragmentTrack track;
    track.trackId = VIDEO_TRACK;
    EXPECT_LE(peakOf([&] { ParseFragment(traf.vector(), track); }), 1024u);
}

// While a fragment is loaded, those of the one before it are still held.
TEST(FragmentMemory, OfAReaderIsTheMoofAndTheRecordsOfTwo) {
    const Bytes traf = box("traf", join({tfhd(VIDEO_TRACK), tfdt(0), runOfRecords(200'000)}));
    const Bytes moof = box("moof", traf);
    const TempFile temp(join({ftyp(), moof, moof}));
    FragmentReader reader;
    const std::size_t most = peakOf([&] {
        ASSERT_TRUE(reader.OpenWithTable(temp.path(), VIDEO_TRACK, 1000, {{0, ftyp().size()}}));
        ASSERT_TRUE(reader.Seek(0));
        ASSERT_TRUE(reader.NextFragment());
    });
    EXPECT_LE(most, moof.size() + 2 * MOST_PER_MOOF_BYTE * moof.size() + 16 * 1024);
}

// A sample of so many NAL units of one byte, behind lengths of `width` bytes: of all samples, those
// grow most when start codes take the lengths' place.
Bytes smallUnits(std::size_t units, std::uint32_t width) {
    Bytes sample;
    for (std::size_t i = 0; i < units; ++i) sample.number(1, width).u8(0x65);
    return sample;
}

constexpr std::size_t LITTLE = 16 * 1024;

// A recording with these keyframes, one fragment each; its parameter sets are long.
class SampleMemory : public testing::TestWithParam<std::uint32_t> {
protected:
    static constexpr std::size_t SETS = 60'000;

    static Bytes recording(const std::vector<Bytes>& keyframes) {
        const Bytes record = avcRecord(Bytes{0x67}.fill(SETS), Bytes{0x68}, GetParam());
        Bytes content = fragmentedStart(record);
        std::vector<TfraEntry> entries;
        for (const Bytes& keyframe : keyframes) {
            const std::uint64_t at = append(content, fragment(0, {{keyframe, 1000, true}}));
            entries.push_back({entries.size() * 1000, at});
        }
        return content.add(mfra(tfra(VIDEO_TRACK, entries)));
    }
};

TEST_P(SampleMemory, AByteStreamIsTheSampleAndExactlyWhatIsHandedOut) {
    const Bytes stored = smallUnits(200'000, GetParam());
    const TempFile temp(recording({stored}));
    FragmentReader reader;
    ASSERT_TRUE(reader.Open(temp.path()) && reader.Seek(0));
    ReaderSample sample;
    const std::size_t most = peakOf([&] { ASSERT_TRUE(reader.ReadNextSample(sample)); });
    EXPECT_GT(sample.data.size(), SETS + 1'000'000u);
    EXPECT_EQ(sample.data.capacity(), sample.data.size());
    EXPECT_LE(most, stored.size() + sample.data.size() + LITTLE);
}

TEST_P(SampleMemory, AKeyframeIsTheSampleTheSetsTwiceAndExactlyWhatIsHandedOut) {
    const Bytes stored = smallUnits(200'000, GetParam());
    const TempFile temp(recording({stored}));
    const VideoTrackIndex index = LoadVideoTrackIndex(temp.path());
    KeyframeSample sample;
    const std::size_t most = peakOf([&] { sample = ReadKeyframeSample(temp.path(), index, 0); });
    ASSERT_TRUE(sample.ok);
    EXPECT_EQ(sample.data.capacity(), sample.data.size());
    // The list of the sets has grown by doubling.
    EXPECT_LE(most, stored.size() + 2 * SETS + sample.data.size() + LITTLE);
}

// What the caller hands in again and is too small goes before there is more.
TEST_P(SampleMemory, ALongerSampleTakesThePlaceOfTheOneBefore) {
    const Bytes first = smallUnits(100'000, GetParam()), second = smallUnits(200'000, GetParam());
    for (const bool annexB : {true, false}) {
        const TempFile temp(recording({first, second}));
        FragmentReader reader;
        if (annexB) {
            ASSERT_TRUE(reader.Open(temp.path()));
        } else {
            VideoTrackIndex index = LoadVideoTrackIndex(temp.path());
            ASSERT_TRUE(reader.OpenWithTable(temp.path(), index.trackId, 1000,
                                             std::move(index.randomAccess)));
        }
        ASSERT_TRUE(reader.Seek(0));
        ReaderSample sample;
        ASSERT_TRUE(reader.ReadNextSample(sample));
        const std::size_t before = sample.data.capacity();
        const std::size_t most = peakOf([&] { ASSERT_TRUE(reader.ReadNextSample(sample)); });
        EXPECT_GT(sample.data.size(), before);
        // Likewise the bytes that were read.
        EXPECT_LE(most, second.size() - first.size() + sample.data.size() - before + LITTLE);
    }
}

INSTANTIATE_TEST_SUITE_P(BehindLengthsOf, SampleMemory, testing::Values(1, 2, 3, 4));

// Of each entry 32 bytes, and where its fragment is.
TEST(FragmentMemory, OfATableIsWhatItHoldsAndAPlaceForEachEntry) {
    RandomAccessTable table;
    for (std::uint64_t i = 0; i < 100'000; ++i) table.push_back({i, 10'000'000});
    const std::size_t entries = table.size();
    const TempFile temp(ftyp());
    FragmentReader reader;
    const std::size_t most =
        peakOf([&] { ASSERT_TRUE(reader.OpenWithTable(temp.path(), 1, 1000, std::move(table))); });
    EXPECT_LE(most, entries * sizeof(std::uint64_t) + LITTLE);
}

TEST(AudioMemory, OfAFragmentedFileIsItsMoovAndItsTables) {
    const Bytes content = fragmentedRecording();
    const TempFile temp(content);
    EXPECT_LE(peakOf([&] { EXPECT_TRUE(LoadAudioTrackInfo(temp.path()).valid); }),
              content.size() + 16 * 1024);
}

// Not one of the tracks that a broken file names is kept while the others are gone through.
TEST(AudioMemory, OfManyTracksAndTablesIsTheMoovAndTheMfraAndAnEighth) {
    constexpr std::uint32_t TRACKS = 20'000;
    const Bytes entry = mp4a(2, 48000, esds(Bytes{0x11, 0x90}));
    Bytes traks, tables;
    for (std::uint32_t id = 1; id <= TRACKS; ++id) {
        traks.add(trak(id, 48000, "soun", stsd(entry)));
        tables.add(tfra(TRACKS + id, {{}}, 0));
    }
    const std::vector<TfraEntry> entries(1000);
    tables.add(tfra(TRACKS, entries, 0));
    const Bytes moov = box("moov", traks), end = mfra(tables);
    const TempFile temp(join({ftyp(), moov, box("moof"), end}));
    AudioTrackInfo info;
    const std::size_t most = peakOf([&] { info = LoadAudioTrackInfo(temp.path()); });
    EXPECT_EQ(info.trackId, TRACKS);
    ASSERT_EQ(info.randomAccess.size(), entries.size());
    const std::size_t tableBytes = entries.size() * sizeof(RandomAccessEntry);
    EXPECT_LE(most, moov.size() + end.size() + end.size() / 8 + tableBytes + 16 * 1024);
}

} // namespace
} // namespace velkantrix
