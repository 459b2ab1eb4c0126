// Scrubs with the controller's own decoders, device and threads, and the real engine: what the
// previews show is what the engine shows when the hand lets go.
#include <cmath>
#include <cstdlib>
#include <string>
#include <vector>

#include "playback/byte_stream_handler.h"
#include "tests/support/random_choices.h"
#include "tests/windows/controller_engine_fixture.h"
#include "tests/windows/scripted_device.h"

namespace velkantrix {
namespace {

constexpr double HALF_A_MILLISECOND = 0.0005;
constexpr ULONGLONG CLOCK_STEP = 16; // milliseconds, of GetTickCount64

class ControllerScrub : public ControllerTest {
protected:
    ControllerScrub() { EXPECT_EQ(registerMp4Source(), S_OK); } // as the application has it

    void openNumbered(const std::wstring& name = L"numbered-25-30-3") {
        openAndWait(name);
        ASSERT_TRUE(waitFor([&] { return controller.enginePresented(); }));
    }

    // The exact preview of that time is on screen: after it nothing more comes.
    bool waitForPreview(double seconds) {
        return waitFor(
            [&] { return std::abs(controller.previewShownTime() - seconds) < HALF_A_MILLISECOND; });
    }
};

TEST_F(ControllerScrub, TheHandRestsOnTheExactPictureAndTheEngineLandsThere) {
    openNumbered();
    controller.beginScrub();
    EXPECT_EQ(controller.previewShownTime(), -1);
    controller.seek(3.02);
    EXPECT_TRUE(waitForPreview(3.0));
    EXPECT_EQ(controller.exactDecodes(), 1u);
    EXPECT_GE(controller.previewPresentCount(), 1u);
    controller.endScrub(3.02, false);
    EXPECT_TRUE(waitFor([&] { return !controller.isSeeking(); }));
    EXPECT_EQ(controller.settledPts(), 3 * TICKS_PER_SECOND);
}

TEST_F(ControllerScrub, ADragShowsPicturesOnTheWayAndDecodesOneExactly) {
    openNumbered();
    controller.beginScrub();
    // A busy machine rests where the hand doesn't: such requests may be decoded exactly.
    std::uint32_t rests = 0;
    ULONGLONG before = GetTickCount64();
    const auto ask = [&](double seconds) {
        const ULONGLONG begun = GetTickCount64();
        controller.seek(seconds);
        if (GetTickCount64() - before >= SCRUB_SETTLE - CLOCK_STEP) ++rests;
        before = begun;
    };
    for (int i = 0; i < 40; ++i) {
        ask(0.2 * i);
        const ULONGLONG begun = GetTickCount64();
        waitFor([&] { return GetTickCount64() - begun >= 20; });
    }
    EXPECT_GE(controller.previewPresentCount(), 3u);
    ask(8.02);
    EXPECT_TRUE(waitForPreview(8.0));
    EXPECT_LE(controller.exactDecodes(), rests + 1);
}

TEST_F(ControllerScrub, TheNextScrubHasPreviewsToo) {
    openNumbered();
    for (const double seconds : {3.0, 1.0}) {
        controller.beginScrub();
        EXPECT_EQ(controller.previewShownTime(), -1);
        controller.seek(seconds + 0.02);
        EXPECT_TRUE(waitForPreview(seconds));
        controller.endScrub(seconds, false);
        EXPECT_TRUE(waitFor([&] { return !controller.isSeeking(); }));
    }
}

TEST_F(ControllerScrub, TheNextFileHasPreviewsOfItsOwn) {
    openNumbered();
    controller.beginScrub();
    controller.seek(3.02);
    EXPECT_TRUE(waitForPreview(3.0));
    notices.clear();
    openNumbered(L"numbered-60-250-3");
    EXPECT_EQ(controller.exactDecodes(), 0u);
    controller.beginScrub();
    controller.seek(2.005);
    EXPECT_TRUE(waitForPreview(2.0));
}

TEST_F(ControllerScrub, AFileWithoutPicturesHasNoPreviews) {
    openAndWait(L"audio-only");
    controller.beginScrub();
    controller.seek(3);
    const ULONGLONG begun = GetTickCount64();
    waitFor([&] { return GetTickCount64() - begun >= 150; });
    EXPECT_EQ(controller.previewPresentCount(), 0u);
    controller.endScrub(3, false);
}

// The engine has the one from the program's own source, and the other from the system's.
TEST_F(ControllerScrub, FragmentsArePreviewedAsTheirSourceIs) {
    const TestFolder folder;
    const std::wstring copy = folder.path(L"copy.m4v");
    ASSERT_TRUE(CopyFileW(mediaFile(L"fragmented").c_str(), copy.c_str(), FALSE));
    for (const auto& [path, byTextures] :
         {std::pair{mediaFile(L"fragmented"), true}, std::pair{copy, false}}) {
        notices.clear();
        ASSERT_EQ(controller.open(path.c_str(), false, window, receiver), S_OK);
        ASSERT_TRUE(waitForNotice(PLAYBACK_READY));
        ASSERT_TRUE(waitFor([&] { return controller.enginePresented(); }));
        controller.beginScrub();
        controller.seek(3.02);
        EXPECT_TRUE(waitFor([&] { return controller.previewPresentCount() > 0; }));
        EXPECT_EQ(controller.previewIsNv12(), byTextures);
    }
}

TEST_F(ControllerScrub, OnceClosedTheFileIsLetGo) {
    const TestFolder folder;
    const std::wstring path = folder.path(L"copy.mp4");
    ASSERT_TRUE(CopyFileW(mediaFile(L"numbered-25-30-3").c_str(), path.c_str(), FALSE));
    ASSERT_EQ(controller.open(path.c_str(), false, window, receiver), S_OK);
    ASSERT_TRUE(waitForNotice(PLAYBACK_READY));
    controller.beginScrub();
    controller.seek(3.02);
    EXPECT_TRUE(waitForPreview(3.0));
    controller.seek(7);
    controller.close();
    // The engine and the scan for the video's end may take a moment more.
    EXPECT_TRUE(waitFor([&] { return DeleteFileW(path.c_str()) != FALSE; }));
}

TEST_F(ControllerScrub, ItCanBeClosedWhileItDecodes) {
    RandomChoices choices(3);
    for (int round = 0; round < 15; ++round) {
        notices.clear();
        openNumbered(choices.percent(50) ? L"numbered-25-250-3" : L"numbered-25-1-0");
        controller.beginScrub();
        for (std::uint32_t left = choices.between(1, 3); left > 0; --left) {
            controller.seek(choices.between(0, 9) + 0.5);
            Sleep(choices.below(100));
        }
        controller.close();
        ASSERT_EQ(controller.state(), PlaybackState::Closed);
    }
}

class PreviewAndEngine : public ControllerScrub,
                         public testing::WithParamInterface<std::wstring> {};

// The engine says first which picture it is. Half of the times are by no more than 2 ms behind the
// edge of one; all that have edges elsewhere than at whole sixtieths carry their rate's name.
TEST_P(PreviewAndEngine, ShowTheSamePicture) {
    openNumbered(GetParam());
    RandomChoices choices(11);
    const bool isNumbered = GetParam().starts_with(L"numbered");
    const double frame = isNumbered ? 1 / controller.fps() : 1 / 60.0;
    const std::uint32_t frames = isNumbered ? 230 : 690;
    for (int i = 0; i < (std::getenv("VELKANTRIX_LONG") ? 300 : 15); ++i) {
        const double inside =
            choices.percent(50)
                ? 0.002
                : choices.between(2, static_cast<std::uint32_t>(frame * 1000) - 2) / 1000.0;
        const double seconds = choices.below(frames) * frame + inside;
        controller.seek(seconds);
        ASSERT_TRUE(waitFor([&] { return !controller.isSeeking(); })) << i;
        const double settled = secondsOf(controller.settledPts());
        const std::uint32_t before = controller.exactDecodes();
        controller.beginScrub();
        controller.seek(seconds);
        ASSERT_TRUE(waitForPreview(settled)) << "request " << i << " for " << seconds << ", shown "
                                             << controller.previewShownTime() << " for " << settled;
        EXPECT_LE(controller.exactDecodes() - before, 1u);
        controller.endScrub(seconds, false);
        ASSERT_TRUE(waitFor([&] { return !controller.isSeeking(); })) << i;
        EXPECT_NEAR(secondsOf(controller.settledPts()), settled, HALF_A_MILLISECOND) << i;
    }
}

// One of each kind, or all when there is time.
std::vector<std::wstring> comparedRecordings() {
    std::vector<std::wstring> all = {L"pyramid", L"open", L"video-late", L"fragmented"};
    if (!std::getenv("VELKANTRIX_LONG")) {
        all.insert(all.end(), {L"numbered-2997-30-3", L"numbered-2997-30-3-fragmented",
                               L"numbered-2997-30-3-fragmented-late", L"numbered-60-250-3",
                               L"numbered-25-1-0"});
        return all;
    }
    for (const wchar_t* const rate : {L"25", L"2997", L"60"})
        for (const int group : {1, 30, 250})
            for (int b = 0; b <= (group == 1 ? 0 : 4); ++b) {
                const std::wstring stem = std::wstring(L"numbered-") + rate + L"-" +
                                          std::to_wstring(group) + L"-" + std::to_wstring(b);
                all.insert(all.end(), {stem, stem + L"-fragmented-late"});
                if (group > 1 && (b == 0 || b == 3)) all.push_back(stem + L"-fragmented");
            }
    return all;
}

INSTANTIATE_TEST_SUITE_P(Recordings, PreviewAndEngine, testing::ValuesIn(comparedRecordings()));

class ScriptedScrub : public ControllerEngineTest {
protected:
    void begin(const std::wstring& name) {
        ASSERT_EQ(open(name), S_OK);
        fire(METADATA_EVENT);
        ASSERT_TRUE(waitFor([&] { return controller.enginePresentCount() == 1; }));
        controller.beginScrub();
        controller.seek(3.02);
    }
    bool waitForPreview(double seconds) {
        return waitFor(
            [&] { return std::abs(controller.previewShownTime() - seconds) < HALF_A_MILLISECOND; });
    }
};

// Nothing was known of the video's size when the file was opened.
TEST_F(ScriptedScrub, AFileThatOnlyTheEngineCanReadHasNoPreviews) {
    begin(L"no-such-file");
    const ULONGLONG begun = GetTickCount64();
    waitFor([&] { return GetTickCount64() - begun >= 150; });
    EXPECT_EQ(controller.previewPresentCount(), 0u);
    controller.endScrub(3, false);
}

// Without its size no decoder was started when it was opened.
TEST_F(ScriptedScrub, AFileThatWasNotThereYetHasPreviewsOnceItIs) {
    const TestFolder folder;
    const std::wstring path = folder.path(L"copy.mp4");
    engines.making.script.width = 640;
    engines.making.script.height = 360;
    ASSERT_EQ(controller.open(path.c_str(), false, window, receiver), S_OK);
    fire(METADATA_EVENT);
    ASSERT_TRUE(waitFor([&] { return controller.enginePresentCount() == 1; }));
    ASSERT_TRUE(CopyFileW(mediaFile(L"numbered-25-30-3").c_str(), path.c_str(), FALSE));
    controller.beginScrub();
    controller.seek(3.02);
    EXPECT_TRUE(waitForPreview(3.0));
    controller.close();
}

// A picture of another shape than the coded one, as of a turned video: by the reader.
TEST_F(ScriptedScrub, AVideoThatIsShownAnotherWayHasPreviewsAllTheSame) {
    engines.making.script.width = 180;
    engines.making.script.height = 320;
    begin(L"numbered-25-30-3");
    EXPECT_TRUE(waitForPreview(3.0));
}

class ScrubDeviceLoss : public ScriptedScrub {
protected:
    ~ScrubDeviceLoss() override { controller.close(); }
    ScriptedDevice device;
};

TEST_F(ScrubDeviceLoss, ALossWithinAScrubIsToldAndEndsWell) {
    begin(L"numbered-25-30-3");
    device.lose();
    controller.seek(5);
    EXPECT_TRUE(waitForNotice(PLAYBACK_DEVICE_LOST));
    controller.endScrub(5, false);
    controller.close();
    device.bringBack();
    notices.clear();
    begin(L"numbered-25-30-3");
    EXPECT_TRUE(waitForPreview(3.0));
}

} // namespace
} // namespace velkantrix
