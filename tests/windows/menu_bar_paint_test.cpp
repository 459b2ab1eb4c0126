// What is drawn of the menu bar, read back: into a bitmap of the test's own, and on a window.
#include "app/menu_bar_paint.h"

#include <algorithm>
#include <cstddef>
#include <vector>

#include <gtest/gtest.h>

#include "app/fonts.h"
#include "app/ui_state.h"
#include "platform/gdi.h"

namespace velkantrix {
namespace {

constexpr COLORREF UNTOUCHED = RGB(1, 200, 3);
constexpr COLORREF DARK = RGB(21, 20, 15);

// The system's records, which it sends pointers to.
static_assert(sizeof(MenuBarDrawing) == 24);
static_assert(offsetof(MenuBarDrawing, dc) == 8);
static_assert(offsetof(MenuBarDrawing, flags) == 16);
static_assert(offsetof(MenuBarItemDrawing, bar) == 64);
static_assert(offsetof(MenuBarItemDrawing, position) == 88);

// Of all states that an item may have at once.
TEST(MenuBarItemLook, FollowsTheState) {
    for (UINT state = 0; state < 1u << 10; ++state) {
        const bool hot = (state & ODS_HOTLIGHT) || (state & ODS_SELECTED);
        const bool off = (state & ODS_DISABLED) || (state & ODS_GRAYED);
        const MenuBarItemLook look = menuBarItemLook(state);
        EXPECT_EQ(look.background, hot ? RGB(48, 40, 32) : RGB(21, 20, 15)) << state;
        EXPECT_EQ(look.text, off                      ? RGB(110, 105, 96)
                             : (state & ODS_INACTIVE) ? RGB(154, 148, 138)
                                                      : RGB(237, 235, 226))
            << state;
        // In the middle of one line; 0x100000 hides the underline, where the system hides it.
        EXPECT_EQ(look.format, (state & ODS_NOACCEL) ? 0x100025u : 0x25u) << state;
    }
}

class MenuBarPaintTest : public testing::Test {
protected:
    MenuBarPaintTest() {
        const ScreenDc screen;
        dc.reset(CreateCompatibleDC(screen.get()));
        bitmap.reset(CreateCompatibleBitmap(screen.get(), WIDTH, HEIGHT));
        SelectObject(dc.get(), bitmap.get());
        menu = CreateMenu();
        AppendMenuW(menu, MF_STRING, 1, L"first");
        AppendMenuW(menu, MF_STRING, 2, L"&HIHI");
        clear();
    }
    ~MenuBarPaintTest() override {
        DestroyMenu(menu);
        dc.reset();
        deleteFonts();
    }
    MenuBarPaintTest(const MenuBarPaintTest&) = delete;
    MenuBarPaintTest& operator=(const MenuBarPaintTest&) = delete;

