// What the window remembers, in a registry of the test's own.
#include "app/settings.h"

#include <cstring>
#include <limits>
#include <optional>

#include "app/placing.h"
#include "app/settings_codec.h"
#include "platform/handles.h"
#include "tests/windows/test_files.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;
using Bytes = std::vector<std::uint8_t>;

const std::wstring ROOT = L"Software\\Velkantrix";
const std::wstring PLAYHEADS = ROOT + L"\\Playheads";
const std::wstring GEOMETRY = ROOT + L"\\Geometry";
const std::wstring ZOOM = ROOT + L"\\Zoom";

RegistryEntries stored() {
    return ScratchRegistry::entries(ROOT);
}

Bytes playheadBytes(double seconds) {
    return ScratchRegistry::bytesOf(&seconds, sizeof seconds);
}

WINDOWPLACEMENT placementAt(const RECT& rect, UINT show = SW_SHOWNORMAL) {
    return {.length = sizeof(WINDOWPLACEMENT), .showCmd = show, .rcNormalPosition = rect};
}

Bytes bytesOf(const WINDOWPLACEMENT& placement) {
    return ScratchRegistry::bytesOf(&placement, sizeof placement);
}

WINDOWPLACEMENT placementIn(const RegistryEntry& entry) {
    WINDOWPLACEMENT placement = {};
    EXPECT_EQ(entry.type, static_cast<DWORD>(REG_BINARY));
    EXPECT_THAT(entry.bytes, SizeIs(44));
    if (entry.bytes.size() == sizeof placement)
        std::memcpy(&placement, entry.bytes.data(), sizeof placement);
    return placement;
}

// A file of its own is open in the window, 10 seconds long.
class SettingsTest : public WindowTest {
protected:
    SettingsTest() {
        path = folder.path(L"Übung & 影片.mp4");
        writeBytes(path, {'v', 'i', 'd', 'e', 'o'});
        open(path);
        editState().playhead = 4.5;
    }

    static void open(const std::wstring& file) {
        startEdit(10);
        openState().path = file;
    }

    // As if it had been written at another time, the same one each time.
    static void touch(const std::wstring& file) {
        const UniqueFile handle(CreateFileW(file.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr,
                                            OPEN_EXISTING, 0, nullptr));
        const FILETIME time = {.dwLowDateTime = 0, .dwHighDateTime = 30'000'000};
        EXPECT_TRUE(SetFileTime(handle.get(), nullptr, nullptr, &time));
    }

    static std::optional<double> storedPlayhead() {
        double seconds = -1;
        if (loadFilePlayhead(seconds)) return seconds;
        EXPECT_EQ(seconds, -1);
        return std::nullopt;
    }

    [[nodiscard]] std::wstring key() const { return fileStateKey(path); }

    TestFolder folder;
    std::wstring path;
};

TEST_F(SettingsTest, AFilesKeyIsItsOwnWhateverItsLettersCase) {
    EXPECT_THAT(key(), SizeIs(16));
    std::wstring upper = path;
    CharUpperBuffW(upper.data(), static_cast<DWORD>(upper.size()));
    EXPECT_NE(upper, path);
    EXPECT_EQ(fileStateKey(upper), key());
    EXPECT_EQ(fileStateKey(folder.path(L"sub\\..\\Übung & 影片.mp4")), key());
    const std::wstring copy = folder.path(L"copy.mp4");
    ASSERT_TRUE(CopyFileW(path.c_str(), copy.c_str(), TRUE));
    EXPECT_NE(fileStateKey(copy), key());
}

TEST_F(SettingsTest, AChangedFileHasAnotherKey) {
    const std::wstring before = key();
    touch(path);
    const std::wstring touched = key();
    EXPECT_NE(touched, before);
    writeBytes(path, {'l', 'o', 'n', 'g', 'e', 'r'});
    EXPECT_NE(key(), touched);
}

