// The program's window as a whole, and what becomes of keys before it gets them.
#include "app/layout.h"
#include "app/message_loop.h"
#include "app/placing.h"
#include "app/window_tick.h"
#include "export/export_job.h"
#include "playback/notices.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class WindowEnvironment : public testing::Environment {
public:
    void SetUp() override {
        SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
        registerWindowClasses(GetModuleHandleW(nullptr));
    }
};
const auto* const environment = testing::AddGlobalTestEnvironment(new WindowEnvironment);

TEST_F(WindowTest, IsMadeHiddenWithItsChildren) {
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_EQ(ui().window, window);
    EXPECT_EQ(GetParent(ui().video), window);
    EXPECT_EQ(GetDlgCtrlID(ui().video), 121);
    EXPECT_EQ(GetParent(ui().transport), window);
}

TEST_F(WindowTest, CannotBeMadeSmallerThanItsControls) {
    MINMAXINFO info = {};
    SendMessageW(window, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&info));
    EXPECT_EQ(info.ptMinTrackSize.x, 820);
    EXPECT_EQ(info.ptMinTrackSize.y, 640);
    changeDpi(144, {30, 40, 1330, 1010});
    SendMessageW(window, WM_GETMINMAXINFO, 0, reinterpret_cast<LPARAM>(&info));
    EXPECT_EQ(info.ptMinTrackSize.x, 1230);
    EXPECT_EQ(info.ptMinTrackSize.y, 960);
}

TEST_F(WindowTest, TheSessionMayEndUnlessSomethingWouldBeLost) {
    EXPECT_TRUE(SendMessageW(window, WM_QUERYENDSESSION, 0, 0));
    makeUnsavedEdit();
    EXPECT_FALSE(SendMessageW(window, WM_QUERYENDSESSION, 0, 0));
    SendMessageW(window, WM_ENDSESSION, FALSE, 0);
    editState().edited = false; // exported
    EXPECT_TRUE(SendMessageW(window, WM_QUERYENDSESSION, 0, 0));
    editState().exportBusy = true;
    EXPECT_FALSE(SendMessageW(window, WM_QUERYENDSESSION, 0, 0));
    SendMessageW(window, WM_ENDSESSION, FALSE, 0);
}

TEST_F(WindowTest, ALostCaptureEndsADragOrAScrub) {
    startEdit(10);
    timelineMouse().drag = CutDrag{.cut = 0};
    send(WM_CAPTURECHANGED);
    EXPECT_FALSE(timelineMouse().drag);
    timelineMouse().scrub = Scrub{};
    send(WM_CAPTURECHANGED);
    EXPECT_FALSE(timelineMouse().scrub);
    EXPECT_EQ(editState().statusText, L"Ready");
}

TEST_F(WindowTest, AMouseThatLeavesIsOverNoClip) {
    timelineMouse().hoverX = 40;
    timelineMouse().hoverClip = 0;
    send(WM_MOUSELEAVE);
    EXPECT_FALSE(timelineMouse().hoverX);
    EXPECT_EQ(timelineMouse().hoverClip, -1);
}

class WindowPlacingTest : public WindowTest {
protected:
    WindowPlacingTest() {
        startEdit(10);
        ui().transportHiding.lastCursor = {-5, -5};
    }

    [[nodiscard]] MONITORINFO monitor() const {
        MONITORINFO info = {};
        info.cbSize = sizeof info;
        EXPECT_TRUE(GetMonitorInfoW(MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST), &info));
        return info;
    }

    void moveTo(int x, int y, int width, int height) const {
        SetWindowPos(window, nullptr, x, y, width, height, SWP_NOZORDER | SWP_NOACTIVATE);
        expectWindowAt({x, y, x + width, y + height});
    }

    void expectSizedAroundMiddle(VideoSize video, int width, int height) const {
        moveTo(100, 100, 1000, 800);
        openState().videoSize = video;
        sizeWindowToVideo();
        const RECT around = {600 - width / 2, 500 - height / 2, 600 - width / 2 + width,
                             500 - height / 2 + height};
        const RECT work = monitor().rcWork;
        ASSERT_TRUE(around.left >= work.left && around.top >= work.top &&
                    around.right <= work.right && around.bottom <= work.bottom);
        expectWindowAt(around);
    }

    // A window may be larger than the screen.
    static LRESULT CALLBACK anySize(HWND target, UINT message, WPARAM wide, LPARAM lng, UINT_PTR,
                                    DWORD_PTR) {
        if (message == WM_NCDESTROY) RemoveWindowSubclass(target, anySize, 0);
        const LRESULT result = DefSubclassProc(target, message, wide, lng);
        if (message == WM_GETMINMAXINFO)
            reinterpret_cast<MINMAXINFO*>(lng)->ptMaxTrackSize = {10000, 10000};
        return result;
    }
};