    void clear() const {
        const RECT all = {0, 0, WIDTH, HEIGHT};
        SetDCBrushColor(dc.get(), UNTOUCHED);
        FillRect(dc.get(), &all, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
    }

    void drawItem(UINT state, int position = 1) const {
        clear();
        MenuBarItemDrawing drawing;
        drawing.item.itemState = state;
        drawing.item.rcItem = ITEM;
        drawing.bar = {menu, dc.get(), 0};
        drawing.position = position;
        drawMenuBarItem(drawing);
    }

    [[nodiscard]] COLORREF at(int x, int y) const { return GetPixel(dc.get(), x, y); }

    // The bounds of what has that colour.
    [[nodiscard]] RECT boundsOf(COLORREF colour) const {
        RECT bounds = {WIDTH, HEIGHT, 0, 0};
        for (int y = 0; y < HEIGHT; ++y) {
            for (int x = 0; x < WIDTH; ++x) {
                if (at(x, y) != colour) continue;
                bounds.left = std::min<LONG>(bounds.left, x);
                bounds.top = std::min<LONG>(bounds.top, y);
                bounds.right = std::max<LONG>(bounds.right, x + 1);
                bounds.bottom = std::max<LONG>(bounds.bottom, y + 1);
            }
        }
        return bounds;
    }

    // Text is drawn with soft edges: its colour is the one furthest from the background.
    [[nodiscard]] COLORREF brightest() const {
        COLORREF found = 0;
        for (int y = ITEM.top; y < ITEM.bottom; ++y)
            for (int x = ITEM.left; x < ITEM.right; ++x)
                if (GetGValue(at(x, y)) > GetGValue(found)) found = at(x, y);
        return found;
    }

    static constexpr int WIDTH = 200;
    static constexpr int HEIGHT = 60;
    static constexpr RECT ITEM = {20, 10, 180, 40};
    UniqueBitmap bitmap;
    UniqueMemoryDc dc;
    HMENU menu = nullptr;
};

TEST_F(MenuBarPaintTest, AnItemIsFilledWithItsBackground) {
    struct Row {
        UINT state;
        COLORREF background;
    };
    for (const Row& row :
         {Row{0, DARK}, Row{ODS_INACTIVE, DARK}, Row{ODS_HOTLIGHT, RGB(48, 40, 32)},
          Row{ODS_SELECTED, RGB(48, 40, 32)}, Row{ODS_SELECTED | ODS_INACTIVE, RGB(48, 40, 32)},
          Row{ODS_GRAYED, DARK}, Row{ODS_NOACCEL, DARK}}) {
        drawItem(row.state);
        EXPECT_EQ(at(20, 10), row.background) << row.state;
        EXPECT_EQ(at(179, 39), row.background) << row.state;
        EXPECT_EQ(at(19, 25), UNTOUCHED);
        EXPECT_EQ(at(180, 25), UNTOUCHED);
        EXPECT_EQ(at(100, 9), UNTOUCHED);
        EXPECT_EQ(at(100, 40), UNTOUCHED);
    }
}

TEST_F(MenuBarPaintTest, TheTextTellsWhetherTheItemAndTheWindowAreActive) {
    struct Row {
        UINT state;
        COLORREF colour;
    };
    for (const Row& row : {Row{0, RGB(237, 235, 226)}, Row{ODS_HOTLIGHT, RGB(237, 235, 226)},
                           Row{ODS_INACTIVE, RGB(154, 148, 138)},
                           Row{ODS_GRAYED, RGB(110, 105, 96)}, Row{ODS_DISABLED, RGB(110, 105, 96)},
                           Row{ODS_DISABLED | ODS_INACTIVE, RGB(110, 105, 96)}}) {
        drawItem(row.state);
        EXPECT_EQ(brightest(), row.colour) << row.state;
    }
}

TEST_F(MenuBarPaintTest, TheTextIsInTheMiddle) {
    drawItem(ODS_NOACCEL);
    const RECT text = boundsOf(RGB(237, 235, 226));
    ASSERT_LT(text.left, text.right);
    EXPECT_NEAR((text.left + text.right) / 2.0, (ITEM.left + ITEM.right) / 2.0, 3);
    EXPECT_NEAR((text.top + text.bottom) / 2.0, (ITEM.top + ITEM.bottom) / 2.0, 4);
}

class MenuBarFontTest : public MenuBarPaintTest {
protected:
    MenuBarFontTest() = default;
    ~MenuBarFontTest() override { ui().dpi = USER_DEFAULT_SCREEN_DPI; }
    MenuBarFontTest(const MenuBarFontTest&) = delete;
    MenuBarFontTest& operator=(const MenuBarFontTest&) = delete;

    [[nodiscard]] std::vector<COLORREF> pixels() const {
        std::vector<COLORREF> colours;
        for (int y = 0; y < HEIGHT; ++y)
            for (int x = 0; x < WIDTH; ++x) colours.push_back(at(x, y));
        return colours;
    }

    // What the item's text looks like in that font.
    [[nodiscard]] std::vector<COLORREF> inFont(Font which) const {
        clear();
        RECT rect = ITEM;
        SetDCBrushColor(dc.get(), DARK);
        FillRect(dc.get(), &rect, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
        const Selected selected(dc.get(), font(which));
        SetBkMode(dc.get(), TRANSPARENT);
        SetTextColor(dc.get(), RGB(237, 235, 226));
        DrawTextW(dc.get(), L"&HIHI", -1, &rect, DT_CENTER | DT_VCENTER | DT_SINGLELINE);
        return pixels();
    }
};

TEST_F(MenuBarFontTest, TheTextIsInTheFontOfTheWindowsTextsAtAnyScale) {
    std::vector<std::vector<COLORREF>> drawn;
    for (const int dpi : {96, 144}) {
        ui().dpi = dpi;
        deleteFonts();
        drawItem(0);
        drawn.push_back(pixels());
        EXPECT_TRUE(drawn.back() == inFont(Font::Text)) << dpi;
        EXPECT_FALSE(drawn.back() == inFont(Font::Heading)) << dpi;
    }
    EXPECT_FALSE(drawn[0] == drawn[1]);
}

TEST_F(MenuBarPaintTest, EachItemHasItsOwnText) {
    drawItem(0, 1);
    const RECT second = boundsOf(RGB(237, 235, 226));
    drawItem(0, 0);
    const RECT first = boundsOf(RGB(237, 235, 226));
    EXPECT_FALSE(EqualRect(&first, &second));
}

TEST_F(MenuBarPaintTest, TheDcIsLeftAsItWas) {
    SetTextColor(dc.get(), RGB(9, 8, 7));
    SetBkMode(dc.get(), OPAQUE);
    const HGDIOBJ before = GetCurrentObject(dc.get(), OBJ_FONT);
    drawItem(0);
    EXPECT_EQ(GetTextColor(dc.get()), RGB(9, 8, 7));
    EXPECT_EQ(GetBkMode(dc.get()), OPAQUE);
    EXPECT_EQ(GetCurrentObject(dc.get(), OBJ_FONT), before);
}

class MenuBarWindowTest : public MenuBarPaintTest {
protected:
    MenuBarWindowTest() {
        // The edge is a frame that any system draws itself.
        window = CreateWindowExW(WS_EX_NOACTIVATE | WS_EX_CLIENTEDGE, L"STATIC", L"", WS_POPUP, 0,
                                 0, WIDTH, HEIGHT + 100, nullptr, nullptr,
                                 GetModuleHandleW(nullptr), nullptr);
        SetMenu(window, menu);
    }
    ~MenuBarWindowTest() override {
        SetMenu(window, nullptr); // the menu is destroyed with the rest
        DestroyWindow(window);
    }
    MenuBarWindowTest(const MenuBarWindowTest&) = delete;
    MenuBarWindowTest& operator=(const MenuBarWindowTest&) = delete;

