// Real jobs that are cancelled: what stays behind.
#include <atomic>
#include <cstdlib>
#include <mutex>
#include <thread>

#include <gmock/gmock.h>

#include "tests/support/random_choices.h"
#include "tests/windows/export_job_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAreArray;

class ExportJobCancelTest : public ExportJobTest {
protected:
    // Notes which exports succeed from now on. Those behind the first `whole` ones stop in the
    // middle of their clip until the job is cancelled.
    void watchExports(int whole) {
        complete_.clear();
        begun_ = 0;
        jobHost().calls.exportFile = [this, whole](ExportRequest request, std::wstring* text) {
            if (begun_++ >= whole) stopHalfWay(request);
            const bool done = ExportFile(request, text);
            const std::lock_guard held(lock_);
            if (done) complete_.push_back(nameOf(request.outputPath));
            return done;
        };
    }

    std::vector<std::wstring> complete() {
        const std::lock_guard held(lock_);
        return complete_;
    }

    void begin(const std::wstring& answer, std::int32_t layout) {
        exportJob().exportLayout = layout;
        chosen = answer;
        exportAsCommand();
        ASSERT_TRUE(editState().exportBusy);
    }

    // Until the progress has come so far, or the job has ended, but for its message.
    static void waitForProgress(double seconds) {
        const ULONGLONG begun = GetTickCount64();
        MSG message;
        while (exportJob().exportProgress < seconds) {
            if (PeekMessageW(&message, nullptr, WM_EXPORT_FINISHED, WM_EXPORT_FINISHED,
                             PM_NOREMOVE))
                return;
            ASSERT_LT(GetTickCount64() - begun, TIME_LIMIT_MS);
            std::this_thread::yield();
        }
    }

    void cancel() {
        exportAsCommand();
        EXPECT_EQ(editState().statusText, L"Cancelling…");
        endJob();
        EXPECT_EQ(editState().statusText, L"Export cancelled");
        EXPECT_EQ(errorBox, L"");
    }

private:
    static std::wstring nameOf(const std::wstring& path) {
        return path.substr(path.find_last_of(L'\\') + 1);
    }

    static void stopHalfWay(ExportRequest& request) {
        request.progress = [progress = request.progress](double seconds) {
            progress(seconds);
            const ULONGLONG begun = GetTickCount64();
            while (seconds > 1 && !exportJob().exportCancel) {
                ASSERT_LT(GetTickCount64() - begun, TIME_LIMIT_MS);
                std::this_thread::yield();
            }
        };
    }

    std::mutex lock_;
    std::atomic<int> begun_{0};
    std::vector<std::wstring> complete_;
};

// Each 5 s of the 40 s that the recording has.
ClipList eightClips() {
    ClipList clips;
    for (int i = 0; i < 8; i++) clips.push_back({i * 5.0, i * 5.0 + 5});
    return clips;
}

TEST_F(ExportJobCancelTest, AJoinedExportLeavesWhatWasThere) {
    open(L"large", 40, eightClips());
    writeBytes(inFolder(L"out.mp4"), {'o', 'l', 'd'});
    watchExports(0);
    begin(inFolder(L"out.mp4"), LAYOUT_JOINED);
    waitForProgress(1);
    cancel();
    EXPECT_THAT(files(), testing::UnorderedElementsAre(L"Source.mp4", L"out.mp4"));
    EXPECT_EQ(bytesOf(inFolder(L"out.mp4")), (std::vector<char>{'o', 'l', 'd'}));
    EXPECT_EQ(exportJob().lastExportPath, L"");
}

TEST_F(ExportJobCancelTest, SeparateExportsKeepTheirCompleteClips) {
    const std::wstring source = open(L"large", 40, eightClips());
    watchExports(2);
    begin(clipFolder(), LAYOUT_SEPARATE);
    waitForProgress(11.5); // two clips of 5 s, and a second each of the next two
    cancel();
    EXPECT_EQ(complete().size(), 2u);
    EXPECT_THAT(clipFiles(), UnorderedElementsAreArray(complete()));
    for (const std::wstring& name : complete()) { // "clip-01.mp4"
        const double start = (std::stoi(name.substr(5, 2)) - 1) * 5.0;
        EXPECT_EQ(bytesOf(clipFile(name)), exported(source, {{start, start + 5}}));
    }
    EXPECT_EQ(exportJob().lastExportPath, clipFolder());
}

// The copy may be complete before the cancel counts.
TEST_F(ExportJobCancelTest, ACopyLeavesNothing) {
    open(L"large", 40, {{0, 40}});
    begin(inFolder(L"out.mp4"), LAYOUT_JOINED);
    cancel();
    EXPECT_THAT(files(), ElementsAre(L"Source.mp4"));
    EXPECT_EQ(exportJob().lastExportPath, L"");
}

// A copy has the source's attributes.
TEST_F(ExportJobCancelTest, ACopyOfAReadOnlyFileLeavesNothing) {
    const std::wstring source = open(L"large", 40, {{0, 40}});
    SetFileAttributesW(source.c_str(), FILE_ATTRIBUTE_READONLY);
    begin(inFolder(L"out.mp4"), LAYOUT_JOINED);
    cancel();
    EXPECT_THAT(files(), ElementsAre(L"Source.mp4"));
    EXPECT_NE(GetFileAttributesW(source.c_str()) & FILE_ATTRIBUTE_READONLY, 0u);
    SetFileAttributesW(source.c_str(), FILE_ATTRIBUTE_NORMAL);
}

TEST_F(ExportJobCancelTest, AtAnyMomentNothingIncompleteStays) {
    const std::wstring source = open(L"large", 40, eightClips());
    const std::vector<char> before = bytesOf(source);
    RandomChoices choices(50);
    const int rounds = std::getenv("VELKANTRIX_LONG") != nullptr ? 50 : 10;
    for (int i = 0; i < rounds; i++) {
        SCOPED_TRACE(i);
        const bool separate = choices.percent(50);
        editState().clips = choices.percent(20) ? ClipList{{0, 40}} : eightClips();
        watchExports(8);
        begin(separate ? clipFolder() : inFolder(L"out.mp4"),
              separate ? LAYOUT_SEPARATE : LAYOUT_JOINED);
        waitForProgress(choices.between(0, 39'000) / 1000.0);
        cancel();
        ASSERT_THAT(files(), ElementsAre(L"Source.mp4"));
        for (const std::wstring& name : clipFiles()) {
            ASSERT_THAT(complete(), testing::Contains(name));
            ASSERT_TRUE(DeleteFileW(clipFile(name).c_str()));
        }
    }
    EXPECT_EQ(bytesOf(source), before);
}

} // namespace
} // namespace velkantrix