TEST_F(WindowPlacingTest, AnotherScaleMovesTheWindowWhereTheSystemSays) {
    const RECT suggested = {30, 40, 1330, 1010};
    changeDpi(144, suggested);
    EXPECT_EQ(ui().dpi, 144);
    expectWindowAt(suggested);
}

TEST_F(WindowPlacingTest, AnotherScaleInFullscreenKeepsCoveringTheMonitor) {
    toggleFullscreen();
    ASSERT_TRUE(ui().fullscreen);
    expectWindowAt(monitor().rcMonitor);
    SetWindowPos(window, nullptr, 0, 0, 640, 480, SWP_NOZORDER | SWP_NOACTIVATE);
    changeDpi(144, {30, 40, 1330, 1010});
    EXPECT_EQ(ui().dpi, 144);
    expectWindowAt(monitor().rcMonitor);
}

TEST_F(WindowPlacingTest, AnotherScaleInFullscreenIsTheWindowsWhenItComesBack) {
    SetWindowSubclass(window, anySize, 0, 0);
    ASSERT_EQ(ui().dpi, 96);
    moveTo(100, 100, 1000, 700);
    toggleFullscreen();
    changeDpi(192, {0, 0, 2000, 1400});
    toggleFullscreen();
    const RECT after = place();
    EXPECT_EQ(after.right - after.left, 2000);
    EXPECT_EQ(after.bottom - after.top, 1400);
}

TEST_F(WindowPlacingTest, InFullscreenTheTransportBarWaitsForTheMouseFromTheStart) {
    POINT cursor = {};
    ASSERT_TRUE(GetCursorPos(&cursor));
    const std::uint64_t before = GetTickCount64();
    toggleFullscreen();
    const std::uint64_t after = GetTickCount64();
    EXPECT_EQ(ui().transportHiding.lastCursor, (ScreenPoint{cursor.x, cursor.y}));
    EXPECT_GE(ui().transportHiding.movedAt, before);
    EXPECT_LE(ui().transportHiding.movedAt, after);
}

TEST_F(WindowPlacingTest, TheWindowIsSizedToTheVideoAroundItsMiddle) {
    RECT frame = {};
    ASSERT_TRUE(AdjustWindowRectExForDpi(&frame, WS_OVERLAPPEDWINDOW, TRUE, WS_EX_ACCEPTFILES,
                                         static_cast<UINT>(ui().dpi)));
    const int width = 2 * 24 + frame.right - frame.left;
    const int height = 246 + frame.bottom - frame.top;
    expectSizedAroundMiddle({800, 450}, 800 + width, 450 + height);
    // No smaller than it may be.
    expectSizedAroundMiddle({320, 180}, 820, 640);
    expectSizedAroundMiddle({900, 100}, 900 + width, 640);
    expectSizedAroundMiddle({100, 450}, 820, 450 + height);
}

class WindowClosingTest : public WindowTest {
protected:
    static constexpr const wchar_t* EXPORT_RUNS =
        L"An export is still running.\n\nCancel the export and close Velkantrix?";
    static constexpr const wchar_t* UNSAVED =
        L"Your edits haven't been exported.\n\nClose without exporting?";

    void endExport(bool success) const { send(WM_EXPORT_FINISHED, success ? 1 : 0); }

    // Behind the question about the export, which is then answered with Yes.
    BoxAnswers::Answer exportEndsAndThen(bool success, WORD aboutEdits) {
        return [this, success, aboutEdits](const std::wstring& text) -> WORD {
            if (text == UNSAVED) return aboutEdits;
            if (text != EXPORT_RUNS) return IDOK;
            PostMessageW(window, WM_EXPORT_FINISHED, success ? 1 : 0, 0);
            return IDYES;
        };
    }
};

TEST_F(WindowClosingTest, ClosingBehindABoxDoesNothing) {
    EnableWindow(window, FALSE);
    SendMessageW(window, WM_CLOSE, 0, 0);
    ASSERT_TRUE(IsWindow(window));
    EnableWindow(window, TRUE);
    SendMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_FALSE(IsWindow(window));
}

