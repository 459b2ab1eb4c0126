// menus.h: makes real menus of what app/menu_rules says. UI thread.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

namespace velkantrix {

// What the menus depend on beside editState() and ui().
struct MenuExtras {
    std::wstring lastExportPath; // empty: there is nothing to show
    double exposure = 0;         // -1 to 1
    std::int32_t exportLayout = 0;
    std::int32_t exportQuality = 0;
    std::vector<std::wstring> recents; // whole paths, newest first
};

// The bar with all that hangs under it. It belongs to the window that it is set for; while it is
// set for none, to the caller. There is one at a time: the calls below mean the one made last.
[[nodiscard]] HMENU buildMenuBar();

// For WM_INITMENUPOPUP: brings the popup's items up to date. A menu that isn't of the bar (the
// window's own, a clip's) is left alone.
void updatePopup(HMENU popup, const MenuExtras& extras);

// The path that stands k-th in the recent menu. The list may have changed since the menu was made,
// by a video that got ready while it was open: what the user picked is what he read.
[[nodiscard]] std::optional<std::wstring> recentPathOfMenu(std::size_t k);

// Shows the menu of a clip that was clicked at `time`, in seconds of the source, and waits for the
// choice: the number of a ClipMenuId or of a command, which the caller carries out; 0 for none.
// Other messages get in meanwhile.
[[nodiscard]] std::uint16_t showClipMenu(HWND owner, POINT screen, std::int32_t clip, double time);

} // namespace velkantrix
