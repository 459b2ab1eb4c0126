// Every menu as the user reads it, and the rules that need exact limits. tests/app/menu_model_test
// compares all of them in all states.
#include "app/menu_rules.h"

#include "edit/history.h"
#include "edit/operations.h"
#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

struct Line {
    std::wstring text; // "—" for a separator
    int id = 0;
    bool operator==(const Line&) const = default;
    friend void PrintTo(const Line& line, std::ostream* out) {
        *out << line.id << ' ' << testing::PrintToString(line.text);
    }
};

std::vector<Line> linesOf(const std::vector<MenuItem>& items) {
    std::vector<Line> lines;
    for (const MenuItem& item : items) {
        const bool isLine = item == MenuItem{.separator = true};
        lines.push_back(isLine ? Line{L"—"} : Line{item.text, item.id});
    }
    return lines;
}

const MenuItem* find(const std::vector<MenuItem>& items, int id) {
    for (const MenuItem& item : items)
        if (item.id == id) return &item;
    return nullptr;
}

bool isEnabled(const std::vector<MenuItem>& items, int id) {
    const MenuItem* const item = find(items, id);
    return item && item->enabled;
}

bool isChecked(const std::vector<MenuItem>& items, int id) {
    const MenuItem* const item = find(items, id);
    return item && item->checked;
}

MenuState loaded() {
    return {.videoLoaded = true, .clipCount = 1, .selectedClip = Segment{.start = 0, .end = 20}};
}

TEST(MenuBar, HasFourMenus) {
    const std::vector<MenuItem> expected = {{.text = L"&File", .submenu = Menu::File},
                                            {.text = L"&Edit", .submenu = Menu::Edit},
                                            {.text = L"&View", .submenu = Menu::View},
                                            {.text = L"&Help", .submenu = Menu::Help}};
    EXPECT_EQ(menuBar(), expected);
}

TEST(FileMenu, ReadsSo) {
    const std::vector<MenuItem> items = menuItems(Menu::File, loaded());
    const std::vector<Line> expected = {{L"&Open video…\tCtrl+O", 101},
                                        {L"Open &recent"},
                                        {L"&Save (replace original)\tCtrl+S", 166},
                                        {L"Export &As…\tCtrl+Shift+S", 105},
                                        {L"Export &settings"},
                                        {L"&Optimise for editing (rebuild index)", 167},
                                        {L"Show &last export in Explorer", 120},
                                        {L"—"},
                                        {L"E&xit\tAlt+F4", 107}};
    EXPECT_EQ(linesOf(items), expected);
    for (std::size_t i = 0; i < items.size(); ++i)
        EXPECT_EQ(items[i].submenu, i == 1   ? Menu::Recent
                                    : i == 4 ? Menu::ExportSettings
                                             : Menu::None)
            << i;
}

TEST(FileMenu, WhileAJobRunsExportCancelsIt) {
    MenuState state = loaded();
    state.exportBusy = true;
    state.canShowLastExport = true;
    const std::vector<MenuItem> items = menuItems(Menu::File, state);
    const std::vector<Line> expected = {{L"&Open video…\tCtrl+O", 101},
                                        {L"Open &recent"},
                                        {L"&Save (replace original)\tCtrl+S", 166},
                                        {L"Cancel &export\tCtrl+Shift+S", 105},
                                        {L"Export &settings"},
                                        {L"&Optimise for editing (rebuild index)", 167},
                                        {L"Show &last export in Explorer", 120},
                                        {L"—"},
                                        {L"E&xit\tAlt+F4", 107}};
    EXPECT_EQ(linesOf(items), expected);
    EXPECT_TRUE(isEnabled(items, 105));
    for (const int id : {166, 167, 120}) EXPECT_FALSE(isEnabled(items, id)) << id;
    for (const MenuItem& item : menuItems(Menu::ExportSettings, state))
        EXPECT_TRUE(item.separator || !item.enabled) << item.id;
}

TEST(FileMenu, TheLastExportIsShownWhenThereIsOne) {
    MenuState state;
    EXPECT_FALSE(isEnabled(menuItems(Menu::File, state), 120));
    state.canShowLastExport = true;
    EXPECT_TRUE(isEnabled(menuItems(Menu::File, state), 120));
}

