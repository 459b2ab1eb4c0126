// What the main window does at each tick of its timers, and how often they tick.
#include "app/layout.h"
#include "app/placing.h"
#include "tests/windows/replaced_import.h"
#include "tests/windows/window_engine_fixture.h"

extern "C" decltype(&SetTimer) __imp_SetTimer;
extern "C" decltype(&GetDpiForWindow) __imp_GetDpiForWindow;

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::Pair;

MATCHER_P(IsRect, expected, "") {
    return EqualRect(&arg, &expected);
}

constexpr RECT NOTHING = {};

// The timers' numbers and periods, in the order in which they were set.
class TimerPeriods {
public:
    using Periods = std::vector<std::pair<UINT_PTR, UINT>>;

    TimerPeriods() { noted().clear(); }

    static Periods& noted() {
        static Periods periods;
        return periods;
    }

private:
    static UINT_PTR WINAPI note(HWND window, UINT_PTR timer, UINT period, TIMERPROC procedure) {
        if (window) noted().emplace_back(timer, period);
        return SetCoalescableTimer(window, timer, period, procedure, 0);
    }

    const ReplacedImport<decltype(&SetTimer)> replaced_{__imp_SetTimer, note};
};

class WindowTickTest : public TimerPeriods, public WindowEngineTest {
protected:
    WindowTickTest() { ShowWindow(window, SW_SHOWNOACTIVATE); }

    [[nodiscard]] RECT client() const {
        RECT rect = {};
        GetClientRect(window, &rect);
        return rect;
    }

    [[nodiscard]] RECT timeline() const {
        RECT rect = client();
        rect.top = rect.bottom - 240;
        return rect;
    }

    // What the next tick repaints.
    [[nodiscard]] RECT ticked() const {
        return asked([this] { tick(); });
    }

    // Likewise, of a tick that comes so soon that a picture may still come.
    [[nodiscard]] RECT tickedSoon(std::uint64_t afterOpening) const {
        RECT rect = {};
        do {
            ui().firstFrameShown = false;
            ui().openTick = GetTickCount64() - afterOpening;
            rect = ticked();
        } while (GetTickCount64() - ui().openTick >= 4000);
        return rect;
    }

    [[nodiscard]] static bool isVideoShown() {
        return (GetWindowLongPtrW(ui().video, GWL_STYLE) & WS_VISIBLE) != 0;
    }
};

TEST_F(WindowTickTest, OfWhatPlaysTheTimelineAloneIsPaintedAgain) {
    open();
    ui().firstFrameShown = true;
    ASSERT_EQ(ui().playback->state(), PlaybackState::Playing);
    ui().tickMemory.wasPlaying = true;
    engine().script.time = 3;
    EXPECT_THAT(ticked(), IsRect(timeline()));
    EXPECT_EQ(editState().playhead, 3);
    EXPECT_THAT(ticked(), IsRect(NOTHING)); // the time is still the same
}

TEST_F(WindowTickTest, OfWhatPlaysTheFadesAreSeen) {
    open();
    ui().firstFrameShown = true;
    editState().clips[0].fadeIn = 1;
    ui().tickMemory.wasPlaying = true;
    std::vector<double> gains;
    editHost().setDim = [&](double gain) {
        gains.push_back(gain);
    };
    tick();
    EXPECT_THAT(gains, IsEmpty()); // the time is still the same
    engine().script.time = 0.25;
    tick();
    EXPECT_THAT(gains, ElementsAre(0.25));
}

// How often

TEST_F(WindowTickTest, ANewWindowsTimersAreSlow) {
    EXPECT_THAT(noted(), ElementsAre(Pair(200, 250), Pair(201, 1000)));
}

TEST_F(WindowTickTest, TheTickIsQuickOnceAVideoIsReady) {
    openHost().play = [] {
    };
    noted().clear();
    open();
    EXPECT_THAT(noted(), ElementsAre(Pair(200, 33)));
}

TEST_F(WindowTickTest, TheTickIsQuickWhileAVideoPlaysAndSlowWhenItIsPaused) {
    open();
    ui().firstFrameShown = true;
    tick();
    noted().clear();
    command(102);
    EXPECT_THAT(noted(), IsEmpty());
    tick();
    EXPECT_THAT(noted(), ElementsAre(Pair(200, 250)));
    noted().clear();
    command(102);
    EXPECT_THAT(noted(), ElementsAre(Pair(200, 33)));
    tick();
    EXPECT_THAT(noted(), ElementsAre(Pair(200, 33)));
}

TEST_F(WindowTickTest, TheTickIsSlowThoughItHasNotSeenThatTheVideoPlayed) {
    open();
    ui().firstFrameShown = true;
    command(102);
    tick();
    noted().clear();
    command(102);
    command(102);
    tick();
    EXPECT_THAT(noted(), ElementsAre(Pair(200, 33), Pair(200, 250)));
}

