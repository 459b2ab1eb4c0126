#include "app/rename_field.h"

#include <commctrl.h>

#include <algorithm>
#include <array>
#include <utility>

#include "app/command_table.h"
#include "app/fonts.h"
#include "app/palette.h"
#include "app/timeline_layout.h"
#include "app/ui_state.h"
#include "edit/rename.h"
#include "platform/gdi.h"

namespace velkantrix {
namespace {

constexpr BYTE OPACITY = 222;
constexpr int SIDE_MARGIN = 4; // 96-dpi units
constexpr int AROUND_TEXT = 2; // 96-dpi units above and below a line of text

PixelRect labelOf(std::int32_t clip) {
    RECT client = {};
    GetClientRect(ui().window, &client);
    const PixelRect track = timelineRect({client.right, client.bottom}, ui().dpi, ui().fullscreen);
    return labelRect(clipRect(track, clip), ui().dpi);
}

int lineHeight() {
    const ScreenDc screen;
    if (!screen.get()) return 0;
    const Selected selected(screen.get(), font(Font::Text));
    TEXTMETRICW metrics = {};
    return GetTextMetricsW(screen.get(), &metrics) ? static_cast<int>(metrics.tmHeight) : 0;
}

// One line high, in the middle of the label's height.
PixelRect fieldRect(const PixelRect& label) {
    const int room = label.bottom - label.top;
    const int height = std::clamp(lineHeight() + 2 * S(AROUND_TEXT), 1, room);
    const int top = label.top + (room - height) / 2;
    return {label.left, top, label.right, top + height};
}

bool nameKey(WPARAM key) {
    switch (key) {
    case VK_RETURN:
        renameKey(RenameKey::Enter);
        return true;
    case VK_ESCAPE:
        renameKey(RenameKey::Escape);
        return true;
    case VK_TAB:
        renameKey(GetKeyState(VK_SHIFT) < 0 ? RenameKey::ShiftTab : RenameKey::Tab);
        return true;
    default:
        return false;
    }
}

// The keys that end it destroy the field: it isn't touched any more after them.
LRESULT CALLBACK fieldProcedure(HWND field, UINT message, WPARAM wide, LPARAM lng, UINT_PTR,
                                DWORD_PTR) {
    switch (message) {
    case WM_GETDLGCODE:
        return DLGC_WANTALLKEYS;
    case WM_KEYDOWN:
        if (nameKey(wide)) return 0;
        break;
    case WM_CHAR:
        if (wide == VK_RETURN || wide == VK_ESCAPE || wide == VK_TAB) return 0;
        break;
    case WM_NCDESTROY:
        RemoveWindowSubclass(field, fieldProcedure, 0);
        break;
    default:
        break;
    }
    return DefSubclassProc(field, message, wide, lng);
}

} // namespace

bool labelHasRoom(std::int32_t clip) {
    return !labelOf(clip).empty();
}

bool openRenameField(std::int32_t clip, const std::wstring& text) {
    const PixelRect label = labelOf(clip);
    if (label.empty()) return false;
    const PixelRect place = fieldRect(label);
    const HWND field = CreateWindowExW(
        WS_EX_LAYERED, L"EDIT", text.c_str(), WS_CHILD | WS_CLIPSIBLINGS | ES_AUTOHSCROLL,
        place.left, place.top, place.right - place.left, place.bottom - place.top, ui().window,
        reinterpret_cast<HMENU>(static_cast<INT_PTR>(COMMAND_RENAME_FIELD)),
        GetModuleHandleW(nullptr), nullptr);
    if (!field) return false;
    ui().renameField = field;
    SetLayeredWindowAttributes(field, 0, OPACITY, LWA_ALPHA);
    SetWindowSubclass(field, fieldProcedure, 0, 0);
    SendMessageW(field, WM_SETFONT, reinterpret_cast<WPARAM>(font(Font::Text)), FALSE);
    SendMessageW(field, EM_SETMARGINS, EC_LEFTMARGIN | EC_RIGHTMARGIN,
                 MAKELPARAM(S(SIDE_MARGIN), S(SIDE_MARGIN)));
    SendMessageW(field, EM_SETLIMITTEXT, RENAME_FIELD_LIMIT, 0);
    SetWindowPos(field, HWND_TOP, 0, 0, 0, 0, SWP_NOMOVE | SWP_NOSIZE | SWP_SHOWWINDOW);
    SetFocus(field);
    SendMessageW(field, EM_SETSEL, 0, -1);
    return true;
}

std::wstring readRenameField() {
    if (!ui().renameField) return {};
    std::array<wchar_t, RENAME_READ_LIMIT + 1> text{};
    const int length = GetWindowTextW(ui().renameField, text.data(), static_cast<int>(text.size()));
    return {text.data(), static_cast<std::size_t>(std::max(length, 0))};
}

void destroyRenameField() {
    const HWND field = std::exchange(ui().renameField, nullptr);
    if (!field) return;
    // Who took the focus away keeps it.
    if (GetFocus() == field) SetFocus(ui().window);
    DestroyWindow(field);
}

HBRUSH renameFieldBrush(HDC dc) {
    static const UniqueBrush brush(CreateSolidBrush(FIELD));
    SetTextColor(dc, PRIMARY_TEXT);
    SetBkColor(dc, FIELD);
    return brush.get();
}

} // namespace velkantrix
