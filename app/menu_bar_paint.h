// menu_bar_paint.h: draws the menu bar dark. The system draws popups dark by itself, once it is
// told to, but not the bar. UI thread.
#pragma once

#include <windows.h>

namespace velkantrix {

// What the themed menu bar sends to its window when it is to be drawn, and for each of its items.
// Neither the messages nor what their LPARAM points to is in the system's headers; a bar without a
// theme doesn't send them, and draws itself.
inline constexpr UINT MENU_BAR_DRAW = 0x0091;
inline constexpr UINT MENU_BAR_DRAW_ITEM = 0x0092;

// With MENU_BAR_DRAW, and a part of MENU_BAR_DRAW_ITEM. Both are in the window's own coordinates.
struct MenuBarDrawing {
    HMENU menu = nullptr;
    HDC dc = nullptr; // of the whole window, frame and all
    DWORD flags = 0;
};

// With MENU_BAR_DRAW_ITEM; the system's record goes on with measures.
struct MenuBarItemDrawing {
    DRAWITEMSTRUCT item = {}; // rectangle and state; its other fields aren't looked at
    MenuBarDrawing bar;
    int position = 0; // of the item in the bar
};

// How an item is drawn whose DRAWITEMSTRUCT has that state.
struct MenuBarItemLook {
    COLORREF background = 0;
    COLORREF text = 0;
    UINT format = 0; // for DrawTextW
};
MenuBarItemLook menuBarItemLook(UINT state);

// Fills the bar. Then the items come.
void drawMenuBar(HWND window, const MenuBarDrawing& drawing);

void drawMenuBarItem(const MenuBarItemDrawing& drawing);

// The line between the bar and the client area, which the system draws light with the window's
// frame: after the default handling of WM_NCPAINT and WM_NCACTIVATE. Nothing without a bar.
void drawLineUnderMenuBar(HWND window);

} // namespace velkantrix
