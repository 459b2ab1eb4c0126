// What only POSIX systems have: pipes with names, devices in the folder tree, and a folder that
// lists a process's open files.
#include "mp4/input_file.h"

#include <filesystem>
#include <iterator>
#include <string>

#include <fcntl.h>
#include <sys/mman.h>
#include <sys/stat.h>
#include <unistd.h>

#include <gtest/gtest.h>

#include "mp4/fragment_reader.h"
#include "mp4/keyframe_sample.h"
#include "mp4/plain_samples.h"
#include "mp4/probe.h"
#include "mp4/track_description.h"
#include "mp4/video_index.h"
#include "tests/support/fragmented_file.h"
#include "tests/support/mp4_files.h"
#include "tests/support/recordings.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

// Takes the place of a file; removed with it.
class Pipe {
public:
    Pipe() {
        std::filesystem::remove(place_.path());
        EXPECT_EQ(mkfifo(place_.path().c_str(), 0600), 0);
    }
    [[nodiscard]] const std::filesystem::path& path() const { return place_.path(); }

private:
    TempFile place_;
};

TEST(Pipes, AreNoFilesAndNobodyWaitsForTheirWriter) {
    const Pipe pipe;
    EXPECT_FALSE(OpenForRandomAccess(pipe.path()));
    EXPECT_FALSE(openForSequentialScan(pipe.path()));
    EXPECT_EQ(ProbeFile(pipe.path()), ProbeResult{});
    EXPECT_FALSE(IsLargeFragmentedFile(pipe.path()));
    EXPECT_FALSE(LoadVideoTrackIndex(pipe.path()).valid);
    EXPECT_FALSE(LoadAudioTrackInfo(pipe.path()).valid);
}

TEST(Devices, AreNoFiles) {
    EXPECT_FALSE(OpenForRandomAccess("/dev/zero"));
    EXPECT_FALSE(openForSequentialScan("/dev/null"));
}

TEST(OpenFiles, MayOnlyBeReadAndAreNotHandedToOtherPrograms) {
    const TempFile temp;
    for (const InputFile& file :
         {OpenForRandomAccess(temp.path()), openForSequentialScan(temp.path())}) {
        const int descriptor = static_cast<int>(file.handle.get());
        EXPECT_EQ(fcntl(descriptor, F_GETFL) & O_ACCMODE, O_RDONLY);
        EXPECT_EQ(fcntl(descriptor, F_GETFD), FD_CLOEXEC);
    }
}

TEST(Links, AreFollowed) {
    const TempFile temp(Bytes().text("0123456789"));
    const TempFile link;
    std::filesystem::remove(link.path());
    std::filesystem::create_symlink(temp.path(), link.path());
    EXPECT_EQ(OpenForRandomAccess(link.path()).size, 10u);
    EXPECT_EQ(fileSizeFromAttributes(link.path()), 10u);
}

std::ptrdiff_t openFiles() {
    return std::distance(std::filesystem::directory_iterator("/proc/self/fd"), {});
}

TEST(OpenFiles, AreCountedRight) {
    const TempFile temp;
    const auto before = openFiles();
    const InputFile file = OpenForRandomAccess(temp.path());
    EXPECT_EQ(openFiles(), before + 1);
}

TEST(OpenFiles, NoneIsLeftOnAnyWayOut) {
    const Bytes video = videoTrak(1, 1000), sound = soundTrak(2, 44100);
    const Bytes moov = join({video, sound});
    const Bytes tables = join({tfra(1, {{}}), tfra(2, {{}})});
    const TempFile empty, plain(plainFile(moov)), whole(fragmentedFile(moov, tables)),
        soundOnly(fragmentedFile(sound, tables)), noTables(fragmentedFile(moov, {})),
        noMoov(join({ftyp(), box("mdat")})), cutMoov(boxOfSize("moov", 1000)),
        badBox(boxOfSize("ftyp", 7)), noMfro(join({box("moov", moov), box("moof")})),
        longMfra(join({box("moov", moov), box("moof"), boxOfSize("mfro", 16),
                       Bytes().u32(0).u32(0xFFFFFFFF)}));
    const Pipe pipe;
    const auto before = openFiles();
    for (const auto& path :
         {empty.path(), plain.path(), whole.path(), soundOnly.path(), noTables.path(),
          noMoov.path(), cutMoov.path(), badBox.path(), noMfro.path(), longMfra.path(), pipe.path(),
          std::filesystem::path("/dev/null"), std::filesystem::temp_directory_path(),
          std::filesystem::path("/no/such/file")}) {
        (void)ProbeFile(path);
        (void)IsLargeFragmentedFile(path);
        (void)LoadVideoTrackIndex(path);
        (void)LoadAudioTrackInfo(path);
        EXPECT_EQ(openFiles(), before) << path;
    }
}

