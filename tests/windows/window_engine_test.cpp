// The main window and its engine: what they tell each other, and what becomes of the engine when
// the device is lost or the window closes.
#include "app/layout.h"
#include "app/placing.h"
#include "app/timeline_layout.h"
#include "app/transport_bar.h"
#include "export/export_job.h"
#include "tests/windows/test_files.h"
#include "tests/windows/window_engine_fixture.h"

namespace velkantrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

using Message = std::pair<WPARAM, LPARAM>;

class WindowNoticesTest : public WindowEngineTest {
protected:
    // What has been posted to the window with that number.
    [[nodiscard]] std::vector<Message> posted(UINT number) const {
        std::vector<Message> messages;
        MSG message;
        while (PeekMessageW(&message, window, number, number, PM_REMOVE))
            messages.emplace_back(message.wParam, message.lParam);
        return messages;
    }

    [[nodiscard]] std::vector<Message> postedBy(DWORD event) const {
        EXPECT_TRUE(engine().fire(event));
        return posted(0x8001);
    }
};

TEST_F(WindowNoticesTest, TheEnginesNewsHaveTheirNumbers) {
    beginOpening();
    EXPECT_THAT(postedBy(METADATA_EVENT), ElementsAre(Message(1, 0)));
    EXPECT_THAT(postedBy(ENDED_EVENT), ElementsAre(Message(3, 0)));
    beginOpening();
    EXPECT_THAT(postedBy(FAILED_EVENT), ElementsAre(Message(2, 0)));
}

TEST_F(WindowNoticesTest, TheWindowKnowsThemByThese) {
    std::vector<std::wstring> errors;
    openHost().showError = [&](const std::wstring& text) {
        errors.push_back(text);
    };
    beginOpening();
    EXPECT_THAT(postedBy(METADATA_EVENT), testing::SizeIs(1));
    send(0x8001, 1);
    EXPECT_TRUE(editState().videoLoaded);
    engine().forgetCalls();
    ui().playback->pause();
    send(0x8001, 3); // the engine plays on at the end
    EXPECT_EQ(engine().calls(), (std::vector<std::string>{"Pause", "Pause"}));
    send(0x8001, 4);
    EXPECT_EQ(openState().phase, OpenPhase::Reopening);
    send(0x8001, 2);
    EXPECT_EQ(openState().phase, OpenPhase::None);
    EXPECT_EQ(editState().statusText, L"Could not open this video");
    EXPECT_THAT(errors, ElementsAre(L"Windows Media Foundation could not open this video."));
}

TEST_F(WindowNoticesTest, TheJobsEndHasItsNumber) {
    EXPECT_EQ(WM_EXPORT_FINISHED, 0x8002u);
    jobHost().calls.postCompletion(true);
    jobHost().calls.postCompletion(false);
    EXPECT_THAT(posted(0x8002), ElementsAre(Message(1, 0), Message(0, 0)));
}

using WindowSoundTest = WindowEngineTest;

TEST_F(WindowSoundTest, AnOpenedVideoIsAsLoudAsTheWindowSays) {
    ui().volume = {.level = 0.5, .muted = true};
    beginOpening();
    engine().forgetCalls();
    fire(METADATA_EVENT);
    EXPECT_THAT(engine().calls(), Contains("SetVolume 0.5"));
    EXPECT_THAT(engine().calls(), Contains("SetMuted 1"));
}

TEST_F(WindowSoundTest, CommandsChangeWhatIsHeard) {
    open();
    command(131);
    EXPECT_EQ(engine().calls(), (std::vector<std::string>{"SetVolume 0.95", "SetMuted 0"}));
    engine().forgetCalls();
    command(129);
    EXPECT_EQ(engine().calls(), (std::vector<std::string>{"SetVolume 0.95", "SetMuted 1"}));
    engine().forgetCalls();
    command(130);
    EXPECT_EQ(engine().calls(), (std::vector<std::string>{"SetVolume 1", "SetMuted 0"}));
}