// With the same end of its size in 32 bits.
TEST_F(SettingsTest, AFileThatGrewByFourGigabytesHasAnotherKey) {
    touch(path);
    const std::wstring before = key();
    const UniqueFile file(
        CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    const LARGE_INTEGER size = {.QuadPart = 5 + (1LL << 32)};
    ASSERT_TRUE(SetFilePointerEx(file.get(), size, nullptr, FILE_BEGIN));
    ASSERT_TRUE(SetEndOfFile(file.get()));
    touch(path);
    EXPECT_NE(key(), before);
}

TEST_F(SettingsTest, AFileThatIsGoneHasAKeyAllTheSame) {
    EXPECT_EQ(fileStateKey(L"C:\\No such\\File.mp4"),
              fileStateKeyOf(u"c:\\no such\\file.mp4", {.size = ~0ULL, .time = 0}));
}

TEST_F(SettingsTest, TheFilesStateIsStoredUnderItsKey) {
    ui().doubled = true;
    openHost().storeFileState();
    const RegistryEntries entries = stored();
    ASSERT_THAT(entries, SizeIs(3));
    EXPECT_EQ(entries.at({PLAYHEADS, key()}), (RegistryEntry{REG_BINARY, playheadBytes(4.5)}));
    EXPECT_EQ(entries.at({ZOOM, key()}), ScratchRegistry::number(1));
    const RECT normal = placementIn(entries.at({GEOMETRY, key()})).rcNormalPosition;
    expectWindowAt(normal);
    ui().doubled = false;
    storeFileZoom(key());
    EXPECT_EQ(stored().at({ZOOM, key()}), ScratchRegistry::number(0));
}

TEST_F(SettingsTest, ThePlayheadIsStoredWithinTheVideo) {
    editState().playhead = 11;
    storeFilePlayhead(key());
    EXPECT_EQ(storedPlayhead(), 10);
    editState().playhead = -1;
    storeFilePlayhead(key());
    EXPECT_EQ(storedPlayhead(), 0);
}

TEST_F(SettingsTest, NothingIsStoredOfWhatIsNotOpen) {
    editState().videoLoaded = false;
    openHost().storeFileState();
    editState().videoLoaded = true;
    openState().path.clear();
    openHost().storeFileState();
    EXPECT_THAT(stored(), IsEmpty());
}

TEST_F(SettingsTest, AVideoWithoutALengthHasNoPlayhead) {
    editState().duration = 0;
    openHost().storeFileState();
    EXPECT_EQ(stored().count({PLAYHEADS, key()}), 0u);
    EXPECT_EQ(stored().count({GEOMETRY, key()}), 1u);
    EXPECT_EQ(stored().count({ZOOM, key()}), 1u);
}

TEST_F(SettingsTest, OfAFileThatIsGoneNothingIsStored) {
    ASSERT_TRUE(DeleteFileW(path.c_str()));
    openHost().storeFileState();
    EXPECT_THAT(stored(), IsEmpty());
}

TEST_F(SettingsTest, ThePlayheadComesBack) {
    EXPECT_EQ(storedPlayhead(), std::nullopt);
    storeFilePlayhead(key());
    EXPECT_EQ(storedPlayhead(), 4.5);
    EXPECT_EQ(openHost().storedPlayhead(), 4.5);
    touch(path);
    EXPECT_EQ(storedPlayhead(), std::nullopt);
}

TEST_F(SettingsTest, APlayheadOfAnotherKindIsNone) {
    for (const auto& [type, bytes] : std::vector<std::pair<DWORD, Bytes>>{
             {REG_SZ, playheadBytes(4.5)},
             {REG_QWORD, playheadBytes(4.5)},
             {REG_BINARY, Bytes(7, 1)},
             {REG_BINARY, Bytes(9, 1)},
             {REG_BINARY, {}},
             {REG_BINARY, playheadBytes(std::numeric_limits<double>::quiet_NaN())},
             {REG_BINARY, playheadBytes(std::numeric_limits<double>::infinity())}}) {
        ScratchRegistry::put(PLAYHEADS, key(), type, bytes);
        EXPECT_EQ(storedPlayhead(), std::nullopt);
    }
}

TEST_F(SettingsTest, TheZoomComesBackAndIsOffWithoutOne) {
    ui().doubled = true;
    openHost().restoreZoom();
    EXPECT_FALSE(ui().doubled);
    for (const DWORD value : {1u, 2u, 0xFFFFFFFFu}) {
        ScratchRegistry::put(ZOOM, key(), REG_DWORD, ScratchRegistry::number(value).bytes);
        openHost().restoreZoom();
        EXPECT_TRUE(ui().doubled);
    }
    ScratchRegistry::put(ZOOM, key(), REG_DWORD, ScratchRegistry::number(0).bytes);
    openHost().restoreZoom();
    EXPECT_FALSE(ui().doubled);
    ScratchRegistry::put(ZOOM, key(), REG_BINARY, {1, 0, 0, 0});
    openHost().restoreZoom();
    EXPECT_FALSE(ui().doubled);
}

TEST_F(SettingsTest, TheGeometryComesBack) {
    EXPECT_FALSE(loadFileGeometry());
    const RECT place = {50, 60, 1050, 760};
    SetWindowPos(window, nullptr, 50, 60, 1000, 700, SWP_NOZORDER | SWP_NOACTIVATE);
    storeFileGeometry(key());
    SetWindowPos(window, nullptr, 0, 0, 900, 680, SWP_NOZORDER | SWP_NOACTIVATE);
    EXPECT_TRUE(loadFileGeometry());
    expectWindowAt(place);
}

TEST_F(SettingsTest, InFullscreenTheGeometryIsThatOfBeforeAndStaysAsItIs) {
    const RECT before = place();
    toggleFullscreen();
    storeFileGeometry(key());
    EXPECT_FALSE(loadFileGeometry());
    EXPECT_TRUE(ui().fullscreen);
    const RECT normal = placementIn(stored().at({GEOMETRY, key()})).rcNormalPosition;
    EXPECT_TRUE(EqualRect(&normal, &before));
    storeWindowPlacement();
    const RECT global = placementIn(stored().at({ROOT, L"WindowPlacement"})).rcNormalPosition;
    EXPECT_TRUE(EqualRect(&global, &before));
}

TEST_F(SettingsTest, AMinimisedPlacementComesBackAsANormalWindow) {
    const RECT place = {50, 60, 1050, 760};
    ScratchRegistry::put(ROOT, L"WindowPlacement", REG_BINARY,
                         bytesOf(placementAt(place, SW_SHOWMINIMIZED)));
    EXPECT_TRUE(loadWindowPlacement(window));
    EXPECT_FALSE(IsIconic(window));
    EXPECT_TRUE(IsWindowVisible(window));
    expectWindowAt(place);
}

TEST_F(SettingsTest, AMaximisedPlacementComesBackMaximised) {
    ScratchRegistry::put(ROOT, L"WindowPlacement", REG_BINARY,
                         bytesOf(placementAt({50, 60, 1050, 760}, SW_SHOWMAXIMIZED)));
    EXPECT_TRUE(loadWindowPlacement(window));
    EXPECT_TRUE(IsZoomed(window));
    ShowWindow(window, SW_RESTORE);
    expectWindowAt({50, 60, 1050, 760});
}

TEST_F(SettingsTest, AWindowThatIsAnIconStaysOneAndTakesThePlaceWhenItIsRestored) {
    ShowWindow(window, SW_SHOWMINIMIZED);
    ScratchRegistry::put(GEOMETRY, key(), REG_BINARY, bytesOf(placementAt({50, 60, 1050, 760})));
    EXPECT_TRUE(loadFileGeometry());
    EXPECT_TRUE(IsIconic(window));
    ShowWindow(window, SW_RESTORE);
    expectWindowAt({50, 60, 1050, 760});
}

TEST_F(SettingsTest, AnIconsStoredPlaceMayBeMaximised) {
    ShowWindow(window, SW_SHOWMINIMIZED);
    ScratchRegistry::put(GEOMETRY, key(), REG_BINARY,
                         bytesOf(placementAt({50, 60, 1050, 760}, SW_SHOWMAXIMIZED)));
    EXPECT_TRUE(loadFileGeometry());
    EXPECT_TRUE(IsIconic(window));
    ShowWindow(window, SW_RESTORE);
    EXPECT_TRUE(IsZoomed(window));
}

// As where the place is on a monitor of another scale: the first move brings the window there, and
// the system suggests another size for it.
TEST_F(SettingsTest, AnotherScaleOnTheWayDoesntChangeThePlace) {
    SetWindowSubclass(
        window,
        [](HWND target, UINT message, WPARAM wide, LPARAM lng, UINT_PTR id, DWORD_PTR) -> LRESULT {
            if (message == WM_MOVE && ui().dpi == 96) {
                RECT suggested = {10, 20, 1810, 1020};
                SendMessageW(target, WM_DPICHANGED, MAKEWPARAM(144, 144),
                             reinterpret_cast<LPARAM>(&suggested));
            }
            if (message == WM_NCDESTROY) RemoveWindowSubclass(target, nullptr, id);
            return DefSubclassProc(target, message, wide, lng);
        },
        7, 0);
    ScratchRegistry::put(ROOT, L"WindowPlacement", REG_BINARY,
                         bytesOf(placementAt({50, 60, 1350, 1060})));
    EXPECT_TRUE(loadWindowPlacement(window));
    EXPECT_EQ(ui().dpi, 144);
    expectWindowAt({50, 60, 1350, 1060});
}

TEST_F(SettingsTest, APlacementOfAnotherKindIsNone) {
    const RECT before = place();
    WINDOWPLACEMENT wrongLength = placementAt({50, 60, 1050, 760});
    wrongLength.length = 40;
    Bytes shorter = bytesOf(placementAt({50, 60, 1050, 760}));
    shorter.pop_back();
    Bytes longer = bytesOf(placementAt({50, 60, 1050, 760}));
    longer.push_back(0);
    for (const auto& [type, bytes] : std::vector<std::pair<DWORD, Bytes>>{
             {REG_SZ, bytesOf(placementAt({50, 60, 1050, 760}))},
             {REG_BINARY, bytesOf(wrongLength)},
             {REG_BINARY, shorter},
             {REG_BINARY, longer},
             {REG_BINARY, bytesOf(placementAt({50, 60, 50, 60}))},
             {REG_BINARY, bytesOf(placementAt({-2'000'000'000, 0, 2'000'000'000, 900}))},
             {REG_BINARY, {}}}) {
        ScratchRegistry::put(ROOT, L"WindowPlacement", type, bytes);
        EXPECT_FALSE(loadWindowPlacement(window));
        ScratchRegistry::put(GEOMETRY, key(), type, bytes);
        EXPECT_FALSE(loadFileGeometry());
    }
    expectWindowAt(before);
}

// Off every screen.
TEST_F(SettingsTest, APlaceOutOfReachIsBroughtBackToTheScreen) {
    for (const RECT& away : {RECT{-20'000, -20'000, 1, 1}, RECT{100, -500, 1100, 100}}) {
        ScratchRegistry::put(ROOT, L"WindowPlacement", REG_BINARY, bytesOf(placementAt(away)));
        EXPECT_TRUE(loadWindowPlacement(window));
        EXPECT_GE(place().top, 0);
        EXPECT_GE(place().left, 0);
    }
    for (const RECT& away :
         {RECT{90'000, 90'000, 91'000, 91'000}, RECT{-91'000, -91'000, -90'000, -90'000},
          RECT{2'147'482'000, 0, 2'147'483'000, 900}}) {
        ScratchRegistry::put(ROOT, L"WindowPlacement", REG_BINARY, bytesOf(placementAt(away)));
        EXPECT_TRUE(loadWindowPlacement(window));
        const RECT screen = {0, 0, GetSystemMetrics(SM_CXSCREEN), GetSystemMetrics(SM_CYSCREEN)};
        const RECT now = place();
        RECT seen = {};
        EXPECT_TRUE(IntersectRect(&seen, &now, &screen));
        EXPECT_TRUE(IsWindowVisible(window));
    }
}

TEST_F(SettingsTest, TheVolumeComesBack) {
    ui().volume = {.level = 0.35, .muted = true};
    storeVolume();
    EXPECT_EQ(stored().at({ROOT, L"Volume"}), ScratchRegistry::number(35));
    EXPECT_EQ(stored().at({ROOT, L"Muted"}), ScratchRegistry::number(1));
    ui().volume = {};
    loadVolume();
    EXPECT_EQ(ui().volume, (Volume{.level = 0.35, .muted = true}));
    ui().volume.muted = false;
    storeVolume();
    EXPECT_EQ(stored().at({ROOT, L"Muted"}), ScratchRegistry::number(0));
}

TEST_F(SettingsTest, WhatIsNotZeroIsMuted) {
    for (const auto& [value, muted] :
         {std::pair<DWORD, bool>{1, true}, {0, false}, {2, true}, {0xFFFFFFFF, true}, {0, false}}) {
        ScratchRegistry::put(ROOT, L"Muted", REG_DWORD, ScratchRegistry::number(value).bytes);
        loadVolume();
        EXPECT_EQ(ui().volume.muted, muted) << value;
    }
}

TEST_F(SettingsTest, WithoutAStoredVolumeItIsFullAndHeard) {
    loadVolume();
    EXPECT_EQ(ui().volume, (Volume{.level = 1, .muted = false}));
}

TEST_F(SettingsTest, AVolumeBeyondItsRangeIsItsEnd) {
    for (const auto& [value, level] :
         {std::pair<DWORD, double>{250, 1}, {0xFFFFFFFF, 0}, {0, 0}, {100, 1}}) {
        ScratchRegistry::put(ROOT, L"Volume", REG_DWORD, ScratchRegistry::number(value).bytes);
        loadVolume();
        EXPECT_EQ(ui().volume.level, level) << value;
    }
    ui().volume = {};
    ScratchRegistry::put(ROOT, L"Volume", REG_SZ, ScratchRegistry::text(L"20").bytes);
    ScratchRegistry::put(ROOT, L"Muted", REG_SZ, ScratchRegistry::text(L"1").bytes);
    loadVolume();
    EXPECT_EQ(ui().volume, Volume{});
}

TEST_F(SettingsTest, EachChangeOfTheRecentFilesIsStored) {
    addRecent(L"C:\\a.mp4");
    addRecent(L"C:\\Ü & 影.mp4");
    const std::wstring two = {L"C:\\Ü & 影.mp4\0C:\\a.mp4\0\0", 23};
    EXPECT_EQ(stored().at({ROOT, L"RecentFiles"}),
              (RegistryEntry{REG_MULTI_SZ, ScratchRegistry::bytesOf(two.data(), two.size() * 2)}));
    removeRecent(L"c:\\A.mp4");
    ui().recentFiles.clear();
    loadRecent();
    EXPECT_THAT(ui().recentFiles, ElementsAre(L"C:\\Ü & 影.mp4"));
    command(419);
    EXPECT_THAT(ui().recentFiles, IsEmpty());
    EXPECT_EQ(stored().at({ROOT, L"RecentFiles"}), (RegistryEntry{REG_MULTI_SZ, {0, 0}}));
}

TEST_F(SettingsTest, AFileThatIsListedMovesToTheFrontAndTheEleventhDropsTheOldest) {
    for (int i = 0; i < 10; ++i) addRecent(L"C:\\" + std::to_wstring(i) + L".MP4");
    addRecent(L"c:\\3.mp4");
    loadRecent();
    ASSERT_THAT(ui().recentFiles, SizeIs(10));
    EXPECT_EQ(ui().recentFiles[0], L"c:\\3.mp4");
    EXPECT_EQ(ui().recentFiles[9], L"C:\\0.MP4");
    addRecent(L"C:\\new.mp4");
    loadRecent();
    ASSERT_THAT(ui().recentFiles, SizeIs(10));
    EXPECT_EQ(ui().recentFiles[9], L"C:\\1.MP4");
}

TEST_F(SettingsTest, RecentFilesOfAnotherKindAreNone) {
    ui().recentFiles = {L"C:\\a.mp4"};
    loadRecent();
    EXPECT_THAT(ui().recentFiles, IsEmpty());
    for (const auto& [type, bytes] :
         std::vector<std::pair<DWORD, Bytes>>{{REG_SZ, ScratchRegistry::text(L"C:\\a.mp4").bytes},
                                              {REG_MULTI_SZ, {}},
                                              {REG_MULTI_SZ, {0x61}},
                                              {REG_MULTI_SZ, {0, 0, 0x61, 0, 0, 0, 0, 0}}}) {
        ScratchRegistry::put(ROOT, L"RecentFiles", type, bytes);
        loadRecent();
        EXPECT_THAT(ui().recentFiles, IsEmpty());
    }
}

TEST_F(SettingsTest, AFilesStateIsForgottenUnderItsOldKey) {
    openHost().storeFileState();
    const std::wstring old = key();
    touch(path);
    openHost().storeFileState();
    EXPECT_THAT(stored(), SizeIs(6));
    forgetFileState(old);
    EXPECT_THAT(stored(), SizeIs(3));
    EXPECT_EQ(stored().count({PLAYHEADS, key()}), 1u);
    forgetFileState(old);
    forgetFileState(L"");
    EXPECT_THAT(stored(), SizeIs(3));
}

TEST_F(SettingsTest, AWindowThatGoesStoresAllOfIt) {
    ui().volume.level = 0.5;
    DestroyWindow(window);
    const RegistryEntries entries = stored();
    EXPECT_THAT(entries, SizeIs(6));
    EXPECT_EQ(entries.count({PLAYHEADS, key()}), 1u);
    EXPECT_EQ(entries.count({GEOMETRY, key()}), 1u);
    EXPECT_EQ(entries.count({ZOOM, key()}), 1u);
    EXPECT_EQ(entries.count({ROOT, L"WindowPlacement"}), 1u);
    EXPECT_EQ(entries.at({ROOT, L"Volume"}), ScratchRegistry::number(50));
    EXPECT_EQ(entries.count({ROOT, L"Muted"}), 1u);
}

// A volatile key can't have others in it that stay.
TEST_F(SettingsTest, WhatCantBeStoredIsNoReasonToStay) {
    HKEY root = nullptr;
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, ROOT.c_str(), 0, nullptr, REG_OPTION_VOLATILE,
                              KEY_ALL_ACCESS, nullptr, &root, nullptr),
              ERROR_SUCCESS);
    addRecent(L"C:\\a.mp4");
    openHost().storeFileState();
    DestroyWindow(window);
    RegCloseKey(root);
    const RegistryEntries entries = stored();
    EXPECT_EQ(entries.count({PLAYHEADS, key()}), 0u);
    EXPECT_EQ(entries.count({ROOT, L"Volume"}), 1u);
    EXPECT_EQ(entries.count({ROOT, L"RecentFiles"}), 1u);
}

TEST_F(SettingsTest, TheEndOfTheSessionStoresAllOfItAndItsRefusalNothing) {
    send(WM_ENDSESSION, FALSE);
    EXPECT_THAT(stored(), IsEmpty());
    send(WM_ENDSESSION, TRUE);
    EXPECT_THAT(stored(), SizeIs(6));
}

} // namespace
} // namespace velkantrix
