// What the main window makes of its menus' messages, and of those that its bar sends to be drawn.
#include "app/menu_bar_paint.h"
#include "platform/gdi.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

constexpr COLORREF UNTOUCHED = RGB(1, 200, 3);
constexpr COLORREF DARK = RGB(21, 20, 15);

class WindowMenusTest : public WindowTest {
protected:
    WindowMenusTest()
        : file(GetSubMenu(GetMenu(window), 0)),
          recent(GetSubMenu(file, 1)),
          settings(GetSubMenu(file, 4)) {
        openHost().showWarning = [this](const std::wstring& text) {
            warnings.push_back(text);
        };
    }

    void open(HMENU menu, bool isWindowMenu = false) const {
        send(WM_INITMENUPOPUP, reinterpret_cast<WPARAM>(menu), MAKELPARAM(0, isWindowMenu));
    }

    static std::wstring textOf(HMENU menu, UINT item, UINT by = MF_BYCOMMAND) {
        wchar_t text[256] = {};
        GetMenuStringW(menu, item, text, 256, by);
        return text;
    }

    static bool isEnabled(HMENU menu, UINT id) {
        return (GetMenuState(menu, id, MF_BYCOMMAND) & (MF_GRAYED | MF_DISABLED)) == 0;
    }

    static bool isChecked(HMENU menu, UINT id) {
        return (GetMenuState(menu, id, MF_BYCOMMAND) & MF_CHECKED) != 0;
    }

    static void opened(const std::wstring& path) {
        openState().path = path;
        openHost().addRecent();
    }

    void expectNoRecents() const {
        open(file);
        EXPECT_EQ(GetMenuItemCount(recent), 1);
        EXPECT_EQ(textOf(recent, 0, MF_BYPOSITION), L"(no recent videos)");
    }

    const HMENU file;
    const HMENU recent;
    const HMENU settings;
    std::vector<std::wstring> warnings;
};

TEST_F(WindowMenusTest, TheExportSettingsAreTheJobs) {
    exportJob().exportLayout = 1;
    exportJob().exportQuality = 3;
    open(settings);
    for (const UINT id : {300u, 301u, 310u, 311u, 312u, 313u, 314u})
        EXPECT_EQ(isChecked(settings, id), id == 301 || id == 313) << id;
}

TEST_F(WindowMenusTest, TheLastExportCanBeShownOnceThereIsOne) {
    open(file);
    EXPECT_FALSE(isEnabled(file, 120));
    exportJob().lastExportPath = L"C:\\videos\\holiday-cut.mp4";
    open(file);
    EXPECT_TRUE(isEnabled(file, 120));
}

// The window's own menu comes with the same message.
TEST_F(WindowMenusTest, TheWindowsOwnMenuIsTheSystems) {
    exportJob().lastExportPath = L"C:\\videos\\holiday-cut.mp4";
    open(file, true);
    EXPECT_FALSE(isEnabled(file, 120));
}

TEST_F(WindowMenusTest, ARunningJobIsCancelledWhereItWasStarted) {
    startEdit(10);
    editState().exportBusy = true;
    open(file);
    EXPECT_EQ(textOf(file, 105), L"Cancel &export\tCtrl+Shift+S");
    EXPECT_TRUE(isEnabled(file, 105));
    editState().exportBusy = false;
    open(file);
    EXPECT_EQ(textOf(file, 105), L"Export &As…\tCtrl+Shift+S");
}

TEST_F(WindowMenusTest, ARecentVideoThatIsGoneLeavesTheMenu) {
    const std::wstring path = L"C:\\videos\\holiday.mp4";
    std::vector<std::wstring> asked;
    openHost().isFile = [&](const std::wstring& looked) {
        asked.push_back(looked);
        return false;
    };
    opened(path);
    open(file);
    EXPECT_EQ(textOf(recent, 400), L"&1   " + path);
    command(400);
    EXPECT_THAT(asked, ElementsAre(path));
    EXPECT_THAT(warnings, ElementsAre(path + L"\n\nThis file no longer exists."));
    EXPECT_THAT(ui().recentFiles, IsEmpty());
    expectNoRecents();
}

