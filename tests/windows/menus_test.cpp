// The menus as the system has them: made, updated, chosen from.
#include "app/menus.h"

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/ui_state.h"
#include "edit/edit_state.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::SizeIs;

struct Shown {
    std::wstring text; // "—" for a separator
    UINT id = 0;
    bool enabled = true;
    bool checked = false;
    bool radio = false;
    HMENU submenu = nullptr;
};

Shown itemAt(HMENU menu, int position) {
    wchar_t text[512] = {};
    MENUITEMINFOW info = {};
    info.cbSize = sizeof info;
    info.fMask = MIIM_FTYPE | MIIM_STATE | MIIM_ID | MIIM_STRING | MIIM_SUBMENU;
    info.dwTypeData = text;
    info.cch = 512;
    EXPECT_TRUE(GetMenuItemInfoW(menu, static_cast<UINT>(position), TRUE, &info)) << position;
    if ((info.fType & MFT_SEPARATOR) != 0) return {.text = L"—"};
    return {.text = text,
            .id = info.hSubMenu ? 0 : info.wID,
            .enabled = (info.fState & MFS_GRAYED) == 0,
            .checked = (info.fState & MFS_CHECKED) != 0,
            .radio = (info.fType & MFT_RADIOCHECK) != 0,
            .submenu = info.hSubMenu};
}

std::vector<Shown> itemsOf(HMENU menu) {
    std::vector<Shown> items;
    for (int i = 0; i < GetMenuItemCount(menu); ++i) items.push_back(itemAt(menu, i));
    return items;
}

std::vector<std::wstring> textsOf(HMENU menu) {
    std::vector<std::wstring> texts;
    for (const Shown& item : itemsOf(menu)) texts.push_back(item.text);
    return texts;
}

template <class Condition>
std::vector<UINT> idsWhere(HMENU menu, Condition condition) {
    std::vector<UINT> ids;
    for (const Shown& item : itemsOf(menu))
        if (item.id != 0 && condition(item)) ids.push_back(item.id);
    return ids;
}

std::vector<UINT> allIds(HMENU menu) {
    return idsWhere(menu, [](const Shown&) { return true; });
}

std::vector<UINT> enabledIds(HMENU menu) {
    return idsWhere(menu, [](const Shown& item) { return item.enabled; });
}

std::vector<UINT> checkedIds(HMENU menu) {
    return idsWhere(menu, [](const Shown& item) { return item.checked; });
}

class MenusTest : public testing::Test {
protected:
    MenusTest() {
        editState() = {};
        bar = buildMenuBar();
        file = GetSubMenu(bar, 0);
        edit = GetSubMenu(bar, 1);
        view = GetSubMenu(bar, 2);
        recent = GetSubMenu(file, 1);
        settings = GetSubMenu(file, 4);
    }
    ~MenusTest() override {
        DestroyMenu(bar);
        editState() = {};
        ui().fullscreen = false;
        ui().volume = {};
    }
    MenusTest(const MenusTest&) = delete;
    MenusTest& operator=(const MenusTest&) = delete;

    static void load(ClipList clips) {
        startEdit(20);
        editState().clips = std::move(clips);
    }

    HMENU bar = nullptr;
    HMENU file = nullptr;
    HMENU edit = nullptr;
    HMENU view = nullptr;
    HMENU recent = nullptr;
    HMENU settings = nullptr;
};

