// paint_fixture.h: the main window on the screen, and what is seen of it.
#pragma once

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/drawing_gdi.h"
#include "tests/windows/canvas.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {

inline constexpr COLORREF BACK = RGB(22, 21, 16);
inline constexpr COLORREF BAR_FILL = RGB(30, 28, 22);
inline constexpr COLORREF BAR_LINE = RGB(51, 49, 42);
inline constexpr COLORREF TRACK_FILL = RGB(18, 17, 13);
inline constexpr COLORREF BLOCK = RGB(38, 36, 30);
inline constexpr COLORREF SELECTED_BLOCK = RGB(58, 30, 26);
inline constexpr COLORREF ORANGE = RGB(226, 91, 69);
inline constexpr COLORREF SOFT = RGB(154, 148, 138);
inline constexpr COLORREF BRIGHT = RGB(248, 246, 240);
inline constexpr COLORREF EDGE = RGB(198, 190, 175);
inline constexpr COLORREF BOX = RGB(40, 38, 30);

// A client area of 1320 by 820, with the track at 28..1292 and 606..706.
class WindowPaint : public WindowTest {
protected:
    WindowPaint() {
        changeDpi(96, {0, 0, 1400, 900});
        fitClient(1320, 820);
        ShowWindow(window, SW_SHOWNOACTIVATE);
    }

    void fitClient(LONG width, LONG height) const {
        RECT client = {};
        GetClientRect(window, &client);
        const RECT outer = place();
        SetWindowPos(window, nullptr, 0, 0, outer.right - outer.left - client.right + width,
                     outer.bottom - outer.top - client.bottom + height,
                     SWP_NOZORDER | SWP_NOACTIVATE);
        GetClientRect(window, &client);
        EXPECT_EQ(client.right, width);
        EXPECT_EQ(client.bottom, height);
    }

    // Two clips of the same length, the second one selected.
    static void loadTwoClips() {
        startEdit(10);
        splitClip(0, 5);
        ui().firstFrameShown = true;
    }

    void paint() const {
        InvalidateRect(window, nullptr, FALSE);
        UpdateWindow(window);
    }

    [[nodiscard]] COLORREF at(int x, int y) const {
        const HDC dc = GetDC(window);
        const COLORREF colour = GetPixel(dc, x, y);
        ReleaseDC(window, dc);
        return colour;
    }

    [[nodiscard]] Pixels in(const RECT& rect) const {
        const Canvas copy(rect.right - rect.left, rect.bottom - rect.top, 0);
        const HDC dc = GetDC(window);
        BitBlt(copy.dc(), 0, 0, rect.right - rect.left, rect.bottom - rect.top, dc, rect.left,
               rect.top, SRCCOPY);
        ReleaseDC(window, dc);
        return copy.all();
    }

    // What a drawing looks like there, on a window of that size.
    static Pixels pictureOf(const Drawing& drawing, const RECT& rect) {
        const Canvas canvas(1320, 820, BACK);
        carryOut(canvas.dc(), drawing);
        return canvas.in(rect);
    }

    void expectPicture(const Drawing& drawing, const RECT& rect) const {
        const Pixels expected = pictureOf(drawing, rect);
        EXPECT_THAT(expected,
                    testing::Contains(testing::Ne(expected.front()))); // it shows something
        EXPECT_EQ(in(rect), expected);
    }
};

} // namespace velkantrix
