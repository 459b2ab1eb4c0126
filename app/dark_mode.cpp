#include "app/dark_mode.h"

#include <dwmapi.h>

#include "app/palette.h"
#include "platform/hresult.h"
#include "platform/library.h"

namespace velkantrix {
namespace {

// Exported without names.
constexpr WORD SET_PREFERRED_APP_MODE = 135;
constexpr WORD FLUSH_MENU_THEMES = 136;
constexpr int ALWAYS_DARK = 2;

// The numbers, as not all headers have the names.
constexpr DWORD IMMERSIVE_DARK_MODE = 20;
constexpr DWORD CAPTION_COLOUR = 35;
constexpr DWORD TEXT_COLOUR = 36;

void setAttribute(HWND window, DWORD attribute, DWORD value) {
    ignoreResult(DwmSetWindowAttribute(window, attribute, &value, sizeof value),
                 "older systems don't know it");
}

} // namespace

void darkenMenus() {
    const HMODULE library = loadSystemLibrary(L"uxtheme.dll");
    if (const auto setMode =
            findFunction<int WINAPI(int)>(library, MAKEINTRESOURCEA(SET_PREFERRED_APP_MODE)))
        setMode(ALWAYS_DARK);
    if (const auto flush =
            findFunction<void WINAPI()>(library, MAKEINTRESOURCEA(FLUSH_MENU_THEMES)))
        flush();
}

void darkenTitleBar(HWND window) {
    setAttribute(window, IMMERSIVE_DARK_MODE, TRUE);
    setAttribute(window, CAPTION_COLOUR, TITLE_BAR);
    setAttribute(window, TEXT_COLOUR, TITLE_TEXT);
}

} // namespace velkantrix
