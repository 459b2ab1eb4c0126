// The main window and the peaks of its video's sound: when they are sought, shown and given up.
#include <windows.h>

#include <atomic>
#include <cstdint>
#include <memory>
#include <vector>

#include "app/layout.h"
#include "app/placing.h"
#include "app/timeline_layout.h"
#include "playback/audio_peaks.h"
#include "tests/windows/blockade.h"
#include "tests/windows/reader_maker.h"
#include "tests/windows/sound_reader.h"
#include "tests/windows/window_engine_fixture.h"

namespace velkantrix {

namespace {

using testing::IsEmpty;
using testing::SizeIs;

constexpr DWORD ENDS = MF_SOURCE_READERF_ENDOFSTREAM;
constexpr COLORREF WAVE_COLOUR = RGB(80, 76, 66);
constexpr COLORREF CLIP_COLOUR = RGB(38, 36, 30);

// A video of 10 seconds; its sound is what the test says, 4096 frames a second, so that a bucket
// has ten of them.
class WindowPeaksTest : public WindowEngineTest {
protected:
    WindowPeaksTest() {
        ShowWindow(window, SW_SHOWNOACTIVATE);
        readerMaker() = [this](const ReaderRequest&) -> ComPtr<IMFSourceReader> {
            if (!revealing) return {};
            ++opened;
            return ComPtr<IMFSourceReader>::share(reader.get());
        };
    }
    ~WindowPeaksTest() override {
        for (const auto& blockade : blockades) blockade->lift();
        static_cast<void>(endAudioPeaks());
        EXPECT_TRUE(workerEnds());
        readerMaker() = {};
    }

    static bool workerEnds() {
        return waitFor([] { return !audioPeaksRun(); });
    }

    void openAndReveal() {
        open();
        if (HasFatalFailure()) return;
        reveal();
    }

    // The next tick shows the video, be there a picture or not.
    void reveal() {
        revealing = true;
        const int before = opened;
        const std::uint32_t generation = peakGeneration();
        ui().openTick = 0;
        tick();
        ASSERT_TRUE(ui().firstFrameShown);
        const bool begun = peakGeneration() != generation;
        EXPECT_TRUE(waitFor([&] { return !begun || opened > before; }));
        revealing = false;
    }

    void loseDevice() {
        engines.making.engine.reset();
        send(WM_PLAYBACK_NOTIFY, PLAYBACK_DEVICE_LOST);
        ASSERT_TRUE(engines.making.engine);
        ASSERT_FALSE(ui().firstFrameShown);
    }

    static std::vector<std::int16_t> seconds(int count, std::int16_t sample) {
        return std::vector<std::int16_t>(static_cast<std::size_t>(count) * 4096, sample);
    }

    [[nodiscard]] PixelRect track() const {
        RECT rect = {};
        GetClientRect(window, &rect);
        return timelineRect({rect.right, rect.bottom}, ui().dpi, ui().fullscreen);
    }

    // The pixels on the right of the track, at half its height.
    [[nodiscard]] std::vector<COLORREF> besideTheTrack() const {
        UpdateWindow(window);
        const PixelRect rect = track();
        std::vector<COLORREF> colours;
        const HDC dc = GetDC(window);
        for (int x = rect.right; x < rect.right + 6; ++x)
            colours.push_back(GetPixel(dc, x, (rect.top + rect.bottom) / 2));
        ReleaseDC(window, dc);
        return colours;
    }

    // How high the waveform is drawn at that share of the timeline, in pixels each way.
    [[nodiscard]] int heightAt(double share) const {
        UpdateWindow(window);
        const PixelRect rect = track();
        const auto x = rect.left + static_cast<int>((rect.right - rect.left) * share);
        const int centre = (rect.top + rect.bottom) / 2;
        int height = 0;
        const HDC dc = GetDC(window);
        while (GetPixel(dc, x, centre - height - 1) == WAVE_COLOUR) ++height;
        EXPECT_EQ(GetPixel(dc, x, centre - height - 1), CLIP_COLOUR) << share;
        ReleaseDC(window, dc);
        return height;
    }

    // Lifted at the end of the test, however that comes. A worker may hold it longer.
    std::shared_ptr<Blockade> newBlockade() {
        return blockades.emplace_back(std::make_shared<Blockade>());
    }

