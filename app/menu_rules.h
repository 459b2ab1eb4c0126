// menu_rules.h: what the menus say and offer: the state goes in, lists of items come out. app/menus
// makes real menus of them. Free of any thread: these only calculate.
//
// A greyed item also suppresses its accelerator: what is greyed here can't be done by key either.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "edit/edit_state.h"

namespace velkantrix {

enum class Menu { None, File, Edit, View, Help, Recent, ExportSettings };
inline constexpr std::size_t MENU_COUNT = 7;

// The numbers that the clip menu alone gives. They are never sent as commands: whoever shows the
// menu acts on the clip and the time that were clicked. What else it gives is a command.
enum ClipMenuId : std::uint16_t {
    CLIP_SPLIT = 140,
    CLIP_TRIM_START = 141,
    CLIP_TRIM_END = 142,
    CLIP_FADE_IN = 149,
    CLIP_FADE_OUT = 150,
};

inline constexpr std::size_t RECENT_TEXT_LIMIT = 56; // characters of a path that are shown

// All that menus depend on, gathered anew for each that opens.
struct MenuState {
    bool videoLoaded = false;
    bool exportBusy = false;
    bool fullscreen = false;
    bool muted = false;
    std::size_t clipCount = 0;
    std::optional<Segment> selectedClip;
    std::optional<std::wstring> undoLabel; // of the newest step, if there is one
    std::optional<std::wstring> redoLabel;
    bool canShowLastExport = false; // the last job left something to show
    double exposure = 0;            // -1 to 1
    std::int32_t exportLayout = 0;
    std::int32_t exportQuality = 0;
    std::vector<std::wstring> recents; // paths, newest first: shortened, each "&" still single
};

// The part of it that the edit knows.
MenuState menuState(const EditState& edit);

struct MenuItem {
    std::wstring text; // "&" before the letter that picks the item, its keys after a tab
    std::uint16_t id = 0;
    bool enabled = true;
    bool checked = false;
    bool radio = false; // the radio items side by side are one group, and one of it is checked
    bool separator = false;
    Menu submenu = Menu::None;

    bool operator==(const MenuItem&) const = default;
};

// The menus of the bar, which are always enabled.
std::vector<MenuItem> menuBar();

std::vector<MenuItem> menuItems(Menu which, const MenuState& state);

// The menu of a clip of the timeline that was clicked at `time`, in seconds of the source. It is
// for a window with a video and without a job, and trims and renames whatever the state says of
// these.
std::vector<MenuItem> clipMenu(const MenuState& state, const Segment& clip, double time);

} // namespace velkantrix
