// All menus in all combinations of what they depend on, against one table that says in words when
// an item is enabled and when it is checked.
#include "app/menu_rules.h"

#include <algorithm>
#include <array>
#include <string>
#include <string_view>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

struct Fades {
    double fadeIn = 0;
    double fadeOut = 0;
};

// The clip that is selected, or clicked, is 8 seconds long.
constexpr double LENGTH = 8;
constexpr std::array<Fades, 7> FADES = {{{0, 0}, {1, 0}, {0, 1}, {2, 3}, {8, 0}, {0, 8}, {3, 5}}};

// What is so, as the table's words ask for it.
struct Given {
    bool loaded = false;
    bool busy = false;
    bool fullscreen = false;
    bool muted = false;
    bool lastExport = false;
    bool selected = false;
    bool undo = false;
    bool redo = false;
    std::size_t clips = 0;
    std::size_t recents = 0;
    double exposure = 0;
    Fades fades;
    int layout = 0;
    int quality = 0;
};

struct Row {
    std::wstring text;
    int id;
    const char* enabled; // words that must all hold; "never"; "" for always
    const char* checked; // likewise
};

bool holds(std::string_view word, const Given& given) {
    if (word == "never") return false;
    if (word == "video") return given.loaded;
    if (word == "nojob") return !given.busy;
    if (word == "window") return !given.fullscreen;
    if (word == "fullscreen") return given.fullscreen;
    if (word == "muted") return given.muted;
    if (word == "exported") return given.lastExport;
    if (word == "selected") return given.selected;
    if (word == "undoable") return given.undo;
    if (word == "redoable") return given.redo;
    if (word == "severalclips") return given.clips >= 2;
    if (word == "exposed") return given.exposure > 0.001 || given.exposure < -0.001;
    if (word == "fadein") return given.fades.fadeIn > 0;
    if (word == "fadeout") return given.fades.fadeOut > 0;
    if (word == "roomin") return LENGTH - given.fades.fadeOut > 0;
    if (word == "roomout") return LENGTH - given.fades.fadeIn > 0;
    if (word.starts_with("layout")) return given.layout == word.back() - '0';
    if (word.starts_with("quality")) return given.quality == word.back() - '0';
    ADD_FAILURE() << "no such word: " << word;
    return false;
}

bool allHold(std::string_view words, const Given& given) {
    while (!words.empty()) {
        const std::string_view word = words.substr(0, words.find(' '));
        if (!holds(word, given)) return false;
        words.remove_prefix(std::min(word.size() + 1, words.size()));
    }
    return true;
}

using Table = std::vector<Row>;
const Row SEPARATOR{L"", 0, nullptr, nullptr};

Table fileTable(const Given& given) {
    return {{L"&Open video…\tCtrl+O", 101, "", "never"},
            {L"Open &recent", 0, "", "never"},
            {L"&Save (replace original)\tCtrl+S", 166, "video nojob", "never"},
            {given.busy ? L"Cancel &export\tCtrl+Shift+S" : L"Export &As…\tCtrl+Shift+S", 105,
             "video", "never"},
            {L"Export &settings", 0, "", "never"},
            {L"&Optimise for editing (rebuild index)", 167, "video nojob", "never"},
            {L"Show &last export in Explorer", 120, "exported nojob", "never"},
            SEPARATOR,
            {L"E&xit\tAlt+F4", 107, "", "never"}};
}

Table editTable(const Given& given) {
    return {
        {given.undo ? L"&Undo trim\tCtrl+Z" : L"&Undo\tCtrl+Z", 106, "undoable nojob", "never"},
        {given.redo ? L"&Redo split\tCtrl+Y" : L"&Redo\tCtrl+Y", 122, "redoable nojob", "never"},
        SEPARATOR,
        {L"&Split at playhead\tS", 103, "video nojob", "never"},
        {L"Re&move selected clip\tDel", 104, "severalclips nojob", "never"},
        {L"Re&name clip\tF2", 132, "video nojob window", "never"},
        {L"Toggle fade &in on selected clip", 135, "video nojob selected roomin",
         "selected fadein"},
        {L"Toggle fade o&ut on selected clip", 136, "video nojob selected roomout",
         "selected fadeout"}};
}

Table viewTable() {
    return {{L"&Fullscreen\tF11", 128, "video", "fullscreen"},
            SEPARATOR,
            {L"&Auto-fix exposure", 160, "video nojob", "never"},
            {L"Exposure &brighter\t]", 161, "video", "never"},
            {L"Exposure &darker\t[", 162, "video", "never"},
            {L"&Reset exposure", 163, "video exposed", "never"},
            SEPARATOR,
            {L"&Mute\tM", 129, "", "muted"}};
}

Table settingsTable() {
    return {{L"One &joined file", 300, "nojob", "layout0"},
            {L"Separate &clips", 301, "nojob", "layout1"},
            SEPARATOR,
            {L"&Lossless — cuts snap to keyframes", 310, "nojob", "quality0"},
            {L"Source si&ze re-encode (frame-accurate)", 311, "nojob", "quality1"},
            {L"1920 × 1080 re-encode", 312, "nojob", "quality2"},
            {L"1280 × 720 re-encode", 313, "nojob", "quality3"},
            {L"854 × 480 re-encode", 314, "nojob", "quality4"}};
}

Table recentTable(const Given& given) {
    if (given.recents == 0) return {{L"(no recent videos)", 0, "never", "never"}};
    Table table = {{L"&1   C:\\v && w.mp4", 400, "", "never"}};
    const std::wstring digits = L"1234567890";
    for (std::size_t k = 1; k < given.recents; ++k)
        table.push_back({L"&" + digits.substr(k, 1) + L"   C:\\v && w.mp4",
                         400 + static_cast<int>(k), "", "never"});
    table.push_back(SEPARATOR);
    table.push_back({L"&Clear list", 419, "", "never"});
    return table;
}

