#include "app/menu_bar_paint.h"

#include <array>

#include "app/fonts.h"
#include "app/palette.h"
#include "platform/gdi.h"

namespace velkantrix {
namespace {

constexpr int TEXT_ROOM = 64; // characters of an item of the bar

// With the frame, as far as it may be drawn on.
class WindowDc {
public:
    explicit WindowDc(HWND window) : window_(window), dc_(GetWindowDC(window)) {}
    ~WindowDc() {
        if (dc_) ReleaseDC(window_, dc_);
    }
    WindowDc(const WindowDc&) = delete;
    WindowDc& operator=(const WindowDc&) = delete;
    [[nodiscard]] HDC get() const { return dc_; }

private:
    HWND window_;
    HDC dc_;
};

// Whoever handed the dc over gets it back as it was.
class SavedDc {
public:
    explicit SavedDc(HDC dc) : dc_(dc), saved_(SaveDC(dc)) {}
    ~SavedDc() { RestoreDC(dc_, saved_); }
    SavedDc(const SavedDc&) = delete;
    SavedDc& operator=(const SavedDc&) = delete;

private:
    HDC dc_;
    int saved_;
};

void fill(HDC dc, const RECT& rect, COLORREF colour) {
    const SavedDc saved(dc);
    SetDCBrushColor(dc, colour);
    FillRect(dc, &rect, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
}

// From the screen's coordinates to those of a window's own dc.
RECT fromScreen(HWND window, RECT rect) {
    RECT frame = {};
    GetWindowRect(window, &frame);
    OffsetRect(&rect, -frame.left, -frame.top);
    return rect;
}

COLORREF textColour(UINT state) {
    if ((state & (ODS_DISABLED | ODS_GRAYED)) != 0) return MENU_DISABLED_TEXT;
    return (state & ODS_INACTIVE) != 0 ? MENU_INACTIVE_TEXT : MENU_TEXT;
}

} // namespace

MenuBarItemLook menuBarItemLook(UINT state) {
    const bool isHot = (state & (ODS_HOTLIGHT | ODS_SELECTED)) != 0;
    // Until a key asks for them, the system hides the lines under letters.
    const UINT hiding = (state & ODS_NOACCEL) != 0 ? DT_HIDEPREFIX : 0;
    return {.background = isHot ? MENU_HOT_ITEM : MENU_BAR,
            .text = textColour(state),
            .format = DT_CENTER | DT_VCENTER | DT_SINGLELINE | hiding};
}

void drawMenuBar(HWND window, const MenuBarDrawing& drawing) {
    MENUBARINFO bar = {};
    bar.cbSize = sizeof bar;
    if (GetMenuBarInfo(window, OBJID_MENU, 0, &bar))
        fill(drawing.dc, fromScreen(window, bar.rcBar), MENU_BAR);
}

void drawMenuBarItem(const MenuBarItemDrawing& drawing) {
    std::array<wchar_t, TEXT_ROOM> text{};
    MENUITEMINFOW info = {};
    info.cbSize = sizeof info;
    info.fMask = MIIM_STRING;
    info.dwTypeData = text.data();
    info.cch = TEXT_ROOM;
    GetMenuItemInfoW(drawing.bar.menu, static_cast<UINT>(drawing.position), TRUE, &info);

    const HDC dc = drawing.bar.dc;
    const MenuBarItemLook look = menuBarItemLook(drawing.item.itemState);
    RECT rect = drawing.item.rcItem;
    fill(dc, rect, look.background);
    const SavedDc saved(dc);
    SelectObject(dc, font(Font::Text));
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, look.text);
    DrawTextW(dc, text.data(), -1, &rect, look.format);
}

void drawLineUnderMenuBar(HWND window) {
    if (!GetMenu(window)) return;
    RECT line = {};
    GetClientRect(window, &line);
    MapWindowPoints(window, nullptr, reinterpret_cast<POINT*>(&line), 2);
    line = fromScreen(window, line);
    line.bottom = line.top;
    --line.top;
    const WindowDc dc(window);
    if (dc.get()) fill(dc.get(), line, MENU_BAR);
}

} // namespace velkantrix
