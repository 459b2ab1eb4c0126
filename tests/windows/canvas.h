// canvas.h: a bitmap like the screen's, with what is drawn into it read back.
#pragma once

#include <windows.h>

#include <algorithm>
#include <vector>

#include "platform/gdi.h"

namespace velkantrix {

using Pixels = std::vector<COLORREF>; // of a rectangle, row by row

class Canvas {
public:
    Canvas(int width, int height, COLORREF colour) : width_(width), height_(height) {
        const ScreenDc screen;
        dc_.reset(CreateCompatibleDC(screen.get()));
        bitmap_.reset(CreateCompatibleBitmap(screen.get(), width, height));
        SelectObject(dc(), bitmap_.get());
        fill(colour);
    }
    ~Canvas() { dc_.reset(); } // before the bitmap, which can't go while the dc has it
    Canvas(const Canvas&) = delete;
    Canvas& operator=(const Canvas&) = delete;

    [[nodiscard]] HDC dc() const { return dc_.get(); }

    void fill(COLORREF colour) const {
        const RECT all = {0, 0, width_, height_};
        SetDCBrushColor(dc(), colour);
        FillRect(dc(), &all, static_cast<HBRUSH>(GetStockObject(DC_BRUSH)));
    }

    [[nodiscard]] COLORREF at(int x, int y) const { return GetPixel(dc(), x, y); }

    [[nodiscard]] Pixels in(const RECT& rect) const {
        Pixels pixels;
        for (int y = rect.top; y < rect.bottom; ++y)
            for (int x = rect.left; x < rect.right; ++x) pixels.push_back(at(x, y));
        return pixels;
    }
    [[nodiscard]] Pixels all() const { return in({0, 0, width_, height_}); }

    // The bounds of what hasn't that colour; of nothing they are empty.
    [[nodiscard]] RECT boundsOfOther(COLORREF colour) const {
        RECT bounds = {width_, height_, 0, 0};
        for (int y = 0; y < height_; ++y) {
            for (int x = 0; x < width_; ++x) {
                if (at(x, y) == colour) continue;
                bounds = {std::min<LONG>(bounds.left, x), std::min<LONG>(bounds.top, y),
                          std::max<LONG>(bounds.right, x + 1),
                          std::max<LONG>(bounds.bottom, y + 1)};
            }
        }
        return bounds;
    }

private:
    int width_;
    int height_;
    UniqueBitmap bitmap_;
    UniqueMemoryDc dc_;
};

} // namespace velkantrix