TEST_F(MenusTest, TheBarHasAllMenus) {
    EXPECT_THAT(textsOf(bar), ElementsAre(L"&File", L"&Edit", L"&View", L"&Help"));
    for (const Shown& item : itemsOf(bar)) EXPECT_TRUE(item.submenu && item.enabled);
    EXPECT_THAT(textsOf(file),
                ElementsAre(L"&Open video…\tCtrl+O", L"Open &recent",
                            L"&Save (replace original)\tCtrl+S", L"Export &As…\tCtrl+Shift+S",
                            L"Export &settings", L"&Optimise for editing (rebuild index)",
                            L"Show &last export in Explorer", L"—", L"E&xit\tAlt+F4"));
    EXPECT_THAT(allIds(file), ElementsAre(101, 166, 105, 167, 120, 107));
    EXPECT_THAT(textsOf(edit), ElementsAre(L"&Undo\tCtrl+Z", L"&Redo\tCtrl+Y", L"—",
                                           L"&Split at playhead\tS", L"Re&move selected clip\tDel",
                                           L"Re&name clip\tF2", L"Toggle fade &in on selected clip",
                                           L"Toggle fade o&ut on selected clip"));
    EXPECT_THAT(allIds(edit), ElementsAre(106, 122, 103, 104, 132, 135, 136));
    EXPECT_THAT(textsOf(view), ElementsAre(L"&Fullscreen\tF11", L"—", L"&Auto-fix exposure",
                                           L"Exposure &brighter\t]", L"Exposure &darker\t[",
                                           L"&Reset exposure", L"—", L"&Mute\tM"));
    EXPECT_THAT(allIds(view), ElementsAre(128, 160, 161, 162, 163, 129));
    EXPECT_THAT(textsOf(GetSubMenu(bar, 3)), ElementsAre(L"&About Velkantrix"));
    EXPECT_THAT(allIds(GetSubMenu(bar, 3)), ElementsAre(168));
    EXPECT_THAT(textsOf(settings),
                ElementsAre(L"One &joined file", L"Separate &clips", L"—",
                            L"&Lossless — cuts snap to keyframes",
                            L"Source si&ze re-encode (frame-accurate)", L"1920 × 1080 re-encode",
                            L"1280 × 720 re-encode", L"854 × 480 re-encode"));
    EXPECT_THAT(allIds(settings), ElementsAre(300, 301, 310, 311, 312, 313, 314));
    EXPECT_THAT(textsOf(recent), ElementsAre(L"(no recent videos)"));
}

// Before any of them has opened, as a greyed item suppresses its key.
TEST_F(MenusTest, TheBarIsMadeForAnEmptyWindow) {
    EXPECT_THAT(enabledIds(file), ElementsAre(101, 107));
    EXPECT_THAT(enabledIds(edit), ElementsAre());
    EXPECT_THAT(enabledIds(view), ElementsAre(129));
    EXPECT_THAT(checkedIds(settings), ElementsAre(300, 310));
    EXPECT_FALSE(itemAt(recent, 0).enabled);
}

TEST_F(MenusTest, TheFileMenuFollowsVideoAndJob) {
    load({{.start = 0, .end = 20}});
    updatePopup(file, {});
    EXPECT_THAT(enabledIds(file), ElementsAre(101, 166, 105, 167, 107));
    updatePopup(file, {.lastExportPath = L"C:\\out.mp4"});
    EXPECT_THAT(enabledIds(file), ElementsAre(101, 166, 105, 167, 120, 107));

    editState().exportBusy = true;
    updatePopup(file, {.lastExportPath = L"C:\\out.mp4"});
    EXPECT_EQ(itemAt(file, 3).text, L"Cancel &export\tCtrl+Shift+S");
    EXPECT_THAT(enabledIds(file), ElementsAre(101, 105, 107));
    EXPECT_THAT(allIds(file), ElementsAre(101, 166, 105, 167, 120, 107));

    editState().exportBusy = false;
    updatePopup(file, {});
    EXPECT_EQ(itemAt(file, 3).text, L"Export &As…\tCtrl+Shift+S");
    EXPECT_EQ(itemAt(file, 1).submenu, recent);
    EXPECT_EQ(itemAt(file, 4).submenu, settings);
    EXPECT_TRUE(itemAt(file, 1).enabled && itemAt(file, 4).enabled);
}