TEST_F(WindowClosingTest, UnsavedEditsAreAskedAbout) {
    makeUnsavedEdit();
    WORD answer = IDNO;
    BoxAnswers boxes([&](const std::wstring&) { return answer; });
    send(WM_CLOSE);
    EXPECT_THAT(boxes.texts, ElementsAre(UNSAVED));
    ASSERT_TRUE(IsWindow(window));
    answer = IDYES;
    send(WM_CLOSE);
    EXPECT_THAT(boxes.texts, ElementsAre(UNSAVED, UNSAVED));
    EXPECT_FALSE(IsWindow(window));
}

TEST_F(WindowClosingTest, TheExportGoesOnWhenItIsNotToBeCancelled) {
    editState().exportBusy = true;
    BoxAnswers boxes([](const std::wstring&) { return IDNO; });
    send(WM_CLOSE);
    EXPECT_THAT(boxes.texts, ElementsAre(EXPORT_RUNS));
    EXPECT_FALSE(exportJob().exportCancel);
    EXPECT_FALSE(exportJob().closeAsked);
    endExport(true);
    EXPECT_TRUE(IsWindow(window));
}

TEST_F(WindowClosingTest, TheWindowClosesWhenTheCancelledExportHasEndedWithoutAskingAgain) {
    makeUnsavedEdit();
    editState().exportBusy = true;
    BoxAnswers boxes([](const std::wstring&) { return IDYES; });
    send(WM_CLOSE);
    EXPECT_TRUE(exportJob().exportCancel);
    EXPECT_EQ(editState().statusText, L"Cancelling…");
    send(WM_CLOSE);
    ASSERT_TRUE(IsWindow(window));
    endExport(false);
    EXPECT_THAT(boxes.texts, ElementsAre(EXPORT_RUNS));
    EXPECT_FALSE(IsWindow(window));
}

TEST_F(WindowClosingTest, AnExportThatSucceedsBehindTheQuestionLeavesNothingToAsk) {
    makeUnsavedEdit();
    editState().exportBusy = true;
    BoxAnswers boxes(exportEndsAndThen(true, IDNO));
    send(WM_CLOSE);
    EXPECT_THAT(boxes.texts, ElementsAre(EXPORT_RUNS));
    EXPECT_FALSE(IsWindow(window));
}

TEST_F(WindowClosingTest, AnExportThatFailsBehindTheQuestionLeavesTheEditsToAskAbout) {
    makeUnsavedEdit();
    editState().exportBusy = true;
    {
        const Lock held(exportJob().exportErrorLock);
        exportJob().exportError = L"the disk is full";
    }
    BoxAnswers boxes(exportEndsAndThen(false, IDNO));
    send(WM_CLOSE);
    EXPECT_THAT(boxes.texts,
                ElementsAre(EXPORT_RUNS, testing::HasSubstr(L"the disk is full"), UNSAVED));
    EXPECT_TRUE(IsWindow(window));
    EXPECT_FALSE(exportJob().closeAsked);
}

class WindowTimerTest : public WindowTest {
protected:
    WindowTimerTest() { EXPECT_TRUE(stopTick()); }

    // Whether it ran.
    [[nodiscard]] bool stopTick() const { return KillTimer(window, 200) != FALSE; }

    // Whether the message comes, within a time that is long enough anywhere.
    [[nodiscard]] bool comes(UINT message, WPARAM wide) const {
        const std::uint64_t end = GetTickCount64() + 30'000;
        MSG next = {};
        while (GetTickCount64() < end) {
            while (PeekMessageW(&next, window, message, message, PM_REMOVE))
                if (next.wParam == wide) return true;
            MsgWaitForMultipleObjects(0, nullptr, FALSE, 50, QS_ALLINPUT);
        }
        return false;
    }

    void deviceIsBack() const {
        openState().phase = OpenPhase::Reopening;
        openHost().engineVideoSize = [] {
            return VideoSize{800, 450};
        };
        send(WM_PLAYBACK_NOTIFY, PLAYBACK_READY);
        EXPECT_EQ(openState().phase, OpenPhase::None);
    }
};

TEST_F(WindowTimerTest, TheJobsTimerIsTheWindowsTick) {
    jobHost().setTimer(100);
    EXPECT_TRUE(comes(WM_TIMER, 200));
    EXPECT_TRUE(stopTick());
}

TEST_F(WindowTimerTest, AVideoThatIsOpenAgainTicksQuicklyButNotDuringAJob) {
    startEdit(10);
    editState().exportBusy = true;
    deviceIsBack();
    EXPECT_FALSE(stopTick());
    editState().exportBusy = false;
    deviceIsBack();
    EXPECT_TRUE(stopTick());
}