    std::vector<std::shared_ptr<Blockade>> blockades;
    // What else opens the file, to see how long it is, finds none.
    std::atomic<bool> revealing{false};
    std::atomic<int> opened{0};
    ComPtr<SoundReader> reader = ComPtr<SoundReader>::adopt(new SoundReader);
};

TEST_F(WindowPeaksTest, AreSoughtOnceTheVideoIsShown) {
    reader->reads = {{.samples = seconds(1, 8192)}, {.flags = ENDS}};
    openWithoutPicture();
    tick();
    ASSERT_FALSE(ui().firstFrameShown);
    EXPECT_FALSE(audioPeaksStarted());
    reveal();
    EXPECT_TRUE(audioPeaksStarted());
    ASSERT_TRUE(workerEnds());
    ASSERT_THAT(validAudioPeaks(), SizeIs(4096));
    EXPECT_EQ(validAudioPeaks()[409], 0.25F); // a tenth of the video's length
    EXPECT_EQ(validAudioPeaks()[410], 0);
    for (int i = 0; i < 3; ++i) tick();
    EXPECT_EQ(opened, 1);
}

TEST_F(WindowPeaksTest, AreDrawnWhereTheyAreHeard) {
    for (int second = 0; second < 10; ++second) {
        const auto loudness = static_cast<std::int16_t>(second == 5 ? 32767 : 3277);
        reader->reads.push_back({.samples = seconds(1, loudness)});
    }
    reader->reads.push_back({.flags = ENDS});
    openAndReveal();
    ASSERT_TRUE(workerEnds());
    tick();
    editState().selectedClip = -1;
    repaint();
    const PixelRect rect = track();
    const int most = (rect.bottom - rect.top) / 2 - S(6);
    EXPECT_NEAR(heightAt(0.55), most, 1);
    for (const double share : {0.05, 0.25, 0.48, 0.62, 0.8, 0.95})
        EXPECT_NEAR(heightAt(share), most / 10, 1) << share;
}

TEST_F(WindowPeaksTest, AreDrawnAsFarAsTheyAreKnown) {
    const auto blockade = newBlockade();
    reader->reads = {{.samples = seconds(3, 16384)},
                     {.samples = seconds(3, 16384),
                      .hook =
                          [blockade] {
                              blockade->block();
                          }},
                     {.flags = ENDS}};
    openAndReveal();
    ASSERT_TRUE(waitFor([&] { return blockade->isReached(); }));
    tick();
    editState().selectedClip = -1;
    repaint();
    EXPECT_GT(heightAt(0.2), 10);
    EXPECT_EQ(heightAt(0.4), 0);
    blockade->lift();
    ASSERT_TRUE(workerEnds());
    EXPECT_EQ(heightAt(0.4), 0); // nothing has asked for a paint yet
    tick();
    EXPECT_GT(heightAt(0.2), 10);
    EXPECT_GT(heightAt(0.4), 10);
    EXPECT_EQ(heightAt(0.8), 1); // silence
}

TEST_F(WindowPeaksTest, TheTimelineIsPaintedAgainWheneverThereAreMore) {
    const auto first = newBlockade();
    const auto second = newBlockade();
    reader->reads = {{.hook =
                          [first] {
                              first->block();
                          }},
                     {.samples = seconds(10, 512)},
                     {.hook =
                          [second] {
                              second->block();
                          }},
                     {.samples = seconds(1, 1024)}, // behind the video's end
                     {.flags = ENDS}};
    openAndReveal();
    tick();
    const auto isAsked = [this] {
        const RECT rect = asked([this] { tick(); });
        return !IsRectEmpty(&rect);
    };
    EXPECT_FALSE(isAsked());
    first->lift();
    ASSERT_TRUE(waitFor([&] { return second->isReached(); }));
    RECT bar = {};
    GetClientRect(window, &bar);
    bar.top = bar.bottom - 240;
    const RECT rect = asked([this] { tick(); });
    EXPECT_TRUE(EqualRect(&rect, &bar));
    EXPECT_FALSE(isAsked());
    second->lift();
    ASSERT_TRUE(workerEnds());
    EXPECT_TRUE(isAsked()); // there are as many, but the last is louder
    EXPECT_FALSE(isAsked());
}

// While a cut is dragged the clips are drawn straight into the window, each bar four pixels wide.
TEST_F(WindowPeaksTest, NoBarReachesBeyondTheTrackWhileACutIsDragged) {
    for (int second = 0; second < 10; ++second)
        reader->reads.push_back({.samples = seconds(1, 32767)});
    reader->reads.push_back({.flags = ENDS});
    openAndReveal();
    ASSERT_TRUE(workerEnds());
    for (const WORD dpi : {WORD{144}, WORD{192}}) {
        for (int width = 1400; width < 1408; ++width) { // the last bar ends anywhere
            changeDpi(dpi, {0, 0, width, 1000});
            timelineMouse().drag.reset();
            repaint();
            const std::vector<COLORREF> kept = besideTheTrack();
            timelineMouse().drag = CutDrag{.cut = 0};
            repaint();
            EXPECT_EQ(besideTheTrack(), kept) << dpi << ' ' << width;
            timelineMouse().drag.reset();
        }
    }
}

TEST_F(WindowPeaksTest, InFullscreenNothingIsPaintedForThem) {
    reader->reads = {{.samples = seconds(10, 512)}, {.flags = ENDS}};
    openAndReveal();
    toggleFullscreen();
    ASSERT_TRUE(workerEnds());
    const RECT rect = asked([this] { tick(); });
    EXPECT_TRUE(IsRectEmpty(&rect));
    toggleFullscreen();
    editState().selectedClip = -1;
    repaint();
    EXPECT_EQ(heightAt(0.5), 1);
}

TEST_F(WindowPeaksTest, AnotherFileTakesThemAwayAtOnce) {
    const auto blockade = newBlockade();
    reader->reads = {{.samples = seconds(5, 16384)},
                     {.samples = seconds(5, 16384),
                      .hook =
                          [blockade] {
                              blockade->block();
                          }},
                     {.samples = seconds(5, 16384)}};
    openAndReveal();
    ASSERT_TRUE(waitFor([&] { return blockade->isReached(); }));
    ASSERT_THAT(validAudioPeaks(), SizeIs(2048));
    beginOpening(); // waits for nothing: the read is still under way
    EXPECT_THAT(validAudioPeaks(), IsEmpty());
    EXPECT_FALSE(audioPeaksStarted());
    fire(METADATA_EVENT);
    ASSERT_TRUE(editState().videoLoaded);
    blockade->lift();
    ASSERT_TRUE(workerEnds());
    EXPECT_THAT(validAudioPeaks(), IsEmpty());
    EXPECT_EQ(reader->readsMade, 2);
    editState().selectedClip = -1;
    ui().firstFrameShown = true; // the strip is drawn
    repaint();
    EXPECT_EQ(heightAt(0.2), 0);
}

TEST_F(WindowPeaksTest, AnotherFileHasItsOwn) {
    reader->reads = {{.samples = seconds(1, 16384)}, {.flags = ENDS}};
    openAndReveal();
    ASSERT_TRUE(workerEnds());
    reader->reads = {{.samples = seconds(1, 1024)}, {.flags = ENDS}};
    openAndReveal();
    ASSERT_TRUE(workerEnds());
    ASSERT_THAT(validAudioPeaks(), SizeIs(4096));
    EXPECT_EQ(validAudioPeaks()[0], 1024 / 32768.F);
}

TEST_F(WindowPeaksTest, TheSameFileKeepsThemWhenTheDeviceIsLost) {
    const auto blockade = newBlockade();
    reader->reads = {{.samples = seconds(5, 16384)},
                     {.samples = seconds(5, 16384),
                      .hook =
                          [blockade] {
                              blockade->block();
                          }},
                     {.flags = ENDS}};
    openAndReveal();
    ASSERT_TRUE(waitFor([&] { return blockade->isReached(); }));
    const std::uint32_t generation = peakGeneration();
    loseDevice();
    EXPECT_THAT(validAudioPeaks(), SizeIs(2048));
    fire(METADATA_EVENT);
    reveal();
    blockade->lift();
    ASSERT_TRUE(workerEnds());
    EXPECT_THAT(validAudioPeaks(), SizeIs(4096));
    EXPECT_EQ(peakGeneration(), generation);
    EXPECT_EQ(opened, 1);
}

TEST_F(WindowPeaksTest, AreSoughtWhenTheDeviceWasLostBeforeTheVideoWasShown) {
    reader->reads = {{.flags = ENDS}};
    open();
    loseDevice();
    EXPECT_FALSE(audioPeaksStarted());
    fire(METADATA_EVENT);
    reveal();
    EXPECT_TRUE(audioPeaksStarted());
    ASSERT_TRUE(workerEnds());
    EXPECT_THAT(validAudioPeaks(), SizeIs(4096));
}

TEST_F(WindowPeaksTest, TheWindowsEndStopsAndAwaitsTheirWorker) {
    reader->endless = true;
    openAndReveal();
    ASSERT_TRUE(waitFor([this] { return reader->readsMade > 10; }));
    DestroyWindow(window);
    EXPECT_FALSE(audioPeaksRun());
    EXPECT_FALSE(audioPeaksStarted());
}

TEST_F(WindowPeaksTest, TheWindowsEndStopsTheirWorkerBeforeTheEngine) {
    reader->endless = true;
    openAndReveal();
    ASSERT_TRUE(waitFor([this] { return reader->readsMade > 10; }));
    int ran = -1;
    engine().script.whileShutdown = [&ran] {
        ran = audioPeaksRun() ? 1 : 0;
    };
    DestroyWindow(window);
    EXPECT_EQ(ran, 0);
}

TEST_F(WindowPeaksTest, TheWindowsEndDoesNotHangWithAReadThatDoes) {
    const auto blockade = newBlockade();
    reader->reads = {{.hook = [blockade] {
        blockade->block();
    }}};
    openAndReveal();
    ASSERT_TRUE(waitFor([&] { return blockade->isReached(); }));
    DestroyWindow(window);
    EXPECT_TRUE(audioPeaksRun());
    blockade->lift();
}

} // namespace
} // namespace velkantrix