TEST(EditMenu, ReadsSo) {
    const std::vector<Line> expected = {{L"&Undo\tCtrl+Z", 106},
                                        {L"&Redo\tCtrl+Y", 122},
                                        {L"—"},
                                        {L"&Split at playhead\tS", 103},
                                        {L"Re&move selected clip\tDel", 104},
                                        {L"Re&name clip\tF2", 132},
                                        {L"Toggle fade &in on selected clip", 135},
                                        {L"Toggle fade o&ut on selected clip", 136}};
    EXPECT_EQ(linesOf(menuItems(Menu::Edit, loaded())), expected);
}

TEST(EditMenu, UndoAndRedoNameTheirSteps) {
    MenuState state = loaded();
    state.undoLabel = L"split";
    state.redoLabel = L"remove clip";
    std::vector<MenuItem> items = menuItems(Menu::Edit, state);
    EXPECT_EQ(items[0].text, L"&Undo split\tCtrl+Z");
    EXPECT_EQ(items[1].text, L"&Redo remove clip\tCtrl+Y");
    EXPECT_TRUE(items[0].enabled);
    EXPECT_TRUE(items[1].enabled);

    state.exportBusy = true;
    items = menuItems(Menu::Edit, state);
    EXPECT_EQ(items[0].text, L"&Undo split\tCtrl+Z");
    EXPECT_EQ(items[1].text, L"&Redo remove clip\tCtrl+Y");
    EXPECT_FALSE(items[0].enabled);
    EXPECT_FALSE(items[1].enabled);
}

TEST(EditMenu, AFadeNeedsRoomInTheSelectedClip) {
    struct Row {
        double fadeIn;
        double fadeOut;
        bool inEnabled;
        bool outEnabled;
    };
    for (const Row& row : {Row{0, 0, true, true}, Row{20, 0, true, false}, Row{0, 20, false, true},
                           Row{19.99, 0, true, true}, Row{0, 19.99, true, true}}) {
        MenuState state = loaded();
        state.selectedClip->fadeIn = row.fadeIn;
        state.selectedClip->fadeOut = row.fadeOut;
        const std::vector<MenuItem> items = menuItems(Menu::Edit, state);
        EXPECT_EQ(isEnabled(items, 135), row.inEnabled) << row.fadeIn << ' ' << row.fadeOut;
        EXPECT_EQ(isEnabled(items, 136), row.outEnabled) << row.fadeIn << ' ' << row.fadeOut;
        EXPECT_EQ(isChecked(items, 135), row.fadeIn > 0) << row.fadeIn;
        EXPECT_EQ(isChecked(items, 136), row.fadeOut > 0) << row.fadeOut;
    }
}

TEST(ViewMenu, ReadsSo) {
    const std::vector<Line> expected = {{L"&Fullscreen\tF11", 128},
                                        {L"—"},
                                        {L"&Auto-fix exposure", 160},
                                        {L"Exposure &brighter\t]", 161},
                                        {L"Exposure &darker\t[", 162},
                                        {L"&Reset exposure", 163},
                                        {L"—"},
                                        {L"&Mute\tM", 129}};
    EXPECT_EQ(linesOf(menuItems(Menu::View, loaded())), expected);
}

TEST(ViewMenu, AnExposureOfAThousandthIsNone) {
    MenuState state = loaded();
    for (const double exposure : {0.0, 0.001, -0.001}) {
        state.exposure = exposure;
        EXPECT_FALSE(isEnabled(menuItems(Menu::View, state), 163)) << exposure;
    }
    for (const double exposure : {0.0011, -0.0011, 1.0, -1.0}) {
        state.exposure = exposure;
        EXPECT_TRUE(isEnabled(menuItems(Menu::View, state), 163)) << exposure;
    }
}

TEST(HelpMenu, ReadsSo) {
    EXPECT_EQ(menuItems(Menu::Help, {}), (std::vector<MenuItem>{{L"&About Velkantrix", 168}}));
}

TEST(ExportSettingsMenu, ReadsSo) {
    const std::vector<MenuItem> items = menuItems(Menu::ExportSettings, {});
    const std::vector<Line> expected = {{L"One &joined file", 300},
                                        {L"Separate &clips", 301},
                                        {L"—"},
                                        {L"&Lossless — cuts snap to keyframes", 310},
                                        {L"Source si&ze re-encode (frame-accurate)", 311},
                                        {L"1920 × 1080 re-encode", 312},
                                        {L"1280 × 720 re-encode", 313},
                                        {L"854 × 480 re-encode", 314}};
    EXPECT_EQ(linesOf(items), expected);
    for (const MenuItem& item : items) EXPECT_NE(item.radio, item.separator) << item.id;
}

