// The main window's menus as they open on the screen: where, and what is chosen from them by mouse
// and by keys.
#include "app/layout.h"
#include "app/timeline_layout.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

// Away from the screen's corner. A menu that waits for the user is closed, unless a test has more
// to do with it.
class WindowPopupsTest : public WindowTest {
protected:
    WindowPopupsTest() {
        startEdit(20);
        editState().clips = {{.start = 0, .end = 10}, {.start = 10, .end = 20}};
        editState().selectedClip = 1;
        SetWindowSubclass(window, watch, 0, reinterpret_cast<DWORD_PTR>(this));
        SetWindowPos(window, nullptr, 60, 40, 820, 640, SWP_NOZORDER | SWP_NOACTIVATE);
        ShowWindow(window, SW_SHOW);
        RECT client = {};
        GetClientRect(window, &client);
        track = timelineRect({client.right, client.bottom}, ui().dpi, false);
    }

    static LRESULT CALLBACK watch(HWND target, UINT message, WPARAM wide, LPARAM lng, UINT_PTR,
                                  DWORD_PTR data) {
        auto& test = *reinterpret_cast<WindowPopupsTest*>(data);
        if (message == WM_NCDESTROY) RemoveWindowSubclass(target, watch, 0);
        if (message == WM_INITMENUPOPUP && !test.opens++) {
            test.selectedAtFirst = editState().selectedClip;
            test.post(test.keysAtFirst);
        }
        if (message == WM_ENTERIDLE && wide == MSGF_MENU) {
            if (const auto act = std::exchange(test.whenItWaits, nullptr))
                act(reinterpret_cast<HWND>(lng));
            else
                test.post({VK_ESCAPE});
        }
        return DefSubclassProc(target, message, wide, lng);
    }

    void post(const std::vector<WPARAM>& keys) const {
        for (const WPARAM key : keys) PostMessageW(window, WM_KEYDOWN, key, 1);
    }

    // A point of the client area on the screen.
    [[nodiscard]] POINT onScreen(int x, int y) const {
        POINT point = {x, y};
        ClientToScreen(window, &point);
        return point;
    }

    [[nodiscard]] POINT inFirstClip() const {
        return onScreen(track.left + (track.right - track.left) / 4, track.top + 50);
    }

    void rightClick(POINT at) const {
        send(WM_CONTEXTMENU, reinterpret_cast<WPARAM>(window), MAKELPARAM(at.x, at.y));
    }
    void menuKey() const {
        send(WM_CONTEXTMENU, reinterpret_cast<WPARAM>(window), MAKELPARAM(-1, -1));
    }

    // Presses and releases a button where an item of the menu is.
    void click(HWND menuWindow, UINT item, UINT down, UINT up) const {
        const auto menu = reinterpret_cast<HMENU>(SendMessageW(menuWindow, MN_GETHMENU, 0, 0));
        RECT rect = {};
        ASSERT_TRUE(GetMenuItemRect(menuWindow, menu, item, &rect));
        const int x = (rect.left + rect.right) / 2;
        const int y = (rect.top + rect.bottom) / 2;
        SetCursorPos(x, y);
        PostMessageW(window, down, 0, MAKELPARAM(x, y)); // for a menu in the screen's coordinates
        PostMessageW(window, up, 0, MAKELPARAM(x, y));
    }

    const ParkedCursor cursor;
    std::vector<WPARAM> keysAtFirst;                  // pressed as the first menu opens
    std::function<void(HWND menuWindow)> whenItWaits; // once; afterwards it is closed
    int opens = 0;
    std::int32_t selectedAtFirst = -2;
    PixelRect track;
};

// A clip's menu

TEST_F(WindowPopupsTest, TheClickedClipIsSelectedBeforeItsMenuOpensAndStaysSo) {
    rightClick(inFirstClip());
    EXPECT_EQ(selectedAtFirst, 0);
    EXPECT_EQ(editState().selectedClip, 0);
    EXPECT_EQ(editState().clips.size(), 2u);
}

TEST_F(WindowPopupsTest, AClickLeftOfTheScreensFirstPointMeansItsClip) {
    SetWindowPos(window, nullptr, -300, 40, 820, 640, SWP_NOZORDER | SWP_NOACTIVATE);
    const POINT at = inFirstClip();
    ASSERT_LT(at.x, -1);
    rightClick(at);
    EXPECT_EQ(selectedAtFirst, 0);
}