// The tick itself pauses behind the last clip.
TEST_F(WindowTickTest, TheTickIsSlowWhenItHasEndedThePlaying) {
    open();
    ui().firstFrameShown = true;
    tick();
    noted().clear();
    engine().script.time = editState().duration;
    tick();
    ASSERT_FALSE(ui().playback->isOrWillBePlaying());
    EXPECT_THAT(noted(), ElementsAre(Pair(200, 250)));
}

TEST_F(WindowTickTest, TheTickStaysQuickWhenThePictureComesBeforeAPendingPlay) {
    open();
    command(102);
    command(126); // the end, from where playing begins anew
    command(102);
    ASSERT_EQ(ui().playback->state(), PlaybackState::Paused);
    ASSERT_TRUE(ui().playback->isOrWillBePlaying());
    ui().openTick = 0;
    noted().clear();
    tick();
    EXPECT_TRUE(ui().firstFrameShown);
    EXPECT_THAT(noted(), IsEmpty());
}

TEST_F(WindowTickTest, TheTickIsSlowAgainWhenPlayingEndsBeforeItsSeekHasLanded) {
    open();
    ui().firstFrameShown = true;
    command(102);
    command(126); // the end, from where playing begins anew
    command(102);
    ASSERT_EQ(ui().playback->state(), PlaybackState::Paused);
    ASSERT_TRUE(ui().playback->isOrWillBePlaying());
    tick();
    noted().clear();
    command(102);
    tick();
    EXPECT_THAT(noted(), ElementsAre(Pair(200, 250)));
}

TEST_F(WindowTickTest, TheTickIsSlowOnceThePictureOfAPausedVideoIsThere) {
    open();
    command(102);
    ui().openTick = 0;
    noted().clear();
    tick();
    EXPECT_TRUE(ui().firstFrameShown);
    EXPECT_THAT(noted(), ElementsAre(Pair(200, 250)));
}

TEST_F(WindowTickTest, AJobHasAPeriodOfItsOwnUntilItEnds) {
    open();
    noted().clear();
    jobHost().setTimer(100);
    EXPECT_THAT(noted(), ElementsAre(Pair(200, 100)));
    editState().exportBusy = true;
    noted().clear();
    for (int i = 0; i < 2; ++i) { // pauses, and plays
        command(102);
        tick();
    }
    command(102);
    ui().openTick = 0;
    ui().firstFrameShown = false;
    tick();
    EXPECT_TRUE(ui().firstFrameShown);
    command(102);
    tick();
    EXPECT_THAT(noted(), IsEmpty());
    send(0x8002, 1);
    ASSERT_FALSE(editState().exportBusy);
    EXPECT_THAT(noted(), ElementsAre(Pair(200, 250)));
    noted().clear();
    tick(); // it plays
    EXPECT_THAT(noted(), ElementsAre(Pair(200, 33)));
}

TEST_F(WindowTickTest, TheProgramsFiguresAreTakenAtOnceAndEachSecond) {
    EXPECT_GT(ui().stats.workingSet, 0u);
    ui().stats = {};
    send(WM_TIMER, 201);
    EXPECT_GT(ui().stats.workingSet, 0u);
}

// The first picture

TEST_F(WindowTickTest, UntilTheFirstPictureAllIsPaintedAgainForTheCardsDots) {
    openWithoutPicture();
    EXPECT_THAT(tickedSoon(0), IsRect(client()));
    EXPECT_FALSE(ui().firstFrameShown);
    EXPECT_FALSE(isVideoShown());
}

TEST_F(WindowTickTest, WithTheFirstPictureTheVideoIsShownAndAllPaintedAgain) {
    open();
    ASSERT_TRUE(waitFor([] { return ui().playback->enginePresented(); }));
    EXPECT_THAT(tickedSoon(0), IsRect(client()));
    EXPECT_TRUE(ui().firstFrameShown);
    EXPECT_TRUE(isVideoShown());
    engine().script.time = 3;
    EXPECT_THAT(ticked(), IsRect(timeline()));
}

TEST_F(WindowTickTest, WithoutAPictureTheVideoIsShownAfterFourSeconds) {
    openWithoutPicture();
    ui().openTick = GetTickCount64() - 4000;
    EXPECT_THAT(ticked(), IsRect(client()));
    EXPECT_TRUE(isVideoShown());
}

