// The scan on real recordings, and the wait for it. A program of its own: what the last test does
// holds for the rest of a process.
#include "playback/end_scan.h"

#include <windows.h>

#include <winioctl.h>

#include <array>
#include <functional>
#include <memory>
#include <thread>
#include <utility>

#include "mp4/probe.h"
#include "platform/handles.h"
#include "platform/mf_util.h"
#include "tests/windows/blockade.h"
#include "tests/windows/controller_fixture.h"
#include "tests/windows/reader_maker.h"
#include "tests/windows/scripted_media.h"

namespace velkantrix {
namespace {

constexpr ULONGLONG LONGEST_END = 20'000; // milliseconds

// The scan's thread holds it as long as it runs.
bool endsSoon(const std::shared_ptr<EndScan>& scan) {
    const ULONGLONG begun = GetTickCount64();
    while (scan.use_count() > 1 && GetTickCount64() - begun < LONGEST_END) Sleep(1);
    return scan.use_count() == 1;
}

ScannedEnds scanned(const std::wstring& path, const ScannedFile& file) {
    const auto scan = startEndScan(path, file);
    EXPECT_TRUE(endsSoon(scan));
    return waitForEndScan(*scan);
}

TEST(EndScan, FindsWhereTheVideoEnds) {
    const ScannedEnds ends = scanned(mediaFile(L"video-short"), {.container = 12, .fps = 30});
    EXPECT_EQ(ends.start, 0);
    EXPECT_NEAR(ends.end, 7, 0.001);
}

TEST(EndScan, OnlyTheStartLeavesTheEndAlone) {
    const ScannedEnds ends =
        scanned(mediaFile(L"video-short"), {.container = 12, .fps = 30, .onlyStart = true});
    EXPECT_EQ(ends.start, 0);
    EXPECT_EQ(ends.end, 0);
}

TEST(EndScan, WithoutAVideoTheEndIsZero) {
    for (const wchar_t* name : {L"missing", L"audio-only", L"text"}) {
        const ScannedEnds ends = scanned(mediaFile(name), {.container = 12, .fps = 30});
        EXPECT_EQ(ends.start, 0) << name;
        EXPECT_EQ(ends.end, 0) << name;
    }
}

// Stated to be short, all of the recording is read.
const ScannedFile SLOW = {.container = 1, .fps = 60};

TEST(EndScan, AStoppedScanEndsWithoutAResult) {
    const auto scan = startEndScan(mediaFile(L"large"), SLOW);
    scan->stop = true;
    EXPECT_TRUE(endsSoon(scan));
    EXPECT_LT(scan->result, 0);
    EXPECT_NEAR(scanned(mediaFile(L"large"), SLOW).end, 40, 0.001); // which it has otherwise
}

TEST(WaitForEndScan, GivesUpOnAResultThatDoesntCome) {
    EndScan scan;
    scan.start = 3; // which is known long before
    const ULONGLONG begun = GetTickCount64();
    const ScannedEnds ends = waitForEndScan(scan);
    EXPECT_GE(GetTickCount64() - begun, 1400u); // here the time itself is what is tested
    EXPECT_LT(ends.end, 0);
    EXPECT_EQ(ends.start, 3);
}

TEST(WaitForEndScan, ReturnsAResultThatIsThere) {
    EndScan scan;
    scan.start = 0.5;
    scan.result = 0;
    EXPECT_EQ(waitForEndScan(scan).start, 0.5);
    EXPECT_EQ(waitForEndScan(scan).end, 0);
}

TEST(WaitForEndScan, ReturnsAResultThatComesWhileItWaits) {
    EndScan scan;
    std::thread scanner([&] {
        Sleep(100); // by now it is waiting
        scan.start = 0.5;
        scan.result = 7;
    });
    const ScannedEnds ends = waitForEndScan(scan);
    scanner.join();
    EXPECT_EQ(ends.start, 0.5);
    EXPECT_EQ(ends.end, 7);
}

class LargeFileTest : public FolderTest {
protected:
    // The recording with a box of nothing in front of its table of fragments, which makes the file
    // `size` bytes long. False when the disk can't hold even that.
    static bool makeLarge(const std::wstring& path, const std::vector<char>& bytes,
                          std::uint64_t size) {
        const std::size_t table = tableOf(bytes);
        const std::uint64_t emptiness = size - bytes.size();
        std::array<char, 16> header = {0, 0, 0, 1, 'f', 'r', 'e', 'e'};
        for (std::size_t i = 0; i < 8; ++i)
            header[8 + i] = static_cast<char>(emptiness >> (8 * (7 - i)) & 0xFF);
        const UniqueFile file(CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                                          FILE_ATTRIBUTE_NORMAL, nullptr));
        DWORD none = 0; // where it has no effect the file takes its room, or there is none
        DeviceIoControl(file.get(), FSCTL_SET_SPARSE, nullptr, 0, nullptr, 0, &none, nullptr);
        return write(file.get(), 0, bytes.data(), table) &&
               write(file.get(), table, header.data(), header.size()) &&
               write(file.get(), table + emptiness, bytes.data() + table, bytes.size() - table);
    }

private:
    // Where the `mfra` begins: its length stands in the file's last four bytes.
    static std::size_t tableOf(const std::vector<char>& bytes) {
        std::size_t length = 0;
        for (std::size_t i = bytes.size() - 4; i < bytes.size(); ++i)
            length = length << 8 | static_cast<unsigned char>(bytes[i]);
        return bytes.size() - length;
    }