TEST_F(MenusTest, TheEditMenuFollowsTheEdit) {
    load({{.start = 0, .end = 10, .fadeIn = 1}, {.start = 10, .end = 20, .fadeOut = 10}});
    editState().undoStack = {{.label = L"split"}};
    editState().selectedClip = 0;
    updatePopup(edit, {});
    EXPECT_EQ(itemAt(edit, 0).text, L"&Undo split\tCtrl+Z");
    EXPECT_EQ(itemAt(edit, 1).text, L"&Redo\tCtrl+Y");
    EXPECT_THAT(enabledIds(edit), ElementsAre(106, 103, 104, 132, 135, 136));
    EXPECT_THAT(checkedIds(edit), ElementsAre(135));

    editState().selectedClip = 1;
    editState().redoStack = {{.label = L"rename"}};
    ui().fullscreen = true;
    updatePopup(edit, {});
    EXPECT_EQ(itemAt(edit, 1).text, L"&Redo rename\tCtrl+Y");
    EXPECT_THAT(enabledIds(edit), ElementsAre(106, 122, 103, 104, 136));
    EXPECT_THAT(checkedIds(edit), ElementsAre(136));

    editState().exportBusy = true;
    updatePopup(edit, {});
    EXPECT_THAT(enabledIds(edit), ElementsAre());
}

TEST_F(MenusTest, TheViewMenuFollowsTheWindow) {
    load({{.start = 0, .end = 20}});
    updatePopup(view, {});
    EXPECT_THAT(enabledIds(view), ElementsAre(128, 160, 161, 162, 129));
    EXPECT_THAT(checkedIds(view), ElementsAre());
    ui().fullscreen = true;
    ui().volume.muted = true;
    updatePopup(view, {.exposure = -0.1});
    EXPECT_THAT(enabledIds(view), ElementsAre(128, 160, 161, 162, 163, 129));
    EXPECT_THAT(checkedIds(view), ElementsAre(128, 129));
}

TEST_F(MenusTest, TheExportSettingsHaveOneMarkInEachGroup) {
    for (int layout = 0; layout < 2; ++layout) {
        for (int quality = 0; quality < 5; ++quality) {
            updatePopup(settings, {.exportLayout = layout, .exportQuality = quality});
            EXPECT_THAT(checkedIds(settings), ElementsAre(300 + layout, 310 + quality));
            for (const Shown& item : itemsOf(settings))
                EXPECT_TRUE(item.radio || !item.checked) << item.id;
        }
    }
    EXPECT_THAT(enabledIds(settings), SizeIs(7));
    editState().exportBusy = true;
    updatePopup(settings, {.exportLayout = 1, .exportQuality = 4});
    EXPECT_THAT(enabledIds(settings), SizeIs(0));
    EXPECT_THAT(checkedIds(settings), ElementsAre(301, 314));
}

TEST_F(MenusTest, OtherMenusAreLeftAlone) {
    const HMENU other = CreatePopupMenu();
    AppendMenuW(other, MF_STRING, 7, L"other");
    updatePopup(other, {});
    updatePopup(nullptr, {});
    EXPECT_THAT(textsOf(other), ElementsAre(L"other"));
    EXPECT_THAT(enabledIds(bar), ElementsAre());
    EXPECT_THAT(textsOf(bar), ElementsAre(L"&File", L"&Edit", L"&View", L"&Help"));
    DestroyMenu(other);
}

TEST_F(MenusTest, RecentsAreMadeAnewWithTheFileMenu) {
    updatePopup(file, {.recents = {L"C:\\a.mp4", L"D:\\Tom & Jo\\b&c.mp4"}});
    EXPECT_THAT(textsOf(recent), ElementsAre(L"&1   C:\\a.mp4", L"&2   D:\\Tom && Jo\\b&&c.mp4",
                                             L"—", L"&Clear list"));
    EXPECT_THAT(enabledIds(recent), ElementsAre(400, 401, 419));
    updatePopup(file, {.recents = {L"C:\\z.mp4"}});
    EXPECT_THAT(textsOf(recent), ElementsAre(L"&1   C:\\z.mp4", L"—", L"&Clear list"));
    updatePopup(file, {});
    EXPECT_THAT(textsOf(recent), ElementsAre(L"(no recent videos)"));
    EXPECT_FALSE(itemAt(recent, 0).enabled);
}