TEST_F(WindowTickTest, WithoutAPictureTheVideoIsShownOnceItPlaysOn) {
    openWithoutPicture();
    engine().script.time = 3;
    openState().resumedAt = 2.97;
    static_cast<void>(tickedSoon(120));
    EXPECT_FALSE(isVideoShown());
    openState().resumedAt = 2.95;
    ui().playback->pause();
    static_cast<void>(tickedSoon(120));
    EXPECT_FALSE(isVideoShown());
    ui().playback->play();
    static_cast<void>(tickedSoon(120));
    EXPECT_TRUE(isVideoShown());
}

TEST_F(WindowTickTest, TheWaitForThePictureBeginsWhenTheVideoIsReady) {
    beginOpening();
    ui().tickMemory = {.paintedTime = 7, .wasPlaying = true, .playedClip = 2, .jumpedTo = 5};
    const std::uint64_t before = GetTickCount64();
    fire(METADATA_EVENT);
    EXPECT_GE(ui().openTick, before);
    EXPECT_LE(ui().openTick, GetTickCount64());
    EXPECT_EQ(ui().tickMemory.paintedTime, 0);
    EXPECT_FALSE(ui().tickMemory.wasPlaying);
    EXPECT_EQ(ui().tickMemory.playedClip, -1);
    EXPECT_EQ(ui().tickMemory.jumpedTo, -1);
}

TEST_F(WindowTickTest, WhileAFileIsOpenedAgainAllIsPaintedAgain) {
    open();
    send(0x8001, 4);
    ASSERT_EQ(openState().phase, OpenPhase::Reopening);
    editState().playhead = 3;
    EXPECT_THAT(ticked(), IsRect(client()));
    EXPECT_EQ(editState().playhead, 3);
}

// The video's first picture is there before the place is known.
TEST_F(WindowTickTest, AVideoThatGoesOnSomewhereIsFirstSeenThere) {
    openHost().storedPlayhead = [] {
        return std::optional(4.0);
    };
    beginOpening();
    ASSERT_TRUE(engine().fire(METADATA_EVENT));
    engine().offer(S_OK, 0);
    ASSERT_TRUE(waitFor([] { return playback()->enginePresented(); }));
    takeNotices();
    ASSERT_TRUE(playback()->isSeeking());
    tick();
    EXPECT_FALSE(IsWindowVisible(ui().video));
    engine().offer(S_OK, 40'000'000);
    ASSERT_TRUE(waitFor([] { return !playback()->isSeeking(); }));
    tick();
    EXPECT_TRUE(IsWindowVisible(ui().video));
}

// The bar

TEST_F(WindowTickTest, TheBarIsDrawnAnewWhenPlayingStartsAndStops) {
    openWithoutPicture();
    tick();
    const auto asksToPaintBar = [&] {
        ValidateRect(ui().transport, nullptr);
        tick();
        return GetUpdateRect(ui().transport, nullptr, FALSE) != FALSE;
    };
    EXPECT_FALSE(asksToPaintBar());
    playback()->pause();
    EXPECT_TRUE(asksToPaintBar());
    EXPECT_FALSE(asksToPaintBar());
    playback()->play();
    EXPECT_TRUE(asksToPaintBar());
    send(0x8001, 4); // the device is lost: whether it will play can change at any time
    ASSERT_EQ(openState().phase, OpenPhase::Reopening);
    EXPECT_TRUE(asksToPaintBar());
}

TEST_F(WindowTickTest, OnlyInFullscreenTheBarGoesByItself) {
    startEdit(10);
    refreshUi();
    ASSERT_TRUE(IsWindowVisible(ui().transport));
    POINT cursor = {};
    GetCursorPos(&cursor);
    const auto waitedLong = [&] {
        ui().transportHiding = {{cursor.x, cursor.y}, GetTickCount64() - 60'000};
        tick();
    };
    waitedLong();
    EXPECT_TRUE(IsWindowVisible(ui().transport));
    toggleFullscreen();
    waitedLong();
    EXPECT_FALSE(IsWindowVisible(ui().transport));
    refreshUi(); // an edit by key doesn't bring it back
    EXPECT_FALSE(IsWindowVisible(ui().transport));
    toggleFullscreen();
    EXPECT_TRUE(IsWindowVisible(ui().transport));
}

// A window that begins at another scale

class DpiOfNewWindows {
private:
    static UINT WINAPI another(HWND) { return 144; }
    const ReplacedImport<decltype(&GetDpiForWindow)> replaced_{__imp_GetDpiForWindow, another};
};

class WindowAtAnotherScale : public DpiOfNewWindows, public WindowTest {};

TEST_F(WindowAtAnotherScale, HasItFromTheStart) {
    EXPECT_EQ(ui().dpi, 144);
    RECT transport = {};
    GetWindowRect(ui().transport, &transport);
    EXPECT_EQ(transport.bottom - transport.top, 93);
}

} // namespace
} // namespace velkantrix