TEST(ExportSettingsMenu, MarksTheChosenOneOfEachGroup) {
    for (int layout = 0; layout < 2; ++layout) {
        for (int quality = 0; quality < 5; ++quality) {
            for (const bool busy : {false, true}) {
                const std::vector<MenuItem> items = menuItems(
                    Menu::ExportSettings,
                    {.exportBusy = busy, .exportLayout = layout, .exportQuality = quality});
                for (const MenuItem& item : items) {
                    EXPECT_EQ(item.checked, item.id == 300 + layout || item.id == 310 + quality)
                        << item.id;
                    EXPECT_EQ(item.enabled, item.separator || !busy) << item.id;
                }
            }
        }
    }
}

TEST(RecentMenu, WithoutRecentsSaysSo) {
    const std::vector<MenuItem> expected = {{.text = L"(no recent videos)", .enabled = false}};
    EXPECT_EQ(menuItems(Menu::Recent, {}), expected);
}

TEST(RecentMenu, NumbersItsPaths) {
    MenuState state;
    for (const wchar_t* const path :
         {L"C:\\a.mp4", L"C:\\b.mp4", L"C:\\c.mp4", L"C:\\d.mp4", L"C:\\e.mp4", L"C:\\f.mp4",
          L"C:\\g.mp4", L"C:\\h.mp4", L"C:\\i.mp4", L"C:\\j.mp4"})
        state.recents.emplace_back(path);
    const std::vector<Line> expected = {{L"&1   C:\\a.mp4", 400},
                                        {L"&2   C:\\b.mp4", 401},
                                        {L"&3   C:\\c.mp4", 402},
                                        {L"&4   C:\\d.mp4", 403},
                                        {L"&5   C:\\e.mp4", 404},
                                        {L"&6   C:\\f.mp4", 405},
                                        {L"&7   C:\\g.mp4", 406},
                                        {L"&8   C:\\h.mp4", 407},
                                        {L"&9   C:\\i.mp4", 408},
                                        {L"&0   C:\\j.mp4", 409},
                                        {L"—"},
                                        {L"&Clear list", 419}};
    EXPECT_EQ(linesOf(menuItems(Menu::Recent, state)), expected);
    state.recents.emplace_back(L"C:\\eleventh.mp4");
    EXPECT_EQ(linesOf(menuItems(Menu::Recent, state)), expected);
    for (const MenuItem& item : menuItems(Menu::Recent, state)) EXPECT_TRUE(item.enabled);
}

TEST(RecentMenu, AnAmpersandIsShownAsOne) {
    const MenuState state{.recents = {L"C:\\Tom & Jo\\a&&b&.mp4"}};
    EXPECT_EQ(menuItems(Menu::Recent, state)[0].text, L"&1   C:\\Tom && Jo\\a&&&&b&&.mp4");
}

TEST(ClipMenu, ReadsSo) {
    const std::vector<Line> expected = {{L"&Split here", 140},
                                        {L"—"},
                                        {L"Trim clip star&t to here", 141},
                                        {L"Trim clip &end to here", 142},
                                        {L"—"},
                                        {L"Fade &in (1 s)", 149},
                                        {L"Fade &out (1 s)", 150},
                                        {L"—"},
                                        {L"Re&name clip\tF2", 132},
                                        {L"&Remove clip\tDel", 104},
                                        {L"—"},
                                        {L"&Undo\tCtrl+Z", 106},
                                        {L"Re&do\tCtrl+Y", 122}};
    EXPECT_EQ(linesOf(clipMenu(loaded(), {.start = 0, .end = 20}, 10)), expected);
}

TEST(ClipMenu, UndoAndRedoNameTheirSteps) {
    MenuState state = loaded();
    state.undoLabel = L"roll cut";
    state.redoLabel = L"fade in";
    const std::vector<MenuItem> items = clipMenu(state, {.start = 0, .end = 20}, 10);
    EXPECT_EQ(find(items, 106)->text, L"&Undo roll cut\tCtrl+Z");
    EXPECT_EQ(find(items, 122)->text, L"Re&do fade in\tCtrl+Y");
}

TEST(ClipMenu, SplitsWithinTheClipOnly) {
    const Segment clip{.start = 10, .end = 20};
    for (const double time : {10.0, 10.04, 19.96, 20.0})
        EXPECT_FALSE(isEnabled(clipMenu(loaded(), clip, time), 140)) << time;
    for (const double time : {10.0401, 15.0, 19.9599})
        EXPECT_TRUE(isEnabled(clipMenu(loaded(), clip, time), 140)) << time;
}