    HWND window = nullptr;
};

TEST_F(MenuBarWindowTest, TheWholeBarIsFilledInTheWindowsCoordinates) {
    SetWindowPos(window, nullptr, 40, 50, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    MENUBARINFO bar = {};
    bar.cbSize = sizeof bar;
    ASSERT_TRUE(GetMenuBarInfo(window, OBJID_MENU, 0, &bar));
    RECT expected = bar.rcBar;
    OffsetRect(&expected, -40, -50);
    ASSERT_LT(expected.bottom, HEIGHT);
    drawMenuBar(window, {menu, dc.get(), 0});
    const RECT filled = boundsOf(DARK);
    EXPECT_EQ(filled.left, expected.left);
    EXPECT_EQ(filled.top, expected.top);
    EXPECT_EQ(filled.right, expected.right);
    EXPECT_EQ(filled.bottom, expected.bottom);
    EXPECT_EQ(at(expected.left, expected.top), DARK);
}

// Read back from the window itself, so it has to be on the screen for a moment.
class MenuBarLineTest : public MenuBarWindowTest {
protected:
    MenuBarLineTest() = default;
    ~MenuBarLineTest() override { ReleaseDC(window, own); }
    MenuBarLineTest(const MenuBarLineTest&) = delete;
    MenuBarLineTest& operator=(const MenuBarLineTest&) = delete;

    // Everything of the window becomes UNTOUCHED, then the line is drawn.
    void draw() {
        ShowWindow(window, SW_SHOWNOACTIVATE);
        RECT frame = {};
        GetWindowRect(window, &frame);
        GetClientRect(window, &client);
        MapWindowPoints(window, nullptr, reinterpret_cast<POINT*>(&client), 2);
        OffsetRect(&client, -frame.left, -frame.top);
        own = GetWindowDC(window);
        const RECT all = {0, 0, WIDTH, HEIGHT + 100};
        SetDCBrushColor(own, UNTOUCHED);
        FillRect(own, &all, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
        drawLineUnderMenuBar(window);
    }

    [[nodiscard]] COLORREF onWindow(LONG x, LONG y) const { return GetPixel(own, x, y); }

    RECT client = {};
    HDC own = nullptr;
};

TEST_F(MenuBarLineTest, IsBetweenTheBarAndTheClientArea) {
    draw();
    ASSERT_GT(client.top, 10);
    for (const LONG x : {client.left, (client.left + client.right) / 2, client.right - 1}) {
        EXPECT_EQ(onWindow(x, client.top - 2), UNTOUCHED) << x;
        EXPECT_EQ(onWindow(x, client.top - 1), DARK) << x;
        EXPECT_EQ(onWindow(x, client.top), UNTOUCHED) << x;
    }
    EXPECT_EQ(onWindow(client.left - 1, client.top - 1), UNTOUCHED);
    EXPECT_EQ(onWindow(client.right, client.top - 1), UNTOUCHED);
}

TEST_F(MenuBarLineTest, IsNotThereWithoutABar) {
    SetMenu(window, nullptr);
    draw();
    ASSERT_GT(client.top, 0);
    for (LONG y = 0; y <= client.top; ++y) EXPECT_EQ(onWindow(WIDTH / 2, y), UNTOUCHED) << y;
}

} // namespace
} // namespace velkantrix
