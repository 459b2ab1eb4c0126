#include <objbase.h>

#include <atomic>
#include <thread>

#include "export/export_core.h"
#include "tests/windows/export_file_fixture.h"

namespace velkantrix {
namespace {

using ExportThreadsTest = ExportFileTest;

// What the thread is told that asks for an apartment of this kind. It is left again.
HRESULT entering(DWORD kind) {
    const HRESULT result = CoInitializeEx(nullptr, kind);
    if (SUCCEEDED(result)) CoUninitialize();
    return result;
}

TEST_F(ExportThreadsTest, LeavesAThreadInTheSingleThreadedApartmentItIsIn) {
    std::thread worker([&] {
        ASSERT_EQ(CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED), S_OK);
        EXPECT_TRUE(ExportFile(request(L"closed"), nullptr));
        EXPECT_EQ(entering(COINIT_MULTITHREADED), RPC_E_CHANGED_MODE);
        EXPECT_EQ(entering(COINIT_APARTMENTTHREADED), S_FALSE);
        CoUninitialize();
    });
    worker.join();
}

TEST_F(ExportThreadsTest, LeavesAThreadWithoutAnApartmentWithoutOne) {
    std::thread worker([&] {
        EXPECT_TRUE(ExportFile(request(L"closed"), nullptr));
        EXPECT_EQ(entering(COINIT_APARTMENTTHREADED), S_OK);
        EXPECT_FALSE(ExportFile(request(L"text"), nullptr));
        EXPECT_EQ(entering(COINIT_APARTMENTTHREADED), S_OK);
    });
    worker.join();
}

TEST_F(ExportThreadsTest, TwoExportsRunAtOnceAsIfEachWereAlone) {
    ExportRequest first = request(L"closed"), second = request(L"pyramid");
    first.outputPath = inFolder(L"first.mp4");
    second.outputPath = inFolder(L"second.mp4");
    bool firstDone = false, secondDone = false;
    {
        std::thread worker([&] { firstDone = ExportFile(first, nullptr); });
        secondDone = ExportFile(second, nullptr);
        worker.join();
    }
    EXPECT_TRUE(firstDone);
    EXPECT_TRUE(secondDone);

    for (const ExportRequest& wanted : {first, second}) {
        const std::vector<char> together = bytesOf(wanted.outputPath);
        ASSERT_TRUE(ExportFile(wanted, nullptr));
        EXPECT_EQ(bytesOf(wanted.outputPath), together);
    }
}

// The first one to get so far ends both.
TEST_F(ExportThreadsTest, TwoExportsAtOnceShareOneCancel) {
    std::atomic<bool> cancel = false;
    ExportRequest first = request(L"large");
    first.spans = {{.start = 0, .end = 40}};
    first.cancel = &cancel;
    first.progress = [&](double seconds) {
        if (seconds >= 5) cancel = true;
    };
    ExportRequest second = first;
    first.outputPath = inFolder(L"first.mp4");
    second.outputPath = inFolder(L"second.mp4");

    ExportResult firstResult;
    std::thread worker([&] { firstResult = run(first); });
    const ExportResult secondResult = run(second);
    worker.join();
    EXPECT_FALSE(firstResult.done);
    EXPECT_FALSE(secondResult.done);
    EXPECT_EQ(firstResult.text, L"Export cancelled");
    EXPECT_EQ(secondResult.text, L"Export cancelled");
    EXPECT_TRUE(filesInFolder().empty());
}

} // namespace
} // namespace velkantrix