TEST_F(WindowPopupsTest, AClipsMenuOpensWhereItWasClicked) {
    RECT rect = {};
    whenItWaits = [&](HWND menuWindow) {
        GetWindowRect(menuWindow, &rect);
        post({VK_ESCAPE});
    };
    const POINT at = inFirstClip();
    rightClick(at);
    EXPECT_EQ(rect.left, at.x);
    EXPECT_EQ(rect.top, at.y);
    EXPECT_GT(rect.bottom, rect.top + 100);
}

TEST_F(WindowPopupsTest, ByKeyAClipsMenuOpensAtItsLabel) {
    RECT rect = {};
    whenItWaits = [&](HWND menuWindow) {
        GetWindowRect(menuWindow, &rect);
        post({VK_ESCAPE});
    };
    menuKey();
    const POINT label = onScreen((track.left + track.right) / 2 + 6, track.top + 28);
    EXPECT_EQ(rect.left, label.x);
    EXPECT_EQ(rect.top, label.y);
}

TEST_F(WindowPopupsTest, AnItemIsChosenWithTheMouse) {
    whenItWaits = [this](HWND menuWindow) {
        click(menuWindow, 5, WM_LBUTTONDOWN, WM_LBUTTONUP);
    };
    rightClick(inFirstClip());
    EXPECT_EQ(editState().clips[0].fadeIn, 1);
}

TEST_F(WindowPopupsTest, AnItemIsChosenWithTheRightButtonToo) {
    whenItWaits = [this](HWND menuWindow) {
        click(menuWindow, 6, WM_RBUTTONDOWN, WM_RBUTTONUP);
    };
    rightClick(inFirstClip());
    EXPECT_EQ(editState().clips[0].fadeOut, 1);
}

// The bar's menus

class WindowBarTest : public WindowPopupsTest {
protected:
    // Opens the File menu, whose first item is then selected, and presses the keys.
    void chooseFromFile(std::vector<WPARAM> keys) {
        opens = 0;
        keysAtFirst = std::move(keys);
        send(WM_SYSCOMMAND, SC_KEYMENU, L'f');
        MSG message;
        while (PeekMessageW(&message, window, WM_COMMAND, WM_COMMAND, PM_REMOVE))
            DispatchMessageW(&message);
    }

    // The item at that place of the export's settings, separators left out.
    void chooseSetting(std::size_t place) {
        std::vector<WPARAM> keys(4, VK_DOWN);
        keys.push_back(VK_RIGHT);
        keys.insert(keys.end(), place, VK_DOWN);
        keys.push_back(VK_RETURN);
        chooseFromFile(keys);
    }
};

TEST_F(WindowBarTest, TheExportsSettingsAreChosen) {
    for (const std::int32_t layout : {1, 0}) {
        chooseSetting(static_cast<std::size_t>(layout));
        EXPECT_EQ(exportJob().exportLayout, layout);
        EXPECT_EQ(exportJob().exportQuality, 0);
    }
    for (const std::int32_t quality : {4, 3, 2, 1, 0}) {
        chooseSetting(static_cast<std::size_t>(2 + quality));
        EXPECT_EQ(exportJob().exportQuality, quality);
        EXPECT_EQ(exportJob().exportLayout, 0);
    }
}

TEST_F(WindowBarTest, TheLastExportIsShownOnceItIsComplete) {
    std::vector<std::wstring> shown;
    jobHost().showInFolder = [&](const std::wstring& path) {
        shown.push_back(path);
    };
    std::vector<WPARAM> keys(6, VK_DOWN);
    keys.push_back(VK_RETURN);
    editState().exportBusy = true;
    exportJob().lastExportPath = L"C:\\videos\\holiday-cut.mp4";
    chooseFromFile(keys); // what is greyed
    EXPECT_THAT(shown, IsEmpty());
    send(WM_APP + 2, 1);
    chooseFromFile(keys);
    EXPECT_THAT(shown, ElementsAre(L"C:\\videos\\holiday-cut.mp4"));
}

} // namespace
} // namespace velkantrix
