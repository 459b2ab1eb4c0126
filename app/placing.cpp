#include "app/placing.h"

#include <windows.h>

#include <algorithm>
#include <utility>

#include "app/layout.h"
#include "app/ui_state.h"
#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "edit/rename.h"

namespace velkantrix {
namespace {

// Of no window: the primary one.
MONITORINFO monitorOf(HWND window) {
    const DWORD otherwise = window ? MONITOR_DEFAULTTONEAREST : MONITOR_DEFAULTTOPRIMARY;
    MONITORINFO monitor = {};
    monitor.cbSize = sizeof monitor;
    GetMonitorInfoW(MonitorFromWindow(window, otherwise), &monitor);
    return monitor;
}

PixelRect rectOf(const RECT& rect) {
    return {rect.left, rect.top, rect.right, rect.bottom};
}

void move(HWND window, HWND above, const PixelRect& place, UINT flags) {
    SetWindowPos(window, above, place.left, place.top, place.right - place.left,
                 place.bottom - place.top, flags);
}

void redrawVideo() {
    if (ui().playback) ui().playback->requestRedraw();
}

void setStyle(DWORD remove, DWORD add) {
    const auto style = static_cast<DWORD>(GetWindowLongPtrW(ui().window, GWL_STYLE));
    SetWindowLongPtrW(ui().window, GWL_STYLE, static_cast<LONG_PTR>((style & ~remove) | add));
}

void coverMonitor() {
    move(ui().window, HWND_TOP, rectOf(monitorOf(ui().window).rcMonitor),
         SWP_NOOWNERZORDER | SWP_FRAMECHANGED);
}

// Places the window, and once more where that has brought it to a monitor of another scale, which
// sizes it anew.
template <class Place>
void atItsScale(Place place) {
    const int dpi = ui().dpi;
    place();
    if (ui().dpi != dpi) place();
}

// A stored place may be of a monitor that is gone, or be anything.
void bringWithinReach(RECT& place) {
    MONITORINFO monitor = {};
    monitor.cbSize = sizeof monitor;
    if (!GetMonitorInfoW(MonitorFromRect(&place, MONITOR_DEFAULTTONEAREST), &monitor)) return;
    const PixelRect reached =
        withinReach(rectOf(place), rectOf(monitor.rcMonitor), rectOf(monitor.rcWork));
    place = {reached.left, reached.top, reached.right, reached.bottom};
}

// The window that fullscreen has put away looks as large as before at another scale.
void scalePlacementBefore(int dpiBefore) {
    RECT& place = ui().placementBefore.rcNormalPosition;
    place.right = place.left + MulDiv(place.right - place.left, ui().dpi, dpiBefore);
    place.bottom = place.top + MulDiv(place.bottom - place.top, ui().dpi, dpiBefore);
}

void enterFullscreen() {
    UiState& state = ui();
    state.placementBefore.length = sizeof state.placementBefore;
    GetWindowPlacement(state.window, &state.placementBefore);
    state.menuBefore = GetMenu(state.window);
    state.fullscreen = true; // the messages that follow lay the window out
    SetMenu(state.window, nullptr);
    // One that counts as maximised would not be maximised again when it comes back.
    setStyle(WS_OVERLAPPEDWINDOW | WS_MAXIMIZE, WS_POPUP);
    coverMonitor();
    POINT cursor = {};
    GetCursorPos(&cursor);
    state.transportHiding = {{cursor.x, cursor.y}, GetTickCount64()};
}

void leaveFullscreen() {
    UiState& state = ui();
    state.fullscreen = false;
    setStyle(WS_POPUP, WS_OVERLAPPEDWINDOW);
    SetMenu(state.window, state.menuBefore);
    SetWindowPlacement(state.window, &state.placementBefore);
    SetWindowPos(state.window, nullptr, 0, 0, 0, 0,
                 SWP_NOMOVE | SWP_NOSIZE | SWP_NOZORDER | SWP_NOOWNERZORDER | SWP_FRAMECHANGED);
}

} // namespace

void layOut() {
    const UiState& state = ui();
    if (IsIconic(state.window)) return;
    RECT client = {};
    GetClientRect(state.window, &client);
    const ChildLayout layout = layOutChildren({client.right, client.bottom}, state.dpi,
                                              state.fullscreen, openState().videoSize);
    move(state.video, HWND_BOTTOM, layout.video, SWP_NOACTIVATE);
    move(state.transport, HWND_TOP, layout.transport, SWP_NOACTIVATE);
    InvalidateRect(state.window, nullptr, FALSE);
}

void sizeWindowToVideo() {
    UiState& state = ui();
    const VideoSize video = openState().videoSize;
    // An icon has no middle to keep.
    state.sizeWhenRestored = IsIconic(state.window) != FALSE;
    if (state.sizeWhenRestored) return;
    if (video.width <= 0 || video.height <= 0 || state.fullscreen || IsZoomed(state.window)) return;
    const PixelSize client = clientSizeForVideo(video, state.doubled, state.dpi);
    RECT frame = {0, 0, client.width, client.height};
    AdjustWindowRectExForDpi(&frame, static_cast<DWORD>(GetWindowLongPtrW(state.window, GWL_STYLE)),
                             GetMenu(state.window) != nullptr,
                             static_cast<DWORD>(GetWindowLongPtrW(state.window, GWL_EXSTYLE)),
                             static_cast<UINT>(state.dpi));
    RECT current = {};
    GetWindowRect(state.window, &current);
    const MONITORINFO monitor = monitorOf(state.window);
    // No smaller than the system will let it be, or it would grow away from its middle.
    const PixelSize size = {
        std::max<std::int32_t>(frame.right - frame.left, S(LEAST_WINDOW_WIDTH)),
        std::max<std::int32_t>(frame.bottom - frame.top, S(LEAST_WINDOW_HEIGHT))};
    const PixelRect place = placeInWorkArea(size, rectOf(current), rectOf(monitor.rcWork));
    move(state.window, nullptr, place, SWP_NOZORDER | SWP_NOACTIVATE);
}

void followDpi(int dpi, const RECT* suggested) {
    UiState& state = ui();
    const int before = std::exchange(state.dpi, dpi);
    if (state.fullscreen) {
        scalePlacementBefore(before);
        coverMonitor();
    }
    if (!state.fullscreen && suggested)
        move(state.window, nullptr, rectOf(*suggested), SWP_NOZORDER | SWP_NOACTIVATE);
    layOut(); // the size may be what it was
    redrawVideo();
}

void placeWindowFirst() {
    const PixelRect work = rectOf(monitorOf(nullptr).rcWork);
    atItsScale([&] {
        move(ui().window, nullptr, firstPlacement(work, ui().dpi), SWP_NOZORDER | SWP_NOACTIVATE);
    });
}

bool applyPlacement(HWND window, WINDOWPLACEMENT placement) {
    bringWithinReach(placement.rcNormalPosition);
    if (IsIconic(window)) {
        if (placement.showCmd == SW_SHOWMAXIMIZED) placement.flags |= WPF_RESTORETOMAXIMIZED;
        placement.showCmd = SW_SHOWMINNOACTIVE;
    }
    bool applied = false;
    atItsScale([&] { applied = SetWindowPlacement(window, &placement) != FALSE; });
    return applied;
}

void toggleFullscreen() {
    if (!ui().fullscreen && !editState().videoLoaded) return;
    commitRename(true);
    if (ui().fullscreen)
        leaveFullscreen();
    else
        enterFullscreen();
    layOut();
    refreshUi();
    redrawVideo();
}

} // namespace velkantrix