class WindowZoomTest : public WindowEngineTest {
protected:
    WindowZoomTest() {
        engines.making.script.width = 860;
        engines.making.script.height = 460;
    }

    [[nodiscard]] SIZE client() const {
        RECT rect = {};
        GetClientRect(window, &rect);
        return {rect.right, rect.bottom};
    }

    void expectClient(LONG width, LONG height) const {
        EXPECT_EQ(client().cx, width);
        EXPECT_EQ(client().cy, height);
    }
};

TEST_F(WindowZoomTest, AnotherVideoIsShownInItsOwnSizeAgain) {
    open();
    expectClient(908, 706);
    command(165);
    EXPECT_TRUE(ui().doubled);
    EXPECT_GT(client().cx, 908);
    open();
    EXPECT_FALSE(ui().doubled);
    expectClient(908, 706);
}

// The device is gone, and the engine with it: the same file is opened again.
class WindowReopeningTest : public WindowEngineTest {
protected:
    void lose() {
        engines.making.engine.reset();
        send(WM_PLAYBACK_NOTIFY, PLAYBACK_DEVICE_LOST);
        ASSERT_EQ(openState().phase, OpenPhase::Reopening);
        ASSERT_TRUE(engines.making.engine);
    }

    void openAndLose() {
        open();
        if (!HasFatalFailure()) lose();
    }

    // What is asked of the new engine.
    [[nodiscard]] std::vector<std::string> callsWhenOpen() const {
        engine().forgetCalls();
        fire(METADATA_EVENT);
        EXPECT_EQ(openState().phase, OpenPhase::None);
        return engine().calls();
    }
};

TEST_F(WindowReopeningTest, WhatPlayedPlaysOn) {
    openAndLose();
    EXPECT_TRUE(editHost().isPlaying());
    EXPECT_THAT(callsWhenOpen(), Contains("Play"));
}

TEST_F(WindowReopeningTest, WhatStoodStillStaysSo) {
    open();
    command(102);
    lose();
    EXPECT_FALSE(editHost().isPlaying());
    EXPECT_THAT(callsWhenOpen(), Not(Contains("Play")));
}

TEST_F(WindowReopeningTest, PlayAndPauseCountOnceItIsOpen) {
    openAndLose();
    command(102);
    EXPECT_FALSE(editHost().isPlaying());
    EXPECT_FALSE(openState().playAfterReopen);
    command(102);
    EXPECT_TRUE(editHost().isPlaying());
    command(102);
    EXPECT_THAT(callsWhenOpen(), Not(Contains("Play")));
    lose();
    command(102);
    EXPECT_THAT(callsWhenOpen(), Contains("Play"));
}

TEST_F(WindowReopeningTest, AFrameStepPausesIt) {
    for (const int step : {123, 124}) {
        openAndLose();
        command(step);
        EXPECT_FALSE(editHost().isPlaying()) << step;
        EXPECT_THAT(callsWhenOpen(), Not(Contains("Play"))) << step;
    }
}

TEST_F(WindowReopeningTest, AnExportThatBeginsPausesIt) {
    openAndLose();
    jobHost().startThread = [](const std::function<void()>&) {
    };
    ExportTo(L"C:\\no-such-folder\\out.mp4", false, 0, false, {}, std::nullopt, false);
    ASSERT_TRUE(editState().exportBusy);
    EXPECT_FALSE(editHost().isPlaying());
    EXPECT_THAT(callsWhenOpen(), Not(Contains("Play")));
    editState().exportBusy = false;
}

TEST_F(WindowReopeningTest, ASecondLossKeepsWhatTheUserWants) {
    openAndLose();
    lose();
    EXPECT_TRUE(editHost().isPlaying());
    command(102);
    lose();
    EXPECT_FALSE(editHost().isPlaying());
    EXPECT_THAT(callsWhenOpen(), Not(Contains("Play")));
}

// Of a window that holds the mouse, or awaits its engine.
class WindowClosingWithAVideo : public WindowEngineTest {
protected:
    WindowClosingWithAVideo() { ShowWindow(window, SW_SHOWNOACTIVATE); }