// The clip that was clicked counts, whichever is selected.
TEST(ClipMenu, ShowsTheFadesOfItsClip) {
    MenuState state = loaded();
    state.selectedClip->fadeIn = state.selectedClip->fadeOut = 1;
    const auto items = [&](double fadeIn, double fadeOut) {
        return clipMenu(state, {.start = 5, .end = 9, .fadeIn = fadeIn, .fadeOut = fadeOut}, 7);
    };
    EXPECT_FALSE(isChecked(items(0, 0.05), 149));
    EXPECT_TRUE(isChecked(items(0, 0.05), 150));
    EXPECT_TRUE(isChecked(items(0.05, 0), 149));
    EXPECT_FALSE(isChecked(items(0.05, 0), 150));
    EXPECT_FALSE(isEnabled(items(0, 4), 149));
    EXPECT_TRUE(isEnabled(items(0, 4), 150));
    EXPECT_TRUE(isEnabled(items(4, 0), 149));
    EXPECT_FALSE(isEnabled(items(4, 0), 150));
    EXPECT_TRUE(isEnabled(items(0, 3.99), 149));
    EXPECT_TRUE(isEnabled(items(3.99, 0), 150));
}

TEST(ClipMenu, TheOnlyClipIsNotRemoved) {
    MenuState state = loaded();
    EXPECT_FALSE(isEnabled(clipMenu(state, {.start = 0, .end = 20}, 10), 104));
    state.clipCount = 2;
    EXPECT_TRUE(isEnabled(clipMenu(state, {.start = 0, .end = 20}, 10), 104));
}

TEST(MenuStateOfTheEdit, HasItsFlagsAndClips) {
    EditState edit;
    MenuState state = menuState(edit);
    EXPECT_FALSE(state.videoLoaded);
    EXPECT_FALSE(state.exportBusy);
    EXPECT_EQ(state.clipCount, 0u);
    EXPECT_FALSE(state.selectedClip);

    edit.videoLoaded = true;
    edit.clips = {{.start = 0, .end = 4}, {.start = 5, .end = 9, .fadeIn = 2}};
    edit.selectedClip = 1;
    state = menuState(edit);
    EXPECT_TRUE(state.videoLoaded);
    EXPECT_FALSE(state.exportBusy);
    EXPECT_EQ(state.clipCount, 2u);
    EXPECT_EQ(state.selectedClip, edit.clips[1]);
    edit.exportBusy = true;
    EXPECT_TRUE(menuState(edit).exportBusy);
}

TEST(MenuStateOfTheEdit, ASelectionWithoutAClipIsNone) {
    EditState edit{.clips = {{.start = 0, .end = 4}}};
    for (const std::int32_t selected : {-2, -1, 1, 2}) {
        edit.selectedClip = selected;
        EXPECT_FALSE(menuState(edit).selectedClip) << selected;
    }
}

TEST(MenuStateOfTheEdit, NamesTheNewestSteps) {
    EditState edit;
    EXPECT_FALSE(menuState(edit).undoLabel);
    EXPECT_FALSE(menuState(edit).redoLabel);
    edit.undoStack = {{.label = L"trim"}, {.label = L"split"}};
    EXPECT_EQ(menuState(edit).undoLabel, L"split");
    EXPECT_FALSE(menuState(edit).redoLabel);
    edit.redoStack = {{.label = L"rename"}, {.label = L"fade out"}};
    EXPECT_EQ(menuState(edit).redoLabel, L"fade out");
}

class MenusOfTheEdit : public EditTest {
protected:
    [[nodiscard]] std::wstring undoText() const {
        return menuItems(Menu::Edit, menuState(state))[0].text;
    }
    [[nodiscard]] std::wstring redoText() const {
        return menuItems(Menu::Edit, menuState(state))[1].text;
    }
};

TEST_F(MenusOfTheEdit, NameWhatIsUndoneAndRedoneNext) {
    load(20, {clip(0, 20)});
    splitClip(0, 10);
    EXPECT_EQ(undoText(), L"&Undo split\tCtrl+Z");
    removeSelectedClip();
    EXPECT_EQ(undoText(), L"&Undo remove clip\tCtrl+Z");
    EXPECT_EQ(redoText(), L"&Redo\tCtrl+Y");
    undo();
    EXPECT_EQ(undoText(), L"&Undo split\tCtrl+Z");
    EXPECT_EQ(redoText(), L"&Redo remove clip\tCtrl+Y");
}

} // namespace
} // namespace velkantrix
