// A worker for the peaks whose reader hangs: it is stopped, given up or waited for.
#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>
#include <process.h>

#include <cstdint>
#include <memory>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "platform/threads.h"
#include "playback/audio_peaks.h"
#include "tests/windows/blockade.h"
#include "tests/windows/replaced_import.h"
#include "tests/windows/scripted_peaks_fixture.h"

extern "C" decltype(&_beginthreadex) __imp__beginthreadex;

namespace velkantrix {

namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr DWORD ENDS = MF_SOURCE_READERF_ENDOFSTREAM;

// A worker that waits for its reader.
class BlockedPeaksTest : public ScriptedPeaksTest {
protected:
    BlockedPeaksTest() {
        reader->reads = {{.samples = {8192}}, {.samples = {16384}, .hook = [blocks = blockade] {
                                                   blocks->block();
                                               }}};
        reader->endless = true;
    }
    ~BlockedPeaksTest() override { blockade->lift(); }

    void startBlocked() {
        startAudioPeaks(L"C:\\any.mp4", 1);
        ASSERT_TRUE(waitFor([this] { return blockade->isReached(); }));
        EXPECT_THAT(peaks(), ElementsAre(0.25F));
    }

    // In the place of the first one, which goes on being blocked.
    void useAnotherReader() {
        other = ComPtr<SoundReader>::adopt(new SoundReader);
        other->reads = {{.samples = {32767, 0, 0}}, {.flags = ENDS}};
        readerMaker() = [this](const ReaderRequest&) {
            return ComPtr<IMFSourceReader>::share(other.get());
        };
    }

    const std::shared_ptr<Blockade> blockade = std::make_shared<Blockade>();
    ComPtr<SoundReader> other;
};

TEST_F(BlockedPeaksTest, OneThatIsStoppedReadsNothingMore) {
    startBlocked();
    stopAudioPeaks(); // doesn't wait
    EXPECT_FALSE(isReleased());
    EXPECT_THAT(peaks(), IsEmpty());
    blockade->lift();
    ASSERT_TRUE(workerEnds());
    EXPECT_EQ(reader->readsMade, 2);
    EXPECT_THAT(peaks(), IsEmpty()); // what came late shows nowhere
}

TEST_F(BlockedPeaksTest, OneThatIsStoppedWhileItsFileIsOpenedAsksForNothing) {
    whileOpening = [blocks = blockade] {
        blocks->block();
    };
    startAudioPeaks(L"C:\\any.mp4", 1);
    ASSERT_TRUE(waitFor([this] { return blockade->isReached(); }));
    stopAudioPeaks();
    blockade->lift();
    ASSERT_TRUE(workerEnds());
    EXPECT_EQ(opened, 1);
    EXPECT_THAT(reader->calls, IsEmpty());
}

decltype(&_beginthreadex) realBegin = nullptr;
HANDLE suspended = nullptr;

std::uintptr_t beginSuspended(void* security, unsigned stack, _beginthreadex_proc_type body,
                              void* given, unsigned, unsigned* id) {
    const std::uintptr_t thread = realBegin(security, stack, body, given, CREATE_SUSPENDED, id);
    DuplicateHandle(GetCurrentProcess(), reinterpret_cast<HANDLE>(thread), GetCurrentProcess(),
                    &suspended, 0, FALSE, DUPLICATE_SAME_ACCESS);
    return thread;
}

TEST_F(BlockedPeaksTest, OneThatIsStoppedBeforeItBeginsOpensNothing) {
    realBegin = __imp__beginthreadex;
    {
        const ReplacedImport<decltype(&_beginthreadex)> replaced(__imp__beginthreadex,
                                                                 beginSuspended);
        startAudioPeaks(L"C:\\any.mp4", 1);
    }
    const UniqueThread thread(suspended);
    ASSERT_TRUE(thread);
    stopAudioPeaks();
    ResumeThread(thread.get());
    ASSERT_TRUE(workerEnds());
    EXPECT_EQ(opened, 0);
}

TEST_F(BlockedPeaksTest, TheNextStartGivesUpOnOneThatHangsAndIsNotDisturbedByIt) {
    startBlocked();
    useAnotherReader();
    startAudioPeaks(L"C:\\other.mp4", 1, 20);
    ASSERT_TRUE(waitFor([] { return peaks().size() == 4096; }));
    EXPECT_FALSE(isReleased());
    const std::vector<float> found = peaks();
    EXPECT_EQ(found[0], 32767 / 32768.F);
    blockade->lift();
    ASSERT_TRUE(workerEnds());
    EXPECT_EQ(peaks(), found);
    EXPECT_EQ(reader->readsMade, 2);
}

TEST_F(BlockedPeaksTest, TheEndGivesUpOnOneThatHangsAndSaysSo) {
    startBlocked();
    EXPECT_FALSE(endAudioPeaks(20));
    EXPECT_TRUE(audioPeaksRun());
    EXPECT_THAT(peaks(), IsEmpty());
    EXPECT_FALSE(endAudioPeaks(20)); // which has been done
    EXPECT_FALSE(isReleased());      // its file is still open
    blockade->lift();
    EXPECT_TRUE(workerEnds());
    EXPECT_TRUE(endAudioPeaks());
    EXPECT_TRUE(isReleased());
}

TEST_F(BlockedPeaksTest, TheEndWaitsForOneThatEnds) {
    reader->reads.clear(); // it reads on and on
    startAudioPeaks(L"C:\\any.mp4", 1'000'000);
    ASSERT_TRUE(waitFor([this] { return reader->readsMade > 10; }));
    EXPECT_TRUE(endAudioPeaks());
    EXPECT_FALSE(audioPeaksRun());
    EXPECT_TRUE(isReleased());
}

TEST_F(BlockedPeaksTest, AnotherStartWaitsForOneThatEnds) {
    reader->reads.clear();
    startAudioPeaks(L"C:\\any.mp4", 1'000'000);
    ASSERT_TRUE(waitFor([this] { return reader->readsMade > 10; }));
    startAudioPeaks(L"C:\\other.mp4", 0);
    EXPECT_TRUE(isReleased());
}

} // namespace
} // namespace velkantrix
