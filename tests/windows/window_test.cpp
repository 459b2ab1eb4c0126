// The program's window and what becomes of keys before it gets them. It stays hidden.
#include <windows.h>

#include <commctrl.h>

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "app/bindings.h"
#include "app/command_table.h"
#include "app/fonts.h"
#include "app/main_window.h"
#include "app/message_loop.h"
#include "app/placing.h"
#include "app/ui_state.h"
#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "edit/operations.h"

namespace velkantrix {
namespace {

constexpr Font ALL_FONTS[] = {Font::Heading, Font::Monospace, Font::Text, Font::Hero, Font::Icons};

class WindowEnvironment : public testing::Environment {
public:
    void SetUp() override {
        SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
        registerWindowClasses(GetModuleHandleW(nullptr));
    }
};
const auto* const environment = testing::AddGlobalTestEnvironment(new WindowEnvironment);

class WindowTest : public testing::Test {
protected:
    WindowTest() {
        ui() = {};
        editState() = {};
        openState() = {};
        bindHosts();
        window = createMainWindow(GetModuleHandleW(nullptr));
        EXPECT_TRUE(window);
    }
    ~WindowTest() override {
        EnableWindow(window, TRUE);
        DestroyWindow(window);
        MSG message;
        while (PeekMessageW(&message, nullptr, 0, 0, PM_REMOVE)) DispatchMessageW(&message);
        ui() = {};
        editState() = {};
        openState() = {};
        openHost() = {};
        editHost() = {};
    }

    void changeDpi(WORD dpi, RECT suggested) {
        SendMessageW(window, WM_DPICHANGED, MAKEWPARAM(dpi, dpi),
                     reinterpret_cast<LPARAM>(&suggested));
    }

    void expectWindowAt(const RECT& expected) {
        RECT place = {};
        GetWindowRect(window, &place);
        EXPECT_TRUE(EqualRect(&place, &expected))
            << place.left << ' ' << place.top << ' ' << place.right << ' ' << place.bottom;
    }

    static void expectFont(Font which, LONG height, LONG weight, const std::wstring& face) {
        LOGFONTW made = {};
        ASSERT_EQ(GetObjectW(font(which), sizeof made, &made), static_cast<int>(sizeof made));
        EXPECT_EQ(made.lfHeight, height) << static_cast<int>(which);
        EXPECT_EQ(made.lfWeight, weight) << static_cast<int>(which);
        EXPECT_EQ(made.lfFaceName, face) << static_cast<int>(which);
        EXPECT_EQ(made.lfQuality, CLEARTYPE_QUALITY) << static_cast<int>(which);
    }

    // Where they have the newer faces, these are others.
    static void expectFonts(LONG heading, LONG monospace, LONG text, LONG hero, LONG icons) {
        expectFont(Font::Heading, heading, 700, L"Segoe UI");
        expectFont(Font::Monospace, monospace, 400, L"Consolas");
        expectFont(Font::Text, text, 400, L"Segoe UI");
        expectFont(Font::Hero, hero, 700, L"Segoe UI");
        expectFont(Font::Icons, icons, 400, L"Segoe MDL2 Assets");
    }

    static void makeUnsavedEdit() {
        startEdit(10);
        splitClip(0, 5);
        EXPECT_TRUE(editState().edited);
    }

    HWND window = nullptr;
};

TEST_F(WindowTest, IsMadeHiddenWithItsChildren) {
    EXPECT_FALSE(IsWindowVisible(window));
    EXPECT_EQ(ui().window, window);
    EXPECT_EQ(GetParent(ui().video), window);
    EXPECT_EQ(GetDlgCtrlID(ui().video), 121);
    EXPECT_EQ(GetParent(ui().transport), window);
}

TEST_F(WindowTest, AnotherScaleMovesTheWindowWhereTheSystemSays) {
    const RECT suggested = {30, 40, 1330, 1010};
    changeDpi(144, suggested);
    EXPECT_EQ(ui().dpi, 144);
    expectWindowAt(suggested);
}

TEST_F(WindowTest, FontsAreMadeForTheScaleAndOnce) {
    expectFonts(-20, -12, -15, -37, -21);
    for (const Font which : ALL_FONTS) EXPECT_EQ(font(which), font(which));
    changeDpi(144, {30, 40, 1330, 1010});
    expectFonts(-30, -18, -22, -56, -32);
    for (const Font which : ALL_FONTS) EXPECT_EQ(font(which), font(which));
}

TEST_F(WindowTest, AnotherScaleInFullscreenKeepsCoveringTheMonitor) {
    startEdit(10);
    toggleFullscreen();
    ASSERT_TRUE(ui().fullscreen);
    MONITORINFO monitor = {};
    monitor.cbSize = sizeof monitor;
    ASSERT_TRUE(GetMonitorInfoW(MonitorFromWindow(window, MONITOR_DEFAULTTONEAREST), &monitor));
    expectWindowAt(monitor.rcMonitor);
    SetWindowPos(window, nullptr, 0, 0, 640, 480, SWP_NOZORDER | SWP_NOACTIVATE);
    changeDpi(144, {30, 40, 1330, 1010});
    EXPECT_EQ(ui().dpi, 144);
    expectWindowAt(monitor.rcMonitor);
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

TEST_F(WindowTest, ClosingBehindABoxDoesNothing) {
    EnableWindow(window, FALSE);
    SendMessageW(window, WM_CLOSE, 0, 0);
    ASSERT_TRUE(IsWindow(window));
    EnableWindow(window, TRUE);
    SendMessageW(window, WM_CLOSE, 0, 0);
    EXPECT_FALSE(IsWindow(window));
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

// Another child's focus is no field's.
TEST_F(KeyTest, WithoutAFieldKeysAreCommandsWhereverTheFocusIs) {
    SetFocus(ui().renameField);
    ui().renameField = nullptr;
    press('S');
    EXPECT_EQ(commands, std::vector<int>{103});
}

} // namespace
} // namespace velkantrix
