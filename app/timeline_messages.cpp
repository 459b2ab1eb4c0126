#include "app/timeline_messages.h"

#include <windowsx.h>

#include <optional>

#include "app/clip_menu.h"
#include "app/commands.h"
#include "app/menu_bar_paint.h"
#include "app/menus.h"
#include "app/rename_field.h"
#include "app/timeline_layout.h"
#include "app/timeline_mouse.h"
#include "app/ui_state.h"
#include "edit/edit_state.h"
#include "edit/rename.h"

namespace velkantrix {
namespace {

TimelinePlace timelinePlace() {
    RECT client = {};
    GetClientRect(ui().window, &client);
    return {timelineRect({client.right, client.bottom}, ui().dpi, ui().fullscreen), ui().dpi};
}

void onMouse(UINT message, LPARAM position) {
    const int x = GET_X_LPARAM(position);
    const int y = GET_Y_LPARAM(position);
    if (message == WM_LBUTTONDOWN) timelinePressed(timelinePlace(), x, y);
    if (message == WM_MOUSEMOVE) timelineMoved(timelinePlace(), x, y);
    if (message == WM_LBUTTONUP) timelineReleased(timelinePlace(), x);
}

// Whether the cursor has been set.
bool onSetCursor(HWND over, WORD place) {
    if (over != ui().window || place != HTCLIENT || !editState().videoLoaded || ui().fullscreen)
        return false;
    POINT cursor = {};
    if (!GetCursorPos(&cursor) || !ScreenToClient(ui().window, &cursor)) return false;
    if (!showsSizingCursor(timelinePlace(), cursor.x, cursor.y)) return false;
    SetCursor(LoadCursorW(nullptr, IDC_SIZEWE));
    return true;
}

// Whether there was a menu to open.
bool onContextMenu(LPARAM position) {
    commitRename(true);
    POINT at = {GET_X_LPARAM(position), GET_Y_LPARAM(position)};
    std::optional<ClipMenuTarget> target;
    if (at.x == -1 && at.y == -1) {
        target = clipMenuByKey(timelinePlace());
        if (target) at = {target->at.x, target->at.y};
    } else {
        ScreenToClient(ui().window, &at);
        target = clipMenuAtPoint(timelinePlace(), at.x, at.y);
    }
    if (!target) return false;
    editState().selectedClip = target->clip;
    refreshUi();
    ClientToScreen(ui().window, &at);
    const std::uint16_t choice = showClipMenu(ui().window, at, target->clip, target->time);
    if (choice != 0 && !runClipMenuChoice(choice, *target)) runCommand(choice, 0);
    return true;
}

// The bar is drawn dark by the program, as far as the system lets it.
LRESULT onFrame(HWND window, UINT message, WPARAM wide, LPARAM lng) {
    const LRESULT result = DefWindowProcW(window, message, wide, lng);
    drawLineUnderMenuBar(window);
    return result;
}

LRESULT onMouseMessage(HWND window, UINT message, WPARAM wide, LPARAM lng) {
    switch (message) {
    case WM_MOUSEMOVE:
    case WM_LBUTTONDOWN:
    case WM_LBUTTONUP:
        onMouse(message, lng);
        return 0;
    case WM_CAPTURECHANGED:
        timelineCaptureLost();
        return 0;
    case WM_MOUSELEAVE:
        timelineLeft();
        return 0;
    case WM_SETCURSOR:
        if (onSetCursor(reinterpret_cast<HWND>(wide), LOWORD(lng))) return TRUE;
        return DefWindowProcW(window, message, wide, lng);
    case WM_CTLCOLOREDIT:
        return reinterpret_cast<LRESULT>(renameFieldBrush(reinterpret_cast<HDC>(wide)));
    default:
        return DefWindowProcW(window, message, wide, lng);
    }
}

} // namespace

LRESULT onTimelineMessage(HWND window, UINT message, WPARAM wide, LPARAM lng) {
    switch (message) {
    case WM_CONTEXTMENU:
        if (onContextMenu(lng)) return 0;
        return DefWindowProcW(window, message, wide, lng);
    case WM_INITMENUPOPUP:
        if (HIWORD(lng) == 0) updatePopup(reinterpret_cast<HMENU>(wide), menuExtras());
        return 0;
    case MENU_BAR_DRAW:
        if (lng) drawMenuBar(window, *reinterpret_cast<const MenuBarDrawing*>(lng));
        return TRUE;
    case MENU_BAR_DRAW_ITEM:
        if (lng) drawMenuBarItem(*reinterpret_cast<const MenuBarItemDrawing*>(lng));
        return TRUE;
    case WM_NCPAINT:
    case WM_NCACTIVATE:
        return onFrame(window, message, wide, lng);
    default:
        return onMouseMessage(window, message, wide, lng);
    }
}

} // namespace velkantrix