// The readers live on when their file can't be opened.
TEST(OpenFiles, NoneIsLeftBehindAFailedOpening) {
    const Bytes start = fragmentedStart(), piece = fragment(0, {{nal({0x65}), 100, true}});
    const Bytes table = mfra(tfra(1, {{0, start.size()}}));
    const auto plainOf = [](const Bytes& stbl) {
        return join({ftyp(), box("moov", trak(1, 1000, "vide", stbl))});
    };
    const Bytes noSets = fragmentedStart(Bytes{1, 0x64, 0, 0x1E, 0xFF, 0xE0, 0});
    const TempFile empty, text(Bytes().text("this is no video")), noMoov(join({ftyp(), piece})),
        noTable(join({start, piece})), otherCodec(join({fragmentedStart(Bytes()), piece, table})),
        withoutSets(join({noSets, piece, mfra(tfra(1, {{0, noSets.size()}}))})),
        noTables(plainOf({})), noSizes(plainOf(join({stts({{1, 1}}), stsc({{1, 1}}), stco({1})}))),
        more(join({ftyp(), box("moov", join({videoTrak(1, 1000), box("mvex")})), box("moof")}));
    const auto before = openFiles();
    for (const auto& path :
         {empty.path(), text.path(), noMoov.path(), noTable.path(), otherCodec.path(),
          withoutSets.path(), noTables.path(), noSizes.path(), more.path(),
          std::filesystem::temp_directory_path(), std::filesystem::path("/no/such/file")}) {
        FragmentReader fragments;
        EXPECT_FALSE(fragments.Open(path)) << path;
        EXPECT_EQ(openFiles(), before) << path;
        EXPECT_FALSE(fragments.OpenWithTable(path, 1, 1000, {})) << path;
        EXPECT_FALSE(fragments.OpenWithTable(path, 1, 0, {{}})) << path;
        EXPECT_EQ(openFiles(), before) << path;
        PlainSamples samples;
        EXPECT_FALSE(samples.open(path)) << path;
        EXPECT_EQ(openFiles(), before) << path;
    }
}

TEST(OpenFiles, APlainFilesOneIsClosedWhenAnotherCannotBeOpened) {
    const TempFile good(plainRecording()), bad(ftyp());
    const auto before = openFiles();
    PlainSamples samples;
    ASSERT_TRUE(samples.open(good.path()));
    EXPECT_EQ(openFiles(), before + 1);
    EXPECT_FALSE(samples.open(bad.path()));
    EXPECT_EQ(openFiles(), before);
}

// Of a good keyframe, and wherever one turns out not to be.
TEST(OpenFiles, NoneIsLeftWhereAKeyframeIsFetched) {
    const Bytes start = fragmentedStart(), piece = fragment(0, {{nal({0x65}), 100, true}});
    const TempFile plain(plainRecording()), whole(fragmentedRecording()), empty,
        other(join({start, piece, mfra(tfra(1, {{0, start.size()}}))})),
        nowhere(join({start, piece, mfra(tfra(1, {{0, 3}}))}));
    const auto before = openFiles();
    const auto fetch = [&](const TempFile& file, const VideoTrackIndex& index) {
        const bool ok = ReadKeyframeSample(file.path(), index, 0).ok;
        EXPECT_EQ(openFiles(), before);
        return ok;
    };
    const VideoTrackIndex plainIndex = LoadVideoTrackIndex(plain.path());
    EXPECT_TRUE(fetch(plain, plainIndex));
    EXPECT_TRUE(fetch(plain, plainIndex)) << "nothing is kept from one call to the next";
    const VideoTrackIndex index = LoadVideoTrackIndex(whole.path());
    EXPECT_TRUE(fetch(whole, index));
    EXPECT_FALSE(fetch(nowhere, LoadVideoTrackIndex(nowhere.path())));
    EXPECT_FALSE(fetch(empty, plainIndex)) << "it reads past the end";
    EXPECT_FALSE(fetch(empty, index));
    EXPECT_FALSE(fetch(whole, VideoTrackIndex()));
    VideoTrackIndex withoutSets = LoadVideoTrackIndex(other.path());
    withoutSets.avcConfig.clear();
    EXPECT_FALSE(fetch(other, withoutSets));
}

// A gigabyte of addresses with few bytes behind them: the same ones again and again.
class RepeatedBytes {
public:
    // MAX_READ is no multiple of it: bytes that far apart aren't the same.
    static constexpr std::size_t PIECE = (std::size_t{16} << 20) + 4096;
    static constexpr std::size_t PIECES = MAX_READ / PIECE + 1;

    RepeatedBytes() : memory_(memfd_create("repeated", MFD_CLOEXEC)) {
        EXPECT_EQ(ftruncate(memory_, PIECE), 0);
        void* const all = mmap(nullptr, size(), PROT_NONE, MAP_PRIVATE | MAP_ANONYMOUS, -1, 0);
        start_ = static_cast<std::uint8_t*>(all);
        for (std::size_t i = 0; i < PIECES; ++i) {
            void* const piece = mmap(start_ + i * PIECE, PIECE, PROT_READ | PROT_WRITE,
                                     MAP_SHARED | MAP_FIXED, memory_, 0);
            EXPECT_NE(piece, MAP_FAILED);
        }
    }
    RepeatedBytes(const RepeatedBytes&) = delete;
    RepeatedBytes& operator=(const RepeatedBytes&) = delete;
    ~RepeatedBytes() {
        munmap(start_, size());
        close(memory_);
    }

    [[nodiscard]] std::uint8_t* data() const { return start_; }
    [[nodiscard]] static std::size_t size() { return PIECE * PIECES; }

private:
    int memory_;
    std::uint8_t* start_ = nullptr;
};

TEST(ReadAt, MoreThanOneRequestCanTakeIsReadInSeveral) {
    const RepeatedBytes buffer;
    TempFile temp;
    temp.resize(MAX_READ + 200);
    temp.write(MAX_READ + 96, Bytes().text("last"));
    const InputFile file = OpenForRandomAccess(temp.path());
    ASSERT_TRUE(ReadAt(file, 0, buffer.data(), MAX_READ + 100));
    EXPECT_EQ(std::string(buffer.data() + MAX_READ + 96, buffer.data() + MAX_READ + 100), "last");
    temp.resize(MAX_READ + 99);
    EXPECT_FALSE(ReadAt(file, 0, buffer.data(), MAX_READ + 100));
}

} // namespace
} // namespace velkantrix