    // A point of the timeline, as a mouse message has it: `share` of its width from the left.
    [[nodiscard]] LPARAM pointAt(double share) const {
        RECT client = {};
        GetClientRect(window, &client);
        const PixelRect track = timelineRect({client.right, client.bottom}, ui().dpi, false);
        const int x = track.left + static_cast<int>(share * (track.right - track.left));
        return MAKELPARAM(x, (track.top + track.bottom) / 2);
    }

    void expectClosed() const {
        EXPECT_FALSE(IsWindow(window));
        EXPECT_FALSE(playback());
        EXPECT_EQ(engine().calls().back(), "Shutdown");
        EXPECT_FALSE(GetCapture());
    }
};

TEST_F(WindowClosingWithAVideo, AScrubDoesntHoldItUp) {
    open();
    send(WM_LBUTTONDOWN, MK_LBUTTON, pointAt(0.5));
    ASSERT_TRUE(isScrubbing());
    ASSERT_EQ(GetCapture(), window);
    send(WM_CLOSE);
    expectClosed();
}

TEST_F(WindowClosingWithAVideo, ADraggedCutIsAnEditToAskAbout) {
    open();
    splitClip(0, 5);
    editState().edited = false;
    send(WM_LBUTTONDOWN, MK_LBUTTON, pointAt(0.5));
    ASSERT_TRUE(isDragging());
    send(WM_MOUSEMOVE, MK_LBUTTON, pointAt(0.7));
    const double cut = editState().clips[0].end;
    EXPECT_GT(cut, 6.5);
    WORD answer = IDNO;
    BoxAnswers boxes([&](const std::wstring&) { return answer; });
    send(WM_CLOSE);
    ASSERT_TRUE(IsWindow(window));
    EXPECT_FALSE(isDragging()); // the box has the mouse
    EXPECT_FALSE(GetCapture());
    EXPECT_EQ(editState().clips[0].end, cut);
    answer = IDYES;
    send(WM_LBUTTONDOWN, MK_LBUTTON, pointAt(0.7));
    ASSERT_TRUE(isDragging());
    send(WM_CLOSE);
    EXPECT_EQ(boxes.texts.size(), 2u);
    expectClosed();
}

TEST_F(WindowClosingWithAVideo, AFileThatIsOpenedAgainDoesntHoldItUp) {
    open();
    send(WM_PLAYBACK_NOTIFY, PLAYBACK_DEVICE_LOST);
    ASSERT_EQ(openState().phase, OpenPhase::Reopening);
    send(WM_CLOSE);
    expectClosed();
}

TEST_F(WindowEngineTest, TheEngineHearsTheBarsSlider) {
    open();
    SetWindowPos(ui().transport, nullptr, 0, 0, 1272, 62, SWP_NOZORDER | SWP_NOACTIVATE);
    const SliderTrack track = sliderTrack(transportLayout(ui().transport)[TRANSPORT_VOLUME], 96);
    const LPARAM middle = MAKELPARAM((track.left + track.right) / 2, track.middle);
    SendMessageW(ui().transport, WM_LBUTTONDOWN, 0, middle);
    SendMessageW(ui().transport, WM_LBUTTONUP, 0, middle);
    EXPECT_THAT(engine().calls(), Contains("SetVolume 0.5"));
}

// Not where the last tick has seen it.
TEST_F(WindowEngineTest, ThePlayheadIsStoredWhereTheEngineIs) {
    const TestFolder folder;
    const std::wstring path = folder.path(L"video.mp4");
    writeBytes(path, {'v'});
    open();
    playback()->pause();
    openState().path = path;
    engine().script.time = 3;
    DestroyWindow(window);
    const auto entries = ScratchRegistry::entries(L"Software\\Velkantrix\\Playheads");
    const double seconds = 3;
    ASSERT_THAT(entries, testing::SizeIs(1));
    EXPECT_EQ(entries.begin()->second.bytes, ScratchRegistry::bytesOf(&seconds, sizeof seconds));
}

} // namespace
} // namespace velkantrix