    static bool write(HANDLE file, std::uint64_t offset, const char* bytes, std::size_t count) {
        LARGE_INTEGER place = {};
        place.QuadPart = static_cast<LONGLONG>(offset);
        DWORD written = 0;
        return SetFilePointerEx(file, place, nullptr, FILE_BEGIN) &&
               WriteFile(file, bytes, static_cast<DWORD>(count), &written, nullptr) &&
               written == count;
    }
};

class LargeControllerTest : public LargeFileTest {
protected:
    double durationOf(const std::wstring& path) {
        EXPECT_EQ(controller.open(path.c_str(), IsLargeFragmentedFile(path), window, nullptr),
                  S_OK);
        const double duration = controller.duration();
        controller.close();
        return duration;
    }
    void TearDown() override {
        controller.close();
        DestroyWindow(window);
        LargeFileTest::TearDown();
    }

    PlaybackController controller;
    HWND window = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 320, 180, nullptr, nullptr,
                                  GetModuleHandleW(nullptr), nullptr);
};

// Its video ends at 7 s, but looking for that in so many fragments would take too long.
TEST_F(LargeControllerTest, ALargeFragmentedFileLastsAsLongAsItSays) {
    const std::vector<char> bytes = bytesOf(mediaFile(L"fragmented-video-short"));
    const std::wstring path = inFolder(L"large.mp4");
    ASSERT_TRUE(makeLarge(path, bytes, LARGE_FILE_BYTES)) << "no disk for a sparse file of 6 GiB";
    ASSERT_TRUE(IsLargeFragmentedFile(path));
    EXPECT_NEAR(durationOf(path), 12, 0.1);
    ASSERT_TRUE(makeLarge(path, bytes, LARGE_FILE_BYTES - 1));
    ASSERT_FALSE(IsLargeFragmentedFile(path));
    EXPECT_NEAR(durationOf(path), 7, 0.1);
}

class BlockedScanTest : public ControllerTest {
protected:
    BlockedScanTest() {
        std::vector<ScriptedRead>& reads = reader->stream(FIRST_VIDEO).reads;
        reads.resize(2);
        reads[0].hook = [blocks = blockade] {
            blocks->block();
        };
        readerMaker() = [given = reader](const ReaderRequest&) {
            return ComPtr<IMFSourceReader>::share(given.get());
        };
    }
    ~BlockedScanTest() override { blockade->lift(); }

    // The file is open, but its scan still waits for the first sample.
    void openWhileScanning() {
        EXPECT_EQ(open(L"closed"), S_OK);
        const bool isReached = waitFor([&] { return blockade->isReached(); });
        readerMaker() = nullptr;
        ASSERT_TRUE(isReached);
    }

    void expectScanStopped() {
        blockade->lift();
        ASSERT_TRUE(waitFor([&] { return reader->AddRef() > 0 && reader->Release() == 1; }));
        EXPECT_EQ(reader->readsOf(FIRST_VIDEO), 1);
    }

    // The scan's thread may outlive a test that fails.
    const std::shared_ptr<Blockade> blockade = std::make_shared<Blockade>();
    const ComPtr<ScriptedReader> reader = ComPtr<ScriptedReader>::adopt(new ScriptedReader);
};

TEST_F(BlockedScanTest, ClosingStopsIt) {
    openWhileScanning();
    if (HasFatalFailure()) return;
    controller.close();
    expectScanStopped();
}

TEST_F(BlockedScanTest, TheNextOpeningStopsIt) {
    openWhileScanning();
    if (HasFatalFailure()) return;
    ASSERT_EQ(open(L"closed"), S_OK);
    expectScanStopped();
}

// The last ones of this file: behind them no scan of the process comes to a result.
TEST(EndAllScans, StopsWhatRunsAndWaitsForIt) {
    const auto scan = startEndScan(mediaFile(L"large"), SLOW);
    EXPECT_TRUE(endAllScans());
    EXPECT_TRUE(endsSoon(scan));
    EXPECT_LT(scan->result, 0);
    EXPECT_TRUE(endAllScans());
}

// A file that takes long to open, as on a network. One that is told to stop doesn't hear it there.
TEST(EndAllScans, GivesUpOnAScanThatDoesntEnd) {
    const auto blockade = std::make_shared<Blockade>();
    readerMaker() = [blockade](const ReaderRequest&) -> ComPtr<IMFSourceReader> {
        blockade->block();
        return nullptr;
    };
    const auto scan = startEndScan(L"far away", SLOW);
    EXPECT_FALSE(endAllScans());
    blockade->lift();
    EXPECT_TRUE(endsSoon(scan));
    EXPECT_TRUE(endAllScans());
    readerMaker() = nullptr;
}

} // namespace
} // namespace velkantrix
