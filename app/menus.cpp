#include "app/menus.h"

#include <shlwapi.h>

#include <algorithm>
#include <array>
#include <utility>

#include "app/menu_rules.h"
#include "app/recent_files.h"
#include "app/ui_state.h"
#include "base/unique_handle.h"
#include "edit/edit_state.h"

namespace velkantrix {
namespace {

// With the menus that hang under it. One that is set for a window goes with the window.
struct MenuTraits {
    using Value = HMENU;
    static Value none() { return nullptr; }
    static void close(HMENU menu) { DestroyMenu(menu); }
};
using UniqueMenu = UniqueHandle<MenuTraits>;

// The popups belong to the bar; here they are only recognised.
struct MadeMenus {
    std::array<HMENU, MENU_COUNT> popups{};
    std::vector<std::wstring> recents; // the paths behind the recent menu's items
};

MadeMenus& made() {
    static MadeMenus menus;
    return menus;
}

UINT stateBits(const MenuItem& item) {
    return (item.enabled ? MFS_ENABLED : MFS_GRAYED) | (item.checked ? MFS_CHECKED : MFS_UNCHECKED);
}

// What changes of an item: its text, and whether it is enabled and checked.
MENUITEMINFOW changingInfo(const MenuItem& item) {
    MENUITEMINFOW info = {};
    info.cbSize = sizeof info;
    info.fMask = MIIM_STRING | MIIM_STATE;
    info.fState = stateBits(item);
    info.dwTypeData = const_cast<wchar_t*>(item.text.c_str()); // only read
    return info;
}

void markRadios(HMENU menu, const std::vector<MenuItem>& items) {
    const auto isOutside = [](const MenuItem& item) {
        return !item.radio;
    };
    for (auto item = items.begin(); item != items.end(); ++item) {
        if (!item->radio || !item->checked) continue;
        const auto before = std::find_if(std::reverse_iterator(item), items.rend(), isOutside);
        const auto behind = std::find_if(item, items.end(), isOutside);
        const auto position = [&](auto place) {
            return static_cast<UINT>(place - items.begin());
        };
        CheckMenuRadioItem(menu, position(before.base()), position(behind) - 1, position(item),
                           MF_BYPOSITION);
    }
}

void fill(HMENU menu, const std::vector<MenuItem>& items);

UniqueMenu makePopup(Menu which) {
    if (which == Menu::None) return {};
    UniqueMenu popup(CreatePopupMenu());
    made().popups[static_cast<std::size_t>(which)] = popup.get();
    fill(popup.get(), menuItems(which, {}));
    return popup;
}

void append(HMENU menu, const MenuItem& item) {
    MENUITEMINFOW info = changingInfo(item);
    info.fMask |= MIIM_FTYPE | MIIM_ID;
    info.wID = item.id;
    if (item.separator) {
        info.fMask = MIIM_FTYPE;
        info.fType = MFT_SEPARATOR;
    }
    UniqueMenu popup = makePopup(item.submenu);
    if (popup) {
        info.fMask |= MIIM_SUBMENU;
        info.hSubMenu = popup.get();
    }
    if (InsertMenuItemW(menu, static_cast<UINT>(GetMenuItemCount(menu)), TRUE, &info))
        static_cast<void>(popup.release()); // it goes with `menu` now
}

void fill(HMENU menu, const std::vector<MenuItem>& items) {
    for (const MenuItem& item : items) append(menu, item);
    markRadios(menu, items);
}

void update(HMENU menu, const std::vector<MenuItem>& items) {
    for (std::size_t i = 0; i < items.size(); ++i) {
        if (items[i].separator) continue;
        const MENUITEMINFOW info = changingInfo(items[i]);
        SetMenuItemInfoW(menu, static_cast<UINT>(i), TRUE, &info);
    }
    markRadios(menu, items);
}

// PathCompactPathExW takes paths of less than MAX_PATH characters. Of a longer one's folders it
// would show the beginning alone, and of its name no more than fits.
std::wstring withinMaxPath(const std::wstring& path) {
    constexpr std::size_t FOLDERS = 64;
    constexpr std::size_t NAME = 192;
    static_assert(RECENT_TEXT_LIMIT < FOLDERS && FOLDERS + NAME < MAX_PATH);
    if (path.size() < MAX_PATH) return path;
    const std::size_t separator = path.find_last_of(L'\\');
    if (separator == std::wstring::npos) return path.substr(0, NAME);
    return path.substr(0, std::min(FOLDERS, separator)) + path.substr(separator, NAME);
}

std::wstring shortened(const std::wstring& path) {
    // The system shortens what just fits, too.
    if (path.size() <= RECENT_TEXT_LIMIT) return path;
    std::array<wchar_t, RECENT_TEXT_LIMIT + 1> text{};
    const auto room = static_cast<UINT>(text.size());
    if (!PathCompactPathExW(text.data(), withinMaxPath(path).c_str(), room, 0))
        return path.substr(0, RECENT_TEXT_LIMIT);
    return text.data();
}

MenuState stateNow(const MenuExtras& extras) {
    MenuState state = menuState(editState());
    state.fullscreen = ui().fullscreen;
    state.muted = ui().volume.muted;
    state.canShowLastExport = !extras.lastExportPath.empty();
    state.exposure = extras.exposure;
    state.exportLayout = extras.exportLayout;
    state.exportQuality = extras.exportQuality;
    return state;
}

void rebuildRecents(const std::vector<std::wstring>& paths) {
    MadeMenus& menus = made();
    menus.recents.assign(paths.begin(), paths.begin() + static_cast<std::ptrdiff_t>(std::min(
                                                            paths.size(), MAX_RECENT_FILES)));
    MenuState state;
    for (const std::wstring& path : menus.recents) state.recents.push_back(shortened(path));
    const HMENU popup = menus.popups[static_cast<std::size_t>(Menu::Recent)];
    for (int count = GetMenuItemCount(popup); count > 0; --count)
        DeleteMenu(popup, 0, MF_BYPOSITION);
    fill(popup, menuItems(Menu::Recent, state));
}

} // namespace

HMENU buildMenuBar() {
    made() = {};
    UniqueMenu bar(CreateMenu());
    fill(bar.get(), menuBar());
    return bar.release();
}

void updatePopup(HMENU popup, const MenuExtras& extras) {
    const auto& popups = made().popups;
    const auto found = std::ranges::find(popups, popup);
    if (!popup || found == popups.end()) return;
    const auto which = static_cast<Menu>(found - popups.begin());
    if (which == Menu::Recent) return; // made anew with the File menu
    update(popup, menuItems(which, stateNow(extras)));
    if (which == Menu::File) rebuildRecents(extras.recents);
}

std::optional<std::wstring> recentPathOfMenu(std::size_t k) {
    const std::vector<std::wstring>& recents = made().recents;
    if (k >= recents.size()) return std::nullopt;
    return recents[k];
}

std::uint16_t showClipMenu(HWND owner, POINT screen, std::int32_t clip, double time) {
    const EditState& edit = editState();
    if (!isClip(edit.clips, clip)) return 0;
    const UniqueMenu menu(CreatePopupMenu());
    fill(menu.get(), clipMenu(menuState(edit), edit.clips[static_cast<std::size_t>(clip)], time));
    return static_cast<std::uint16_t>(TrackPopupMenu(menu.get(), TPM_RETURNCMD | TPM_RIGHTBUTTON,
                                                     screen.x, screen.y, 0, owner, nullptr));
}

} // namespace velkantrix
