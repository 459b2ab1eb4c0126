// What becomes of a file whose tables this machine has no memory for.
//
// A program of its own: it replaces the operators that memory is got with.
#include <cstdint>
#include <cstdlib>
#include <new>
#include <string>
#include <string_view>
#include <vector>

#include <gtest/gtest.h>

#include "mp4/byte_buffer.h"
#include "mp4/fragment_reader.h"
#include "mp4/track_description.h"
#include "mp4/video_index.h"
#include "tests/support/fragmented_file.h"
#include "tests/support/mp4_files.h"
#include "tests/support/recordings.h"
#include "tests/support/temp_file.h"
#include "tools/velkantrix-mp4/mp4_tool.h"

namespace {

std::size_t mostBytes = SIZE_MAX; // that are given out at once

void* allocate(std::size_t size) {
    return size <= mostBytes ? std::malloc(size > 0 ? size : 1) : nullptr;
}

void* allocateOrThrow(std::size_t size) {
    void* const memory = allocate(size);
    if (!memory) throw std::bad_alloc();
    return memory;
}

} // namespace

void* operator new(std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new[](std::size_t size) {
    return allocateOrThrow(size);
}
void* operator new(std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void* operator new[](std::size_t size, const std::nothrow_t&) noexcept {
    return allocate(size);
}
void operator delete(void* memory) noexcept {
    std::free(memory);
}
void operator delete[](void* memory) noexcept {
    std::free(memory);
}
void operator delete(void* memory, std::size_t) noexcept {
    std::free(memory);
}
void operator delete[](void* memory, std::size_t) noexcept {
    std::free(memory);
}

namespace velkantrix {
namespace {

// No piece of memory above this size is given out while it lives.
class ScarceMemory {
public:
    explicit ScarceMemory(std::size_t most) { mostBytes = most; }
    ScarceMemory(const ScarceMemory&) = delete;
    ScarceMemory& operator=(const ScarceMemory&) = delete;
    ~ScarceMemory() { mostBytes = SIZE_MAX; }
};

constexpr std::size_t PLENTY = 100000, SCARCE = 50000;

TEST(ByteBuffer, WithoutMemoryItIsEmptyAndUsableAgain) {
    ByteBuffer buffer;
    buffer.allocate(10);
    {
        const ScarceMemory scarce(SCARCE);
        EXPECT_THROW(buffer.allocate(PLENTY), std::bad_alloc);
    }
    EXPECT_EQ(buffer.size(), 0u);
    EXPECT_TRUE(buffer.view().empty());
    buffer.allocate(10);
    ASSERT_NE(buffer.data(), nullptr);
    buffer.data()[9] = 1;
    EXPECT_EQ(buffer.view().u8(9), 1);
}

// Not while memory is scarce; then the file is closed too, or Windows would not remove it.
void expectNoneFor(const Bytes& content) {
    const TempFile temp(content);
    {
        const ScarceMemory scarce(SCARCE);
        const VideoTrackIndex video = LoadVideoTrackIndex(temp.path());
        EXPECT_FALSE(video.valid);
        EXPECT_EQ(video.timescale, 0u);
        EXPECT_EQ(video.moov, MoovState::NoMemory);
        EXPECT_FALSE(LoadAudioTrackInfo(temp.path()).valid);
    }
    EXPECT_TRUE(LoadVideoTrackIndex(temp.path()).valid);
    EXPECT_TRUE(LoadAudioTrackInfo(temp.path()).valid);
    std::error_code error;
    EXPECT_TRUE(std::filesystem::remove(temp.path(), error)) << error.message();
}

const Bytes TRACKS = join({videoTrak(1, 1000), soundTrak(2, 48000)});
const Bytes TABLES = join({tfra(1, {{}}), tfra(2, {{}})});

TEST(ScarceMemory, AMoovThatDoesNotFitIsNone) {
    expectNoneFor(fragmentedFile(join({TRACKS, box("free", Bytes().fill(PLENTY))}), TABLES));
}

TEST(ScarceMemory, AnMfraThatDoesNotFitIsNone) {
    expectNoneFor(fragmentedFile(TRACKS, join({TABLES, box("free", Bytes().fill(PLENTY))})));
}

// 11 bytes each in the file and more than that in memory.
TEST(ScarceMemory, ATableThatDoesNotFitIsNone) {
    const std::vector<TfraEntry> entries(SCARCE / 22 - 100);
    const Bytes tables = join({tfra(1, entries, 0), tfra(2, entries, 0)});
    ASSERT_LT(tables.size(), SCARCE);
    ASSERT_GT(entries.size() * sizeof(RandomAccessEntry), SCARCE);
    expectNoneFor(fragmentedFile(TRACKS, tables));
}

TEST(ScarceMemory, AnAudioTableThatDoesNotFitIsNone) {
    const std::vector<TfraEntry> entries(SCARCE / 22 - 100);
    for (const Bytes& tables :
         {tfra(2, entries, 0), join({TABLES, box("free", Bytes().fill(PLENTY))})}) {
        const Bytes content = fragmentedFile(TRACKS, tables);
        const TempFile temp(content);
        const InputFile file = OpenForRandomAccess(temp.path());
        RandomAccessTable table(1);
        {
            const ScarceMemory scarce(SCARCE);
            EXPECT_FALSE(ReadAudioRandomAccess(file, content.size(), 2, table));
        }
        EXPECT_TRUE(table.empty());
        EXPECT_TRUE(ReadAudioRandomAccess(file, content.size(), 2, table));
    }
}

// Three parameter sets: their list is longer than they are while it grows.
TEST(ScarceMemory, ParameterSetsThatDoNotFitAreNone) {
    Bytes record = Bytes{1, 0x64, 0, 0x1E, 0xFF, 0xE3};
    for (int i = 0; i < 3; ++i) record.u16(14000).fill(14000, 0x67);
    record.u8(0);
    const Bytes moov = box("moov", trak(VIDEO_TRACK, 1000, "vide", stsd(avc1(64, 48, record))));
    const Bytes table = mfra(tfra(VIDEO_TRACK, {{0, ftyp().size() + moov.size()}}));
    const TempFile temp(join({ftyp(), moov, recordedFragment(0), table}));
    {
        const ScarceMemory scarce(SCARCE);
        EXPECT_TRUE(LoadVideoTrackIndex(temp.path()).valid);
        EXPECT_FALSE(FragmentReader().Open(temp.path()));
    }
    EXPECT_TRUE(FragmentReader().Open(temp.path()));
}

// Keyframes with lengths of one byte, in one fragment.
Bytes keyframes(const std::vector<Bytes>& samples) {
    Bytes content = fragmentedStart(avcRecord(Bytes{0x67}, Bytes{0x68}, 1));
    std::vector<FragmentSample> all;
    for (const Bytes& sample : samples) all.push_back({sample, 100, true});
    const std::uint64_t at = append(content, fragment(0, all));
    return content.add(mfra(tfra(VIDEO_TRACK, {{0, at}})));
}

// 15,000 units of one byte, which are 75,000 behind start codes.
TEST(ScarceMemory, AKeyframeThatDoesNotFitLeavesTheParameterSetsToTheNext) {
    Bytes units;
    for (std::size_t i = 0; i < SCARCE * 3 / 10; ++i) units.add(nal({0x65}, 1));
    const TempFile temp(keyframes({units, nal({0x65}, 1)}));
    FragmentReader reader;
    ASSERT_TRUE(reader.Open(temp.path()));
    ASSERT_TRUE(reader.Seek(0));
    ReaderSample sample;
    {
        const ScarceMemory scarce(SCARCE);
        EXPECT_FALSE(reader.ReadNextSample(sample));
        EXPECT_EQ(reader.outcome(), ReadOutcome::Failed);
        EXPECT_TRUE(reader.ReadNextSample(sample));
    }
    EXPECT_EQ(sample.data, (Bytes{0, 0, 0, 1, 0x67, 0, 0, 0, 1, 0x68, 0, 0, 0, 1, 0x65}).vector());
}

TEST(ScarceMemory, SamplesThatFitOnlyOneByOneAreReadSo) {
    const std::size_t sizes[] = {SCARCE * 3 / 5, SCARCE * 3 / 5, 10};
    std::vector<FragmentSample> samples;
    for (const std::size_t size : sizes) samples.push_back({Bytes().fill(size), 100, true});
    const TempFile temp(join({ftyp(), fragment(0, samples)}));
    FragmentReader reader;
    ASSERT_TRUE(reader.OpenWithTable(temp.path(), VIDEO_TRACK, 1000, {{0, ftyp().size()}}));
    ASSERT_TRUE(reader.Seek(0));
    const ScarceMemory scarce(SCARCE);
    ReaderSample sample;
    for (const std::size_t size : sizes) {
        EXPECT_TRUE(reader.ReadNextSample(sample));
        EXPECT_EQ(sample.data.size(), size);
    }
    EXPECT_FALSE(reader.ReadNextSample(sample));
    EXPECT_EQ(reader.outcome(), ReadOutcome::End);
}

// ---- the console program

struct ToolRun {
    int exitCode = 0;
    std::string output, error;
};

ToolRun runTool(const TempFile& file, std::size_t most) {
    ToolRun run;
    constexpr std::string_view OPTION = "--samples";
    const std::vector<NativeText> words{file.path().native(), {OPTION.begin(), OPTION.end()}};
    const auto sinkOf = [](std::string& all) {
        all.reserve(10 * PLENTY);
        return [&all](std::string_view text) {
            all += text;
            return true;
        };
    };
    const TextSink out = sinkOf(run.output), error = sinkOf(run.error);
    const ScarceMemory scarce(most);
    run.exitCode = runMp4Tool(words, out, error);
    return run;
}

constexpr const char* NO_MEMORY = "velkantrix-mp4: There isn't enough memory.\n";

TEST(ScarceMemory, WithoutItForAMoovTheToolSaysSoBehindWhatIsKnown) {
    const TempFile file(plainFile(join({soundTrak(1, 48000), box("free", Bytes().fill(PLENTY))})));
    const ToolRun whole = runTool(file, SIZE_MAX), scarce = runTool(file, SCARCE);
    EXPECT_EQ(whole.exitCode, 0);
    EXPECT_EQ(whole.error, "");
    EXPECT_EQ(scarce.exitCode, 1);
    EXPECT_EQ(scarce.error, NO_MEMORY);
    EXPECT_EQ(scarce.output, whole.output) << "there is no video in either";
}

// The table fits, and its text doesn't: that is put together in long pieces.
TEST(ScarceMemory, WithoutItForTheOutputTheToolSaysSo) {
    const std::vector<TfraEntry> entries(SCARCE / sizeof(RandomAccessEntry) - 10);
    const TempFile file(fragmentedFile(videoTrak(1, 1000), tfra(1, entries)));
    {
        const ScarceMemory scarce(SCARCE);
        ASSERT_TRUE(LoadVideoTrackIndex(file.path()).valid);
    }
    const ToolRun whole = runTool(file, SIZE_MAX), scarce = runTool(file, SCARCE);
    EXPECT_GT(whole.output.size(), PLENTY);
    EXPECT_NE(whole.error, NO_MEMORY);
    EXPECT_EQ(scarce.exitCode, 1);
    EXPECT_EQ(scarce.error, NO_MEMORY);
    EXPECT_LT(scarce.output.size(), whole.output.size());
}

} // namespace
} // namespace velkantrix
