// The end of the process. A program of its own: behind it no scan comes to a result.
#include "playback/media_end.h"

#include <windows.h>

#include <mfapi.h>

#include <memory>

#include <gtest/gtest.h>

#include "platform/media_startup.h"
#include "playback/end_scan.h"
#include "playback/held_files.h"
#include "tests/windows/blockade.h"
#include "tests/windows/peaks_fixture.h"
#include "tests/windows/reader_maker.h"

namespace velkantrix {
namespace {

bool mediaWorks() {
    DWORD queue = 0;
    const bool works = SUCCEEDED(MFAllocateWorkQueue(&queue));
    if (works) MFUnlockWorkQueue(queue);
    return works;
}

// Whatever is opened waits for the test, as for a server that doesn't answer.
class MediaEndTest : public PeaksTest {
protected:
    MediaEndTest() {
        EXPECT_EQ(startMedia(), S_OK);
        readerMaker() = [blocks = blockade](const ReaderRequest&) -> ComPtr<IMFSourceReader> {
            blocks->block();
            return nullptr;
        };
    }
    ~MediaEndTest() override {
        blockade->lift();
        EXPECT_TRUE(workerEnds());
        readerMaker() = {};
    }

    // A thread may outlive a test that fails.
    const std::shared_ptr<Blockade> blockade = std::make_shared<Blockade>();
};

// One after the other, in this order: what has been shut down isn't started again.
TEST_F(MediaEndTest, GoesOnWhileTheSearchForPeaksDoesAndEndsBehindIt) {
    startAudioPeaks(L"C:\\far away.mp4", 1);
    ASSERT_TRUE(waitFor([this] { return blockade->isReached(); }));
    EXPECT_FALSE(endAudioPeaks(20)); // as the window has done
    EXPECT_FALSE(endMedia());
    EXPECT_TRUE(mediaWorks());
    blockade->lift();
    ASSERT_TRUE(workerEnds());
    EXPECT_TRUE(mediaWorks());

    const auto scanned = std::make_shared<Blockade>();
    readerMaker() = [scanned](const ReaderRequest&) -> ComPtr<IMFSourceReader> {
        scanned->block();
        return nullptr;
    };
    const auto scan = startEndScan(L"C:\\far away.mp4", {.container = 1, .fps = 60});
    ASSERT_TRUE(waitFor([&] { return scanned->isReached(); }));
    EXPECT_FALSE(endMedia());
    EXPECT_TRUE(mediaWorks());
    scanned->lift();
    ASSERT_TRUE(waitFor([&] { return scan.use_count() == 1; }));

    {
        const HeldFile held;
        EXPECT_FALSE(sourceFilesAreClosed(20));
        EXPECT_FALSE(endMedia());
        EXPECT_TRUE(mediaWorks());
    }
    EXPECT_TRUE(endMedia());
    EXPECT_FALSE(mediaWorks());
}

} // namespace
} // namespace velkantrix