TEST_F(MenusTest, TheTenthRecentIsNumberedZeroAndTheLast) {
    MenuExtras extras;
    for (int i = 1; i <= 11; ++i) extras.recents.push_back(L"C:\\" + std::to_wstring(i) + L".mp4");
    updatePopup(file, extras);
    ASSERT_EQ(GetMenuItemCount(recent), 12);
    EXPECT_EQ(itemAt(recent, 8).text, L"&9   C:\\9.mp4");
    EXPECT_EQ(itemAt(recent, 9).text, L"&0   C:\\10.mp4");
    EXPECT_EQ(itemAt(recent, 9).id, 409u);
    EXPECT_EQ(recentPathOfMenu(9), L"C:\\10.mp4");
    EXPECT_EQ(recentPathOfMenu(10), std::nullopt);
}

TEST_F(MenusTest, ARecentPathIsShortenedToFiftySixCharacters) {
    const std::wstring fits = L"C:\\" + std::wstring(40, L'd') + L"\\" + std::wstring(12, L'n');
    ASSERT_EQ(fits.size(), 56u);
    const std::wstring longer = L"C:\\" + std::wstring(41, L'd') + L"\\" + std::wstring(12, L'n');
    updatePopup(file, {.recents = {fits, longer}});
    EXPECT_EQ(itemAt(recent, 0).text, L"&1   " + fits);
    const std::wstring shown = itemAt(recent, 1).text;
    EXPECT_EQ(shown.size(), 5u + 56u);
    EXPECT_TRUE(shown.starts_with(L"&2   C:\\ddd"));
    EXPECT_TRUE(shown.ends_with(L"...\\nnnnnnnnnnnn"));
    EXPECT_EQ(recentPathOfMenu(1), longer);
}

// Doubled after it was shortened: the "&" costs no room.
TEST_F(MenusTest, AnAmpersandCountsOnceWhenAPathIsShortened) {
    const std::wstring path = L"C:\\" + std::wstring(40, L'&') + L"\\" + std::wstring(12, L'n');
    updatePopup(file, {.recents = {path}});
    EXPECT_EQ(itemAt(recent, 0).text,
              L"&1   C:\\" + std::wstring(80, L'&') + L"\\" + std::wstring(12, L'n'));
}

TEST_F(MenusTest, AVeryLongRecentPathShowsItsBeginningAndItsName) {
    const std::wstring folders = L"C:\\first\\" + std::wstring(300, L'd') + L"\\";
    updatePopup(file,
                {.recents = {folders + L"name.mp4", L"C:\\first\\" + std::wstring(255, L'n')}});
    const std::wstring shown = itemAt(recent, 0).text;
    EXPECT_EQ(shown.size(), 5u + 56u);
    EXPECT_TRUE(shown.starts_with(L"&1   C:\\first\\ddd"));
    EXPECT_TRUE(shown.ends_with(L"...\\name.mp4"));
    EXPECT_NE(itemAt(recent, 1).text.find(L"\\nnn"), std::wstring::npos);
    EXPECT_LE(itemAt(recent, 1).text.size(), 5u + 56u);
    EXPECT_EQ(recentPathOfMenu(0), folders + L"name.mp4");
}

TEST_F(MenusTest, ARecentIsTheOneThatTheMenuShows) {
    MenuExtras extras{.recents = {L"C:\\a.mp4", L"C:\\b.mp4"}};
    updatePopup(file, extras);
    extras.recents.insert(extras.recents.begin(), L"C:\\new.mp4");
    updatePopup(recent, extras); // it opens after the File menu, and isn't made again
    updatePopup(edit, extras);
    EXPECT_THAT(textsOf(recent),
                ElementsAre(L"&1   C:\\a.mp4", L"&2   C:\\b.mp4", L"—", L"&Clear list"));
    EXPECT_EQ(recentPathOfMenu(0), L"C:\\a.mp4");
    EXPECT_EQ(recentPathOfMenu(1), L"C:\\b.mp4");
    EXPECT_EQ(recentPathOfMenu(2), std::nullopt);
}

