#include "app/timeline_paint.h"

#include <algorithm>
#include <string>

#include "app/fonts.h"
#include "app/layout.h"
#include "app/palette.h"
#include "app/resource_ids.h"
#include "app/ui_state.h"
#include "edit/edit_state.h"
#include "platform/gdi.h"

namespace velkantrix {
namespace {

// In 96-dpi units.
constexpr int STATUS_BAR = 36;
constexpr int SIDE = 28;
constexpr int CARD_MARGIN = 24;
constexpr int CARD_FROM_BOTTOM = 246;
constexpr int LEAST_CARD = 180;
constexpr int BELOW_VIDEO = 222; // where the video's area ends, from the bottom

constexpr BYTE ICON_OPACITY = 205;
constexpr std::uint64_t DOT_PERIOD = 400; // milliseconds
constexpr UINT ONE_LINE = DT_SINGLELINE | DT_VCENTER | DT_NOPREFIX;

// The window is drawn here first, and then copied: it never flickers.
struct BackBuffer {
    UniqueMemoryDc dc;
    UniqueBitmap bitmap;
    int width = 0;
    int height = 0;
    bool paintAll = true;
};

BackBuffer& backBuffer() {
    static BackBuffer buffer;
    return buffer;
}

bool fitBuffer(HDC screen, int width, int height) {
    BackBuffer& buffer = backBuffer();
    if (buffer.dc && width == buffer.width && height == buffer.height) return true;
    buffer = {};
    buffer.dc.reset(CreateCompatibleDC(screen));
    buffer.bitmap.reset(CreateCompatibleBitmap(screen, width, height));
    if (!buffer.dc || !buffer.bitmap) {
        buffer = {};
        return false;
    }
    SelectObject(buffer.dc.get(), buffer.bitmap.get());
    PatBlt(buffer.dc.get(), 0, 0, width, height, BLACKNESS);
    buffer.width = width;
    buffer.height = height;
    return true;
}

void fill(HDC dc, const RECT& rect, COLORREF colour) {
    SetDCBrushColor(dc, colour);
    FillRect(dc, &rect, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
}

void drawText(HDC dc, const std::wstring& text, RECT rect, Font which, COLORREF colour,
              UINT format) {
    const Selected selected(dc, font(which));
    SetBkMode(dc, TRANSPARENT);
    SetTextColor(dc, colour);
    DrawTextW(dc, text.c_str(), static_cast<int>(text.size()), &rect, format | ONE_LINE);
}

// The program's icon with its bottom edge at `bottom`, in the middle of the width.
void drawIcon(HDC dc, int width, int bottom, int size, BYTE opacity) {
    const auto icon =
        static_cast<HICON>(LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(ICON_ID),
                                      IMAGE_ICON, size, size, LR_DEFAULTCOLOR));
    if (!icon) return;
    const int left = (width - size) / 2;
    const int top = bottom - size;
    const UniqueMemoryDc layer(CreateCompatibleDC(dc));
    const UniqueBitmap bitmap(CreateCompatibleBitmap(dc, size, size));
    if (layer && bitmap) {
        const Selected selected(layer.get(), bitmap.get());
        BitBlt(layer.get(), 0, 0, size, size, dc, left, top, SRCCOPY);
        DrawIconEx(layer.get(), 0, 0, icon, size, size, 0, nullptr, DI_NORMAL);
        AlphaBlend(dc, left, top, size, size, layer.get(), 0, 0, size, size,
                   {AC_SRC_OVER, 0, opacity, 0});
    }
    DestroyIcon(icon);
}

void paintEmptyState(HDC dc, int width, int height) {
    const int base = 2 * height / 5;
    drawIcon(dc, width, base, S(124), 255);
    drawText(dc, L"Cut the wait.", {0, base + S(6), width, base + S(56)}, Font::Hero, PRIMARY_TEXT,
             DT_CENTER);
    drawText(dc, L"Open a video. Slice what you don't need. Export without losing a pixel.",
             {0, base + S(64), width, base + S(90)}, Font::Text, SECONDARY_TEXT, DT_CENTER);
    drawText(dc, L"Ctrl+O   ·   File ▸ Open video   ·   or drop a file anywhere in this window",
             {0, base + S(98), width, base + S(122)}, Font::Monospace, FAINT_TEXT, DT_CENTER);
}

void paintLoadingCard(HDC dc, int width, int height) {
    const RECT card = {S(CARD_MARGIN), S(CARD_MARGIN), width - S(CARD_MARGIN),
                       std::max(S(LEAST_CARD), height - S(CARD_FROM_BOTTOM)) + S(CARD_MARGIN)};
    fill(dc, card, LOADING_CARD);
    const int middle = (card.top + card.bottom) / 2;
    drawIcon(dc, width, middle + S(4), S(96), ICON_OPACITY);
    const std::size_t dots = GetTickCount64() / DOT_PERIOD % 4;
    drawText(dc, L"Loading video" + std::wstring(dots, L'.'),
             {0, middle + S(30), width, middle + S(62)}, Font::Text, SECONDARY_TEXT, DT_CENTER);
}

void paintStatusBar(HDC dc, int width, int height) {
    const int top = height - S(STATUS_BAR);
    fill(dc, {0, top, width, height}, BAR);
    fill(dc, {0, top, width, top + 1}, BAR_EDGE);
    drawText(dc, editState().statusText, {S(SIDE), top + S(2), width - S(SIDE), height - S(2)},
             Font::Monospace, SECONDARY_TEXT, DT_RIGHT | DT_END_ELLIPSIS);
}

void paintClient(HDC dc, int width, int height) {
    fill(dc, {0, 0, width, height}, BACKGROUND);
    if (ui().fullscreen) return;
    if (editState().videoLoaded) {
        if (!ui().firstFrameShown) paintLoadingCard(dc, width, height);
        paintStatusBar(dc, width, height);
    } else {
        paintEmptyState(dc, width, height);
    }
    drawText(dc, formatResourceLine(ui().stats), {0, S(3), width - S(20), S(22)}, Font::Monospace,
             DIAGNOSTICS_TEXT, DT_RIGHT);
}

} // namespace

void paintWindow(HWND window) {
    PAINTSTRUCT paint = {};
    const HDC screen = BeginPaint(window, &paint);
    RECT client = {};
    GetClientRect(window, &client);
    const int width = std::max<int>(client.right, 1);
    const int height = std::max<int>(client.bottom, 1);
    if (screen && fitBuffer(screen, width, height)) {
        BackBuffer& buffer = backBuffer();
        RECT dirty = paint.rcPaint;
        if (buffer.paintAll || IsRectEmpty(&dirty)) dirty = {0, 0, width, height};
        buffer.paintAll = false;
        const HDC dc = buffer.dc.get();
        SaveDC(dc);
        IntersectClipRect(dc, dirty.left, dirty.top, dirty.right, dirty.bottom);
        paintClient(dc, width, height);
        RestoreDC(dc, -1);
        BitBlt(screen, dirty.left, dirty.top, dirty.right - dirty.left, dirty.bottom - dirty.top,
               dc, dirty.left, dirty.top, SRCCOPY);
    }
    EndPaint(window, &paint);
}

void releasePaintBuffers() {
    backBuffer() = {};
}

void repaintDiagnostics() {
    if (ui().fullscreen) return;
    RECT strip = {};
    GetClientRect(ui().window, &strip);
    strip.bottom = S(DIAGNOSTICS_STRIP);
    InvalidateRect(ui().window, &strip, FALSE);
}

void repaintTimeline() {
    if (ui().fullscreen) return;
    RECT strip = {};
    GetClientRect(ui().window, &strip);
    strip.top = strip.bottom - S(BELOW_VIDEO);
    InvalidateRect(ui().window, &strip, FALSE);
}

} // namespace velkantrix
