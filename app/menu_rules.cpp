#include "app/menu_rules.h"

#include <algorithm>
#include <utility>

#include "app/command_table.h"
#include "app/recent_files.h"
#include "base/exposure.h"
#include "edit/fades.h"
#include "edit/operations.h"

namespace velkantrix {
namespace {

using Items = std::vector<MenuItem>;

const MenuItem SEPARATOR{.separator = true};

MenuItem submenu(const wchar_t* text, Menu which) {
    return {.text = text, .submenu = which};
}

MenuItem item(std::wstring text, int id, bool enabled = true, bool checked = false) {
    return {.text = std::move(text),
            .id = static_cast<std::uint16_t>(id),
            .enabled = enabled,
            .checked = checked};
}

// "&Undo split\tCtrl+Z"; without a step "&Undo\tCtrl+Z", greyed.
MenuItem stepItem(const wchar_t* command, const std::optional<std::wstring>& label,
                  const wchar_t* keys, int id, const MenuState& state) {
    std::wstring text = command;
    if (label) text.append(L" ").append(*label);
    return item(text.append(keys), id, label && !state.exportBusy);
}

bool hasRoom(const Segment& clip, bool isOut) {
    return fadeRoom(clip, isOut) > 0;
}

Items fileMenu(const MenuState& state) {
    const bool canSave = state.videoLoaded && !state.exportBusy;
    return {item(L"&Open video…\tCtrl+O", COMMAND_OPEN),
            submenu(L"Open &recent", Menu::Recent),
            item(L"&Save (replace original)\tCtrl+S", COMMAND_SAVE, canSave),
            item(state.exportBusy ? L"Cancel &export\tCtrl+Shift+S" : L"Export &As…\tCtrl+Shift+S",
                 COMMAND_EXPORT, state.videoLoaded),
            submenu(L"Export &settings", Menu::ExportSettings),
            item(L"&Optimise for editing (rebuild index)", COMMAND_OPTIMISE, canSave),
            item(L"Show &last export in Explorer", COMMAND_SHOW_EXPORT,
                 state.canShowLastExport && !state.exportBusy),
            SEPARATOR,
            item(L"E&xit\tAlt+F4", COMMAND_EXIT)};
}

Items editMenu(const MenuState& state) {
    const bool canEdit = state.videoLoaded && !state.exportBusy;
    const Segment* const clip = state.selectedClip ? &*state.selectedClip : nullptr;
    return {stepItem(L"&Undo", state.undoLabel, L"\tCtrl+Z", COMMAND_UNDO, state),
            stepItem(L"&Redo", state.redoLabel, L"\tCtrl+Y", COMMAND_REDO, state),
            SEPARATOR,
            item(L"&Split at playhead\tS", COMMAND_SPLIT, canEdit),
            item(L"Re&move selected clip\tDel", COMMAND_REMOVE,
                 state.clipCount >= 2 && !state.exportBusy),
            item(L"Re&name clip\tF2", COMMAND_RENAME, canEdit && !state.fullscreen),
            item(L"Toggle fade &in on selected clip", COMMAND_FADE_IN,
                 canEdit && clip && hasRoom(*clip, false), clip && clip->fadeIn > 0),
            item(L"Toggle fade o&ut on selected clip", COMMAND_FADE_OUT,
                 canEdit && clip && hasRoom(*clip, true), clip && clip->fadeOut > 0)};
}

Items viewMenu(const MenuState& state) {
    return {
        item(L"&Fullscreen\tF11", COMMAND_FULLSCREEN, state.videoLoaded, state.fullscreen),
        SEPARATOR,
        item(L"&Auto-fix exposure", COMMAND_AUTO_EXPOSURE, state.videoLoaded && !state.exportBusy),
        item(L"Exposure &brighter\t]", COMMAND_BRIGHTER, state.videoLoaded),
        item(L"Exposure &darker\t[", COMMAND_DARKER, state.videoLoaded),
        item(L"&Reset exposure", COMMAND_RESET_EXPOSURE,
             state.videoLoaded && isExposed(state.exposure)),
        SEPARATOR,
        item(L"&Mute\tM", COMMAND_MUTE, true, state.muted)};
}

Items helpMenu() {
    return {item(L"&About Velkantrix", COMMAND_ABOUT)};
}

Items exportSettingsMenu(const MenuState& state) {
    const auto choice = [&](const wchar_t* text, int first, int index, int chosen) {
        MenuItem made = item(text, first + index, !state.exportBusy, index == chosen);
        made.radio = true;
        return made;
    };
    const auto layout = [&](const wchar_t* text, int index) {
        return choice(text, COMMAND_FIRST_LAYOUT, index, state.exportLayout);
    };
    const auto quality = [&](const wchar_t* text, int index) {
        return choice(text, COMMAND_FIRST_QUALITY, index, state.exportQuality);
    };
    return {layout(L"One &joined file", 0),
            layout(L"Separate &clips", 1),
            SEPARATOR,
            quality(L"&Lossless — cuts snap to keyframes", 0),
            quality(L"Source si&ze re-encode (frame-accurate)", 1),
            quality(L"1920 × 1080 re-encode", 2),
            quality(L"1280 × 720 re-encode", 3),
            quality(L"854 × 480 re-encode", 4)};
}

// A single "&" would underline the letter behind it.
std::wstring withLiteralAmpersands(const std::wstring& path) {
    std::wstring text;
    for (const wchar_t c : path) text.append(c == L'&' ? 2 : 1, c);
    return text;
}

Items recentMenu(const MenuState& state) {
    if (state.recents.empty()) return {item(L"(no recent videos)", 0, false)};
    Items items;
    const std::size_t count = std::min(state.recents.size(), MAX_RECENT_FILES);
    for (std::size_t k = 0; k < count; ++k)
        items.push_back(item(L"&" + std::to_wstring((k + 1) % 10) + L"   " +
                                 withLiteralAmpersands(state.recents[k]),
                             COMMAND_FIRST_RECENT + static_cast<int>(k)));
    items.push_back(SEPARATOR);
    items.push_back(item(L"&Clear list", COMMAND_CLEAR_RECENT));
    return items;
}

std::optional<std::wstring> newestLabel(const std::vector<HistoryEntry>& stack) {
    if (stack.empty()) return std::nullopt;
    return stack.back().label;
}

} // namespace

MenuState menuState(const EditState& edit) {
    MenuState state{.videoLoaded = edit.videoLoaded,
                    .exportBusy = edit.exportBusy,
                    .clipCount = edit.clips.size(),
                    .undoLabel = newestLabel(edit.undoStack),
                    .redoLabel = newestLabel(edit.redoStack)};
    if (isClip(edit.clips, edit.selectedClip))
        state.selectedClip = edit.clips[static_cast<std::size_t>(edit.selectedClip)];
    return state;
}

std::vector<MenuItem> menuBar() {
    return {submenu(L"&File", Menu::File), submenu(L"&Edit", Menu::Edit),
            submenu(L"&View", Menu::View), submenu(L"&Help", Menu::Help)};
}

std::vector<MenuItem> menuItems(Menu which, const MenuState& state) {
    switch (which) {
    case Menu::File:
        return fileMenu(state);
    case Menu::Edit:
        return editMenu(state);
    case Menu::View:
        return viewMenu(state);
    case Menu::Help:
        return helpMenu();
    case Menu::Recent:
        return recentMenu(state);
    case Menu::ExportSettings:
        return exportSettingsMenu(state);
    case Menu::None:
        break;
    }
    return {};
}

// The mnemonic of Redo isn't the Edit menu's, on purpose: here "R" removes the clip.
std::vector<MenuItem> clipMenu(const MenuState& state, const Segment& clip, double time) {
    return {item(L"&Split here", CLIP_SPLIT, canSplit(clip, time)),
            SEPARATOR,
            item(L"Trim clip star&t to here", CLIP_TRIM_START),
            item(L"Trim clip &end to here", CLIP_TRIM_END),
            SEPARATOR,
            item(L"Fade &in (1 s)", CLIP_FADE_IN, hasRoom(clip, false), clip.fadeIn > 0),
            item(L"Fade &out (1 s)", CLIP_FADE_OUT, hasRoom(clip, true), clip.fadeOut > 0),
            SEPARATOR,
            item(L"Re&name clip\tF2", COMMAND_RENAME),
            item(L"&Remove clip\tDel", COMMAND_REMOVE, state.clipCount >= 2),
            SEPARATOR,
            stepItem(L"&Undo", state.undoLabel, L"\tCtrl+Z", COMMAND_UNDO, state),
            stepItem(L"Re&do", state.redoLabel, L"\tCtrl+Y", COMMAND_REDO, state)};
}

} // namespace velkantrix
