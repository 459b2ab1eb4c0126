#include "app/transport_bar.h"

#include <commctrl.h>
#include <uxtheme.h>
#include <windowsx.h>

#include <algorithm>
#include <array>
#include <optional>
#include <utility>

#include "app/commands.h"
#include "app/drawing_gdi.h"
#include "app/paint_layer.h"
#include "app/palette.h"
#include "app/transport_access.h"
#include "app/transport_drawing.h"
#include "app/ui_state.h"
#include "edit/edit_state.h"
#include "platform/hresult.h"
#include "platform/library.h"

namespace velkantrix {
namespace {

constexpr int TIP_WIDTH = 320; // 96-dpi units, at most
constexpr std::size_t TIP_ROOM = 96;

// Of the one bar there is, which goes with the window.
struct BarState {
    TransportControl hovered = TRANSPORT_NONE;
    TransportControl pressed = TRANSPORT_NONE;
    HWND tips = nullptr; // owned by the main window: the system destroys it with that
    std::array<wchar_t, TIP_ROOM> tip{};
    PaintLayer layer;
};

BarState& barState() {
    static BarState state;
    return state;
}

// The tip of one control, by the number that the system knows it by.
TTTOOLINFOW toolOf(HWND bar, std::size_t index, const TransportLayout& layout) {
    const PixelRect& rect = layout.controls[index];
    TTTOOLINFOW tool = {};
    tool.cbSize = sizeof tool;
    tool.uFlags = TTF_SUBCLASS;
    tool.hwnd = bar;
    tool.uId = index;
    tool.rect = {rect.left, rect.top, rect.right, rect.bottom};
    tool.lpszText = LPSTR_TEXTCALLBACKW;
    return tool;
}

void sendTools(HWND bar, UINT message) {
    const HWND tips = barState().tips;
    if (!tips) return;
    const TransportLayout layout = transportLayout(bar);
    for (std::size_t i = 0; i < TRANSPORT_CONTROL_COUNT; ++i) {
        const TTTOOLINFOW tool = toolOf(bar, i, layout);
        SendMessageW(tips, message, 0, reinterpret_cast<LPARAM>(&tool));
    }
    SendMessageW(tips, TTM_SETMAXTIPWIDTH, 0, S(TIP_WIDTH));
}

void onCreate(HWND bar) {
    barState() = {};
    const HWND tips =
        CreateWindowExW(0, TOOLTIPS_CLASSW, nullptr, WS_POPUP | TTS_ALWAYSTIP | TTS_NOPREFIX,
                        CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, CW_USEDEFAULT, bar, nullptr,
                        GetModuleHandleW(nullptr), nullptr);
    barState().tips = tips;
    if (!tips) return;
    static const auto setTheme =
        findFunction<decltype(SetWindowTheme)>(loadSystemLibrary(L"uxtheme.dll"), "SetWindowTheme");
    if (setTheme) ignoreResult(setTheme(tips, L"", L""), "it then has the system's colours");
    SendMessageW(tips, TTM_SETTIPBKCOLOR, TOOLTIP, 0);
    SendMessageW(tips, TTM_SETTIPTEXTCOLOR, TOOLTIP_TEXT, 0);
    sendTools(bar, TTM_ADDTOOLW);
}

// The text of a tip, when it is about to be shown.
void onTipAsked(NMHDR& header) {
    if (header.code != TTN_GETDISPINFOW) return;
    auto& asked = reinterpret_cast<NMTTDISPINFOW&>(header);
    const std::wstring text =
        transportTip(static_cast<TransportControl>(header.idFrom), transportState());
    std::array<wchar_t, TIP_ROOM>& room = barState().tip;
    const std::size_t length = std::min(text.size(), room.size() - 1);
    text.copy(room.data(), length);
    room[length] = L'\0';
    asked.lpszText = room.data();
}

void paintBar(HWND bar) {
    PAINTSTRUCT paint = {};
    const HDC screen = BeginPaint(bar, &paint);
    RECT client = {};
    GetClientRect(bar, &client);
    BarState& state = barState();
    const int width = std::max<int>(client.right, 1);
    const int height = std::max<int>(client.bottom, 1);
    if (screen && fitPaintLayer(screen, state.layer, width, height)) {
        Drawing drawing;
        drawTransport(drawing, {.client = {width, height},
                                .dpi = ui().dpi,
                                .state = transportState(),
                                .hovered = state.hovered,
                                .pressed = state.pressed});
        carryOut(state.layer.dc.get(), drawing);
        BitBlt(screen, 0, 0, width, height, state.layer.dc.get(), 0, 0, SRCCOPY);
    }
    EndPaint(bar, &paint);
}

void setVolumeAt(HWND bar, int x) {
    const TransportLayout layout = transportLayout(bar);
    const SliderTrack track = sliderTrack(layout[TRANSPORT_VOLUME], ui().dpi);
    ui().volume.level = volumeAtX(track, x);
    applyVolume();
}

void onMove(HWND bar, int x, int y) {
    if (ui().volumeDragged) return setVolumeAt(bar, x);
    const TransportControl over = transportControlAt(transportLayout(bar), x, y);
    if (std::exchange(barState().hovered, over) != over) repaintTransport();
    TRACKMOUSEEVENT event = {sizeof event, TME_LEAVE, bar, 0};
    TrackMouseEvent(&event);
}

void onPress(HWND bar, int x, int y) {
    const TransportControl over = transportControlAt(transportLayout(bar), x, y);
    if (over == TRANSPORT_VOLUME) {
        SetCapture(bar);
        ui().volumeDragged = true;
        return setVolumeAt(bar, x);
    }
    barState().pressed = over;
    if (over != TRANSPORT_NONE) SetCapture(bar);
    repaintTransport();
}

void onRelease(HWND bar, int x, int y) {
    const bool dragged = std::exchange(ui().volumeDragged, false);
    const TransportControl pressed = std::exchange(barState().pressed, TRANSPORT_NONE);
    // Also when the mouse has left the bar, after which nothing counts as pressed: while the mouse
    // is captured no key gets to the window.
    if (GetCapture() == bar) ReleaseCapture();
    if (dragged || pressed == TRANSPORT_NONE) return;
    repaintTransport();
    if (transportControlAt(transportLayout(bar), x, y) == pressed) pressTransport(bar, pressed);
}

void onCaptureLost() {
    ui().volumeDragged = false;
    barState().pressed = TRANSPORT_NONE;
    repaintTransport();
}

void onLeave() {
    barState().hovered = TRANSPORT_NONE;
    barState().pressed = TRANSPORT_NONE;
    repaintTransport();
}

LRESULT onMouseMessage(HWND bar, UINT message, WPARAM wide, LPARAM lng) {
    const int x = GET_X_LPARAM(lng);
    const int y = GET_Y_LPARAM(lng);
    switch (message) {
    case WM_MOUSEMOVE:
        onMove(bar, x, y);
        return 0;
    case WM_LBUTTONDOWN:
        onPress(bar, x, y);
        return 0;
    case WM_LBUTTONUP:
        onRelease(bar, x, y);
        return 0;
    case WM_CAPTURECHANGED:
        onCaptureLost();
        return 0;
    case WM_MOUSELEAVE:
        onLeave();
        return 0;
    default:
        return DefWindowProcW(bar, message, wide, lng);
    }
}

} // namespace

LRESULT CALLBACK transportProcedure(HWND bar, UINT message, WPARAM wide, LPARAM lng) {
    switch (message) {
    case WM_CREATE:
        onCreate(bar);
        return 0;
    case WM_DESTROY:
        barState() = {};
        return 0;
    case WM_SIZE:
        sendTools(bar, TTM_NEWTOOLRECTW);
        return 0;
    case WM_PAINT:
        paintBar(bar);
        return 0;
    case WM_ERASEBKGND:
        return 1;
    case WM_NOTIFY:
        onTipAsked(*reinterpret_cast<NMHDR*>(lng));
        return 0;
    case WM_GETOBJECT:
        if (const std::optional<LRESULT> answer = answerObjectRequest(wide, lng)) return *answer;
        return DefWindowProcW(bar, message, wide, lng);
    default:
        return onMouseMessage(bar, message, wide, lng);
    }
}

TransportState transportState() {
    return {.playing = isOrWillBePlaying(),
            .volume = ui().volume,
            .exposure = ui().exposure,
            .doubled = ui().doubled,
            .clipCount = editState().clips.size()};
}

TransportLayout transportLayout(HWND bar) {
    RECT client = {};
    GetClientRect(bar, &client);
    return layOutTransport(client.right, ui().dpi);
}

bool isTransportEnabled(HWND bar) {
    if (!IsWindowEnabled(bar) || !IsWindowEnabled(GetParent(bar))) return false;
    const HWND capture = GetCapture(); // menus capture the mouse as well
    return !capture || capture == bar;
}

bool pressTransport(HWND bar, TransportControl control) {
    if (!isTransportEnabled(bar)) return false;
    const std::optional<std::uint16_t> command = transportCommand(control, transportState());
    return command && PostMessageW(GetParent(bar), WM_COMMAND, *command, 0);
}

void repaintTransport() {
    InvalidateRect(ui().transport, nullptr, FALSE);
}

} // namespace velkantrix
