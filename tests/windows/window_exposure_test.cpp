// The exposure's commands in the main window, over an engine that does what the test says.
#include "tests/windows/luma_reader.h"
#include "tests/windows/reader_maker.h"
#include "tests/windows/test_files.h"
#include "tests/windows/window_engine_fixture.h"

namespace velkantrix {
namespace {

using testing::Contains;
using testing::Not;
using testing::StartsWith;

constexpr int AUTO = 160;
constexpr int BRIGHTER = 161;
constexpr int DARKER = 162;
constexpr int RESET = 163;
constexpr int RESET_OR_AUTO = 164;

class WindowExposureTest : public WindowEngineTest {
protected:
    // Stands still; the file is a recording, for whoever looks at it.
    void openRecording(const std::wstring& name, double duration) {
        open();
        if (HasFatalFailure()) return;
        playback()->pause();
        openState().path = mediaFile(name);
        editState().duration = duration;
        editState().statusText.clear();
        engine().forgetCalls();
    }

    void expectExposure(double exposure, const std::wstring& text) const {
        EXPECT_NEAR(ui().exposure, exposure, 1e-4);
        EXPECT_EQ(playback()->exposure(), ui().exposure);
        EXPECT_EQ(editState().statusText, text);
        EXPECT_EQ(jobHost().exposure(), ui().exposure);
    }
};

TEST_F(WindowExposureTest, IsSteppedAndSaidAndShown) {
    openRecording(L"dark", 4);
    command(BRIGHTER);
    command(BRIGHTER);
    expectExposure(0.2, L"Exposure +20%");
    command(DARKER);
    command(DARKER);
    expectExposure(0, L"Exposure reset");
    command(DARKER);
    expectExposure(-0.1, L"Exposure -10%");
    command(RESET);
    expectExposure(0, L"Exposure reset");
}

TEST_F(WindowExposureTest, StopsAtAHundredPercent) {
    openRecording(L"dark", 4);
    for (int i = 0; i < 11; ++i) command(BRIGHTER);
    expectExposure(1, L"Exposure +100%");
    for (int i = 0; i < 25; ++i) command(DARKER);
    expectExposure(-1, L"Exposure -100%");
}

TEST_F(WindowExposureTest, APictureThatStandsStillIsSoughtAgain) {
    openRecording(L"dark", 4);
    editState().playhead = 2;
    engine().script.time = 2;
    command(BRIGHTER);
    EXPECT_THAT(engine().calls(), Contains("SetCurrentTime 2"));
}

TEST_F(WindowExposureTest, APictureThatPlaysIsNot) {
    open();
    ASSERT_EQ(playback()->state(), PlaybackState::Playing);
    command(BRIGHTER);
    expectExposure(0.1, L"Exposure +10%");
    EXPECT_THAT(engine().calls(), Not(Contains(StartsWith("SetCurrentTime"))));
}

TEST_F(WindowExposureTest, IsFoundFromTheVideo) {
    openRecording(L"dark", 4);
    command(AUTO);
    expectExposure(0.3156, L"Exposure +32%");
    openState().path = mediaFile(L"bright");
    command(AUTO); // again, whatever it is already
    expectExposure(-0.6, L"Exposure -60%");
    openState().path = mediaFile(L"grey");
    command(AUTO);
    expectExposure(0, L"Exposure reset");
}

TEST_F(WindowExposureTest, OneCommandFindsItAndTakesItBack) {
    openRecording(L"dark-second", 1);
    command(RESET_OR_AUTO);
    expectExposure(0.3156, L"Exposure +32%");
    command(RESET_OR_AUTO);
    expectExposure(0, L"Exposure reset");
}

TEST_F(WindowExposureTest, TheWholeWindowIsDrawnAnew) {
    open();
    ShowWindow(window, SW_SHOWNOACTIVATE);
    RECT client = {};
    GetClientRect(window, &client);
    const RECT drawn = asked([&] { command(BRIGHTER); });
    EXPECT_TRUE(EqualRect(&drawn, &client));
}

class ScriptedExposureTest : public WindowExposureTest {
protected:
    ScriptedExposureTest() {
        reader = ComPtr<LumaReader>::adopt(new LumaReader);
        readerMaker() = [this](const ReaderRequest&) {
            return ComPtr<IMFSourceReader>::share(reader.get());
        };
    }
    ~ScriptedExposureTest() override { readerMaker() = {}; }
    ScriptedExposureTest(const ScriptedExposureTest&) = delete;
    ScriptedExposureTest& operator=(const ScriptedExposureTest&) = delete;

    ComPtr<LumaReader> reader;
};

TEST_F(ScriptedExposureTest, AVideoWithoutAPictureLeavesItAsItIs) {
    openRecording(L"dark", 4);
    command(BRIGHTER);
    editState().statusText.clear();
    command(AUTO);
    expectExposure(0.1, L"Exposure +10%");
}

TEST_F(ScriptedExposureTest, OfAVideoThatIsSlowToSeekTheFirstPicturesAreTaken) {
    openRecording(L"dark", 80);
    for (const bool slow : {false, true}) {
        openState().slowToSeek = slow;
        reader->positions.clear();
        for (int i = 0; i < 8; ++i) reader->reads.push_back({.size = 96, .luma = 60});
        command(AUTO);
        expectExposure(0.3156, L"Exposure +32%");
        EXPECT_EQ(reader->positions.size(), slow ? 0u : 8u);
    }
}

TEST_F(WindowExposureTest, WhatCantBeLookedAtLeavesItAsItIs) {
    openRecording(L"no-such-file", 4);
    command(BRIGHTER);
    editState().statusText.clear();
    command(AUTO);
    expectExposure(0.1, L"Exposure +10%");
}

TEST_F(WindowExposureTest, WhileAJobRunsItIsNotLookedForButStepped) {
    openRecording(L"dark", 4);
    editState().exportBusy = true;
    command(AUTO);
    command(RESET_OR_AUTO);
    EXPECT_EQ(ui().exposure, 0);
    EXPECT_EQ(editState().statusText, L"");
    command(BRIGHTER);
    expectExposure(0.1, L"Exposure +10%");
    command(RESET);
    expectExposure(0, L"Exposure reset");
    editState().exportBusy = false;
}

TEST_F(WindowExposureTest, WithoutAVideoNothingHappens) {
    for (const int id : {AUTO, BRIGHTER, DARKER, RESET, RESET_OR_AUTO}) command(id);
    EXPECT_EQ(ui().exposure, 0);
    EXPECT_EQ(editState().statusText, L"");
}

TEST_F(WindowExposureTest, AnotherVideoBeginsWithoutOne) {
    openRecording(L"dark", 4);
    command(BRIGHTER);
    open();
    EXPECT_EQ(ui().exposure, 0);
    EXPECT_EQ(playback()->exposure(), 0);
}

TEST_F(WindowExposureTest, OutlastsTheLossOfTheDevice) {
    openRecording(L"dark", 4);
    command(BRIGHTER);
    send(0x8001, 4);
    ASSERT_EQ(openState().phase, OpenPhase::Reopening);
    fire(METADATA_EVENT);
    ASSERT_EQ(openState().phase, OpenPhase::None);
    EXPECT_NEAR(playback()->exposure(), 0.1, 1e-9);
}

} // namespace
} // namespace velkantrix