// The window with a field for names, and notes instead of commands.
class KeyTest : public WindowTest {
protected:
    KeyTest() {
        startEdit(20);
        editState().clips = {{.start = 0, .end = 10}, {.start = 10, .end = 20}};
        SetWindowSubclass(window, noteCommands, 0, reinterpret_cast<DWORD_PTR>(&commands));
        ui().renameField = CreateWindowExW(0, L"EDIT", L"ab", WS_CHILD, 0, 0, 80, 20, window,
                                           reinterpret_cast<HMENU>(INT_PTR{COMMAND_RENAME_FIELD}),
                                           GetModuleHandleW(nullptr), nullptr);
    }
    ~KeyTest() override { DestroyAcceleratorTable(accelerators); }

    static LRESULT CALLBACK noteCommands(HWND target, UINT message, WPARAM wide, LPARAM lng,
                                         UINT_PTR, DWORD_PTR notes) {
        if (message == WM_NCDESTROY) RemoveWindowSubclass(target, noteCommands, 0);
        if (message != WM_COMMAND) return DefSubclassProc(target, message, wide, lng);
        // What the field itself tells comes with its handle.
        if (lng == 0) reinterpret_cast<std::vector<int>*>(notes)->push_back(LOWORD(wide));
        return 0;
    }

    // The key to whatever has the focus, through the loop, and what becomes of it.
    void press(UINT key) {
        const UINT scan = MapVirtualKeyW(key, MAPVK_VK_TO_VSC);
        MSG message = {.hwnd = GetFocus(),
                       .message = WM_KEYDOWN,
                       .wParam = key,
                       .lParam = static_cast<LPARAM>(1 | scan << 16)};
        handleMessage(window, accelerators, message);
        while (PeekMessageW(&message, nullptr, WM_KEYFIRST, WM_KEYLAST, PM_REMOVE))
            handleMessage(window, accelerators, message);
    }

    [[nodiscard]] std::wstring typed() const {
        std::wstring text(64, L'\0');
        text.resize(static_cast<std::size_t>(
            GetWindowTextW(ui().renameField, text.data(), static_cast<int>(text.size()))));
        return text;
    }

    const HACCEL accelerators = createAccelerators();
    std::vector<int> commands;
};

TEST_F(KeyTest, InTheFieldOfANameKeysAreTyped) {
    SetFocus(ui().renameField);
    ASSERT_EQ(GetFocus(), ui().renameField);
    press('S');
    EXPECT_EQ(typed(), L"sab");
    press(VK_DELETE);
    EXPECT_EQ(typed(), L"sb");
    press(VK_SPACE);
    EXPECT_EQ(typed(), L"s b");
    EXPECT_EQ(commands, std::vector<int>());
}

TEST_F(KeyTest, ElsewhereKeysAreCommands) {
    SetFocus(window);
    ASSERT_EQ(GetFocus(), window);
    for (const UINT key : {static_cast<UINT>('S'), UINT{VK_DELETE}, UINT{VK_SPACE}}) press(key);
    EXPECT_EQ(commands, (std::vector<int>{103, 104, 102}));
    EXPECT_EQ(typed(), L"ab");
}

// The system brings the menus up to date before it makes a command of a key.
TEST_F(KeyTest, WhatTheMenuGreysNoKeyDoes) {
    SetFocus(window);
    emptyEdit();
    for (const UINT key : {static_cast<UINT>('S'), UINT{VK_DELETE}, UINT{VK_SPACE}}) press(key);
    EXPECT_EQ(commands, std::vector<int>{102});
    startEdit(20);
    press('S');
    press(VK_DELETE); // there is only one clip
    EXPECT_EQ(commands, (std::vector<int>{102, 103}));
}

// What is no command may be a dialog's key, as in any window with controls.
TEST_F(KeyTest, EnterIsTheDialogsWhereNoNameIsTyped) {
    SetFocus(window);
    ASSERT_EQ(GetFocus(), window);
    press(VK_RETURN);
    EXPECT_EQ(commands, std::vector<int>{1});
    SetFocus(ui().renameField);
    press(VK_RETURN);
    EXPECT_EQ(commands, std::vector<int>{1});
}

// Another child's focus is no field's.
TEST_F(KeyTest, WithoutAFieldKeysAreCommandsWhereverTheFocusIs) {
    SetFocus(ui().renameField);
    ui().renameField = nullptr;
    press('S');
    EXPECT_EQ(commands, std::vector<int>{103});
}

} // namespace
} // namespace velkantrix