TEST_F(WindowMenusTest, TheClearedListIsEmptyWhenItOpensNext) {
    opened(L"C:\\videos\\first.mp4");
    opened(L"C:\\videos\\second.mp4");
    open(file);
    EXPECT_EQ(textOf(recent, 400), L"&1   C:\\videos\\second.mp4");
    EXPECT_EQ(textOf(recent, 401), L"&2   C:\\videos\\first.mp4");
    command(419);
    expectNoRecents();
}

TEST_F(WindowMenusTest, AVideoIsTheSameInAnotherSpelling) {
    opened(L"C:\\Été.mp4");
    opened(L"C:\\Ete.mp4");
    opened(L"c:\\été.mp4");
    EXPECT_THAT(ui().recentFiles, ElementsAre(L"c:\\été.mp4", L"C:\\Ete.mp4"));
    openHost().removeRecent(L"C:\\ÉTÉ.MP4");
    EXPECT_THAT(ui().recentFiles, ElementsAre(L"C:\\Ete.mp4"));
}

// A clip's own menu. While it opens the selection goes to the first clip, as by playing, and then
// the keys are pressed.
class WindowClipMenuTest : public WindowTest {
protected:
    WindowClipMenuTest() {
        startEdit(20);
        editState().clips = {{.start = 0, .end = 10}, {.start = 10, .end = 20}};
        editState().selectedClip = 1;
        SetWindowSubclass(window, pressKeys, 0, reinterpret_cast<DWORD_PTR>(&keys));
    }

    static LRESULT CALLBACK pressKeys(HWND target, UINT message, WPARAM wide, LPARAM lng, UINT_PTR,
                                      DWORD_PTR keys) {
        if (message == WM_NCDESTROY) RemoveWindowSubclass(target, pressKeys, 0);
        if (message == WM_INITMENUPOPUP) {
            editState().selectedClip = 0;
            for (const WPARAM key : *reinterpret_cast<std::vector<WPARAM>*>(keys))
                PostMessageW(target, WM_KEYDOWN, key, 1);
        }
        return DefSubclassProc(target, message, wide, lng);
    }

    void chooseItem(std::size_t number) {
        keys.assign(number, VK_DOWN);
        keys.push_back(VK_RETURN);
        send(WM_CONTEXTMENU, reinterpret_cast<WPARAM>(window), MAKELPARAM(-1, -1));
    }

    const ParkedCursor cursor;
    std::vector<WPARAM> keys;
};

TEST_F(WindowClipMenuTest, AFadeIsTheClickedClips) {
    chooseItem(4);
    EXPECT_EQ(editState().clips[0].fadeIn, 0);
    EXPECT_EQ(editState().clips[1].fadeIn, 1);
    EXPECT_EQ(editState().selectedClip, 1);
}

TEST_F(WindowClipMenuTest, AFadeOutIsTheClickedClips) {
    chooseItem(5);
    EXPECT_EQ(editState().clips[0].fadeOut, 0);
    EXPECT_EQ(editState().clips[1].fadeOut, 1);
}

TEST_F(WindowClipMenuTest, TheLastStepIsUndoneAndDoneAgain) {
    chooseItem(5);
    const ClipList faded = editState().clips;
    chooseItem(8);
    EXPECT_EQ(editState().clips[1].fadeOut, 0);
    editState().selectedClip = 1;
    chooseItem(9);
    EXPECT_EQ(editState().clips, faded);
}

TEST_F(WindowClipMenuTest, TheRemovedClipIsTheClickedOne) {
    chooseItem(7);
    EXPECT_EQ(editState().clips, (ClipList{{.start = 0, .end = 10}}));
}

TEST_F(WindowClipMenuTest, WithoutAChoiceTheSelectionStaysWhereItWent) {
    keys = {VK_DOWN, VK_ESCAPE};
    send(WM_CONTEXTMENU, reinterpret_cast<WPARAM>(window), MAKELPARAM(-1, -1));
    EXPECT_EQ(editState().selectedClip, 0);
}

