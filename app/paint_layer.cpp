#include "app/paint_layer.h"

namespace velkantrix {

bool fitPaintLayer(HDC screen, PaintLayer& layer, int width, int height) {
    if (layer.dc && width == layer.width && height == layer.height) return true;
    layer = {};
    layer.dc.reset(CreateCompatibleDC(screen));
    layer.bitmap.reset(CreateCompatibleBitmap(screen, width, height));
    if (!layer.dc || !layer.bitmap) {
        layer = {};
        return false;
    }
    SelectObject(layer.dc.get(), layer.bitmap.get());
    PatBlt(layer.dc.get(), 0, 0, width, height, BLACKNESS);
    layer.width = width;
    layer.height = height;
    return true;
}

} // namespace velkantrix
