// Where the window stood, as it is stored and comes back.
#include "app/placing.h"
#include "tests/windows/settings_fixture.h"

namespace velkantrix {
namespace {

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

// The first move brings the window to a monitor of another scale: the system suggests another size.
LRESULT CALLBACK anotherScale(HWND target, UINT message, WPARAM wide, LPARAM lng, UINT_PTR,
                              DWORD_PTR) {
    if (message == WM_MOVE && ui().dpi == 96) {
        RECT suggested = {10, 20, 1810, 1020};
        SendMessageW(target, WM_DPICHANGED, MAKEWPARAM(144, 144),
                     reinterpret_cast<LPARAM>(&suggested));
    }
    if (message == WM_NCDESTROY) RemoveWindowSubclass(target, anotherScale, 0);
    return DefSubclassProc(target, message, wide, lng);
}

TEST_F(SettingsTest, AnotherScaleOnTheWayDoesntChangeThePlace) {
    SetWindowSubclass(window, anotherScale, 0, 0);
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

// Off every screen, or with a title that is.
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

} // namespace
} // namespace velkantrix