class WindowMenuBarTest : public WindowTest {
protected:
    WindowMenuBarTest() {
        const ScreenDc screen;
        dc.reset(CreateCompatibleDC(screen.get()));
        bitmap.reset(CreateCompatibleBitmap(screen.get(), WIDTH, HEIGHT));
        SelectObject(dc.get(), bitmap.get());
        paintOver(dc.get(), {0, 0, WIDTH, HEIGHT});
    }
    // Before the bitmap, which it holds.
    ~WindowMenuBarTest() override { dc.reset(); }
    WindowMenuBarTest(const WindowMenuBarTest&) = delete;
    WindowMenuBarTest& operator=(const WindowMenuBarTest&) = delete;

    static void paintOver(HDC target, const RECT& rect) {
        SetDCBrushColor(target, UNTOUCHED);
        FillRect(target, &rect, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
    }

    // The line of pixels over the client area, in the window's own coordinates.
    [[nodiscard]] RECT lineUnderBar() const {
        const RECT frame = place();
        RECT line = {};
        GetClientRect(window, &line);
        MapWindowPoints(window, nullptr, reinterpret_cast<POINT*>(&line), 2);
        OffsetRect(&line, -frame.left, -frame.top);
        line.bottom = line.top;
        --line.top;
        return line;
    }

    // Of the line's middle.
    [[nodiscard]] COLORREF lineColour() const {
        const RECT line = lineUnderBar();
        const HDC own = GetWindowDC(window);
        const COLORREF colour = GetPixel(own, (line.left + line.right) / 2, line.top);
        ReleaseDC(window, own);
        return colour;
    }

    void spoilLine() const {
        const HDC own = GetWindowDC(window);
        paintOver(own, lineUnderBar());
        ReleaseDC(window, own);
        ASSERT_EQ(lineColour(), UNTOUCHED);
    }

    static constexpr int WIDTH = 400;
    static constexpr int HEIGHT = 100;
    UniqueBitmap bitmap;
    UniqueMemoryDc dc;
};

TEST_F(WindowMenuBarTest, TheBarsBackgroundIsTheWindows) {
    MENUBARINFO bar = {};
    bar.cbSize = sizeof bar;
    ASSERT_TRUE(GetMenuBarInfo(window, OBJID_MENU, 0, &bar));
    const RECT frame = place();
    const int x = bar.rcBar.left - frame.left;
    const int y = bar.rcBar.top - frame.top;
    ASSERT_LT(y, HEIGHT);
    const MenuBarDrawing drawing{GetMenu(window), dc.get(), 0};
    EXPECT_EQ(send(0x0091, 0, reinterpret_cast<LPARAM>(&drawing)), TRUE);
    EXPECT_EQ(GetPixel(dc.get(), x, y), DARK);
}

TEST_F(WindowMenuBarTest, AnItemsBackgroundIsTheWindows) {
    MenuBarItemDrawing drawing;
    drawing.item.itemState = ODS_HOTLIGHT;
    drawing.item.rcItem = {20, 10, 120, 40};
    drawing.bar = {GetMenu(window), dc.get(), 0};
    drawing.position = 1;
    EXPECT_EQ(send(0x0092, 0, reinterpret_cast<LPARAM>(&drawing)), TRUE);
    EXPECT_EQ(GetPixel(dc.get(), 20, 10), RGB(48, 40, 32));
    EXPECT_EQ(GetPixel(dc.get(), 119, 39), RGB(48, 40, 32));
    EXPECT_EQ(GetPixel(dc.get(), 120, 40), UNTOUCHED);
}

TEST_F(WindowMenuBarTest, DrawingNothingIsNoHarm) {
    EXPECT_EQ(send(0x0091), TRUE);
    EXPECT_EQ(send(0x0092), TRUE);
    EXPECT_TRUE(IsWindow(window));
}

// The system's own frame has a light line there.
TEST_F(WindowMenuBarTest, TheLineUnderTheBarIsDrawnWithTheFrame) {
    ShowWindow(window, SW_SHOWNOACTIVATE);
    ASSERT_GT(lineUnderBar().top, 0);
    for (const WPARAM active : {WPARAM{TRUE}, WPARAM{FALSE}}) {
        spoilLine();
        EXPECT_EQ(send(WM_NCACTIVATE, active), TRUE);
        EXPECT_EQ(lineColour(), DARK) << active;
    }
    spoilLine();
    send(WM_NCPAINT, 1); // all of the frame
    EXPECT_EQ(lineColour(), DARK);
}

} // namespace
} // namespace velkantrix