// The owner of a clip menu: notes what the menu shows when it opens, and then presses the keys.
struct Owner {
    std::vector<Shown> items;
    std::vector<WPARAM> keys;
};

LRESULT CALLBACK ownerProcedure(HWND window, UINT message, WPARAM wide, LPARAM lng) {
    auto* const owner = reinterpret_cast<Owner*>(GetWindowLongPtrW(window, GWLP_USERDATA));
    if (message == WM_INITMENUPOPUP && owner) {
        updatePopup(reinterpret_cast<HMENU>(wide), {});
        owner->items = itemsOf(reinterpret_cast<HMENU>(wide));
        for (const WPARAM key : owner->keys) PostMessageW(window, WM_KEYDOWN, key, 1);
        return 0;
    }
    return DefWindowProcW(window, message, wide, lng);
}

class ClipMenuTest : public MenusTest {
protected:
    ClipMenuTest() {
        window = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 10, 10, nullptr, nullptr,
                                 GetModuleHandleW(nullptr), nullptr);
        SetWindowLongPtrW(window, GWLP_WNDPROC, reinterpret_cast<LONG_PTR>(ownerProcedure));
        SetWindowLongPtrW(window, GWLP_USERDATA, reinterpret_cast<LONG_PTR>(&owner));
        load({{.start = 0, .end = 10, .fadeOut = 1}, {.start = 12, .end = 20}});
    }
    ~ClipMenuTest() override { DestroyWindow(window); }
    ClipMenuTest(const ClipMenuTest&) = delete;
    ClipMenuTest& operator=(const ClipMenuTest&) = delete;

    std::uint16_t choose(double time, std::vector<WPARAM> keys) {
        owner.keys = std::move(keys);
        return showClipMenu(window, {0, 0}, 0, time);
    }

    [[nodiscard]] std::vector<UINT> ids(bool (*condition)(const Shown&)) const {
        std::vector<UINT> found;
        for (const Shown& item : owner.items)
            if (item.id != 0 && condition(item)) found.push_back(item.id);
        return found;
    }

    HWND window = nullptr;
    Owner owner;
};

TEST_F(ClipMenuTest, IsMadeForTheClipAndTheTime) {
    editState().redoStack = {{.label = L"trim"}};
    EXPECT_EQ(choose(10, {VK_ESCAPE}), 0);
    std::vector<std::wstring> texts;
    for (const Shown& item : owner.items) texts.push_back(item.text);
    EXPECT_THAT(texts,
                ElementsAre(L"&Split here", L"—", L"Trim clip star&t to here",
                            L"Trim clip &end to here", L"—", L"Fade &in (1 s)", L"Fade &out (1 s)",
                            L"—", L"Re&name clip\tF2", L"&Remove clip\tDel", L"—", L"&Undo\tCtrl+Z",
                            L"Re&do trim\tCtrl+Y"));
    EXPECT_THAT(ids([](const Shown& item) { return item.enabled; }),
                ElementsAre(141, 142, 149, 150, 132, 104, 122));
    EXPECT_THAT(ids([](const Shown& item) { return item.checked; }), ElementsAre(150));
}

TEST_F(ClipMenuTest, GivesTheNumberOfWhatWasChosen) {
    EXPECT_EQ(choose(5, {VK_DOWN, VK_RETURN}), 140);
    EXPECT_EQ(choose(5, {VK_DOWN, VK_DOWN, VK_DOWN, VK_RETURN}), 142);
    EXPECT_EQ(choose(5, {VK_DOWN, VK_DOWN, VK_ESCAPE}), 0);
}

TEST_F(ClipMenuTest, NeedsTheClip) {
    owner.keys = {VK_ESCAPE};
    EXPECT_EQ(showClipMenu(window, {0, 0}, 2, 5), 0);
    EXPECT_EQ(showClipMenu(window, {0, 0}, -1, 5), 0);
    EXPECT_TRUE(owner.items.empty());
}

} // namespace
} // namespace velkantrix