Table clipTable(const Given& given) {
    return {
        {L"&Split here", 140, "", "never"},
        SEPARATOR,
        {L"Trim clip star&t to here", 141, "", "never"},
        {L"Trim clip &end to here", 142, "", "never"},
        SEPARATOR,
        {L"Fade &in (1 s)", 149, "roomin", "fadein"},
        {L"Fade &out (1 s)", 150, "roomout", "fadeout"},
        SEPARATOR,
        {L"Re&name clip\tF2", 132, "", "never"},
        {L"&Remove clip\tDel", 104, "severalclips", "never"},
        SEPARATOR,
        {given.undo ? L"&Undo trim\tCtrl+Z" : L"&Undo\tCtrl+Z", 106, "undoable nojob", "never"},
        {given.redo ? L"Re&do split\tCtrl+Y" : L"Re&do\tCtrl+Y", 122, "redoable nojob", "never"}};
}

Segment segmentOf(const Given& given) {
    return {.start = 4,
            .end = 4 + LENGTH,
            .fadeIn = given.fades.fadeIn,
            .fadeOut = given.fades.fadeOut};
}

MenuState stateOf(const Given& given) {
    MenuState state{.videoLoaded = given.loaded,
                    .exportBusy = given.busy,
                    .fullscreen = given.fullscreen,
                    .muted = given.muted,
                    .clipCount = given.clips,
                    .canShowLastExport = given.lastExport,
                    .exposure = given.exposure,
                    .exportLayout = given.layout,
                    .exportQuality = given.quality,
                    .recents = std::vector<std::wstring>(given.recents, L"C:\\v & w.mp4")};
    if (given.selected) state.selectedClip = segmentOf(given);
    if (given.undo) state.undoLabel = L"trim";
    if (given.redo) state.redoLabel = L"split";
    return state;
}

// The first difference, or nothing.
std::string difference(const std::vector<MenuItem>& items, const Table& table, const Given& given) {
    if (items.size() != table.size()) return std::to_string(items.size()) + " items";
    for (std::size_t i = 0; i < items.size(); ++i) {
        const MenuItem& item = items[i];
        const Row& row = table[i];
        const std::string place = "item " + std::to_string(i) + ": ";
        if (item.separator != (row.enabled == nullptr)) return place + "separator";
        if (item.separator) continue;
        if (item.text != row.text || item.id != row.id)
            return place + testing::PrintToString(item.text);
        if (item.enabled != allHold(row.enabled, given)) return place + "enabled";
        if (item.checked != allHold(row.checked, given)) return place + "checked";
    }
    return {};
}

void expectAllMenus(const Given& given) {
    const MenuState state = stateOf(given);
    const auto expectSame = [&](const std::vector<MenuItem>& items, const Table& table) {
        const std::string found = difference(items, table, given);
        if (found.empty()) return;
        ADD_FAILURE() << found << " with video " << given.loaded << ", job " << given.busy
                      << ", fullscreen " << given.fullscreen << ", clips " << given.clips
                      << ", selected " << given.selected << ", fades " << given.fades.fadeIn << ' '
                      << given.fades.fadeOut << ", undo " << given.undo << ", redo " << given.redo
                      << ", exposure " << given.exposure;
    };
    expectSame(menuItems(Menu::File, state), fileTable(given));
    expectSame(menuItems(Menu::Edit, state), editTable(given));
    expectSame(menuItems(Menu::View, state), viewTable());
    expectSame(menuItems(Menu::ExportSettings, state), settingsTable());
    expectSame(menuItems(Menu::Recent, state), recentTable(given));
    expectSame(clipMenu(state, segmentOf(given), 8), clipTable(given));
}

// Each choice of the state takes its digit off the number.
class Digits {
public:
    explicit Digits(std::size_t number) : rest_(number) {}
    std::size_t next(std::size_t base) {
        const std::size_t digit = rest_ % base;
        rest_ /= base;
        return digit;
    }
    bool flag() { return next(2) == 1; }

private:
    std::size_t rest_;
};

constexpr std::array<double, 4> EXPOSURES = {0, 0.001, 0.0011, -0.6};
constexpr std::array<std::size_t, 3> RECENTS = {0, 1, 10};
constexpr std::size_t FLAGS = 1 << 8;
constexpr std::size_t COMBINATIONS = FLAGS * 3 * FADES.size() * EXPOSURES.size() * RECENTS.size();

Given combination(std::size_t number) {
    Digits digits(number);
    Given given;
    for (bool* const flag : {&given.loaded, &given.busy, &given.fullscreen, &given.muted,
                             &given.lastExport, &given.selected, &given.undo, &given.redo})
        *flag = digits.flag();
    given.clips = digits.next(3);
    given.fades = FADES[digits.next(FADES.size())];
    given.exposure = EXPOSURES[digits.next(EXPOSURES.size())];
    given.recents = RECENTS[digits.next(RECENTS.size())];
    // Each of these with much else, but not with all.
    given.layout = static_cast<int>(number / 3 % 2);
    given.quality = static_cast<int>(number % 5);
    return given;
}

TEST(MenuModel, EveryCombinationIsAsTheTableSays) {
    for (std::size_t number = 0; number < COMBINATIONS && !HasFailure(); ++number)
        expectAllMenus(combination(number));
}

} // namespace
} // namespace velkantrix
