// paint_layer.h: a picture in memory of a window's size, that is drawn first and then copied, so
// that the window never flickers. UI thread.
#pragma once

#include <windows.h>

#include "platform/gdi.h"

namespace velkantrix {

// The dc goes before the bitmap, which can't be deleted while a dc has it.
struct PaintLayer {
    PaintLayer() = default;
    PaintLayer(PaintLayer&&) = default;
    PaintLayer& operator=(PaintLayer&&) = default; // in this order
    ~PaintLayer() { dc.reset(); }

    UniqueMemoryDc dc;
    UniqueBitmap bitmap;
    int width = 0;
    int height = 0;
};

// Made anew, and black, when the size has changed. False: there is none, memory is short.
[[nodiscard]] bool fitPaintLayer(HDC screen, PaintLayer& layer, int width, int height);

} // namespace velkantrix
