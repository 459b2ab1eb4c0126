#include "app/drawing_gdi.h"

#include "app/fonts.h"
#include "app/resource_ids.h"
#include "platform/gdi.h"

namespace velkantrix {
namespace {

RECT rectOf(const PixelRect& rect) {
    return {rect.left, rect.top, rect.right, rect.bottom};
}

// Loaded once for each size that is asked for in a row, and kept.
HICON programIcon(int size) {
    struct IconTraits {
        using Value = HICON;
        static Value none() { return nullptr; }
        static void close(Value icon) { DestroyIcon(icon); }
    };
    static UniqueHandle<IconTraits> icon;
    static int loaded = 0;
    if (!icon || loaded != size) {
        icon.reset(
            static_cast<HICON>(LoadImageW(GetModuleHandleW(nullptr), MAKEINTRESOURCEW(ICON_ID),
                                          IMAGE_ICON, size, size, LR_DEFAULTCOLOR)));
        loaded = size;
    }
    return icon.get();
}

class Gdi {
public:
    explicit Gdi(HDC dc) : dc_(dc) { SetBkMode(dc, TRANSPARENT); }

    void operator()(const FillItem& item) const {
        SetDCBrushColor(dc_, item.colour);
        const RECT rect = rectOf(item.rect);
        FillRect(dc_, &rect, stockBrush());
    }

    void operator()(const OutlineItem& item) const {
        const UniquePen pen(CreatePen(PS_SOLID, item.width, item.colour));
        const Selected withPen(dc_, pen.get());
        const Selected hollow(dc_, GetStockObject(NULL_BRUSH));
        Rectangle(dc_, item.rect.left, item.rect.top, item.rect.right, item.rect.bottom);
    }

    void operator()(const LineItem& item) const {
        const UniquePen pen(
            CreatePen(item.dotted ? PS_DOT : PS_SOLID, item.dotted ? 1 : item.width, item.colour));
        const Selected withPen(dc_, pen.get());
        MoveToEx(dc_, item.from.x, item.from.y, nullptr);
        LineTo(dc_, item.to.x, item.to.y);
    }

    void operator()(const TriangleItem& item) const {
        SetDCBrushColor(dc_, item.colour);
        const Selected withBrush(dc_, stockBrush());
        const Selected withoutPen(dc_, GetStockObject(NULL_PEN));
        POINT corners[3];
        for (std::size_t i = 0; i < item.corners.size(); ++i)
            corners[i] = {item.corners[i].x, item.corners[i].y};
        Polygon(dc_, corners, 3);
    }

    void operator()(const RoundedItem& item) const {
        const PenLikeBrush ink(dc_, item.colour);
        RoundRect(dc_, item.rect.left, item.rect.top, item.rect.right, item.rect.bottom,
                  item.corner, item.corner);
    }

    void operator()(const EllipseItem& item) const {
        const PenLikeBrush ink(dc_, item.colour);
        Ellipse(dc_, item.rect.left, item.rect.top, item.rect.right, item.rect.bottom);
    }

    void operator()(const TextItem& item) const {
        RECT rect = rectOf(item.rect);
        if (!RectVisible(dc_, &rect)) return; // not what is repainted
        UINT format = DT_SINGLELINE | DT_VCENTER | DT_NOPREFIX;
        if (item.align == TextAlign::Centre) format |= DT_CENTER;
        if (item.align == TextAlign::Right) format |= DT_RIGHT;
        if (item.ellipsis) format |= DT_END_ELLIPSIS;
        const Selected withFont(dc_, font(item.font));
        SetTextColor(dc_, item.colour);
        DrawTextW(dc_, item.text.c_str(), static_cast<int>(item.text.size()), &rect, format);
    }

    void operator()(const IconItem& item) const {
        const HICON icon = programIcon(item.size);
        if (!icon) return;
        const int left = (item.width - item.size) / 2;
        const int top = item.bottom - item.size;
        const UniqueMemoryDc layer(CreateCompatibleDC(dc_));
        const UniqueBitmap bitmap(CreateCompatibleBitmap(dc_, item.size, item.size));
        if (!layer || !bitmap) return;
        const Selected withBitmap(layer.get(), bitmap.get());
        BitBlt(layer.get(), 0, 0, item.size, item.size, dc_, left, top, SRCCOPY);
        DrawIconEx(layer.get(), 0, 0, icon, item.size, item.size, 0, nullptr, DI_NORMAL);
        AlphaBlend(dc_, left, top, item.size, item.size, layer.get(), 0, 0, item.size, item.size,
                   {AC_SRC_OVER, 0, item.opacity, 0});
    }

private:
    // An outline of the filling's colour: without a pen GDI leaves out the last column and row.
    class PenLikeBrush {
    public:
        PenLikeBrush(HDC dc, COLORREF colour)
            : pen_(dc, GetStockObject(DC_PEN)), brush_(dc, stockBrush()) {
            SetDCPenColor(dc, colour);
            SetDCBrushColor(dc, colour);
        }

    private:
        Selected pen_;
        Selected brush_;
    };

    static HBRUSH stockBrush() { return static_cast<HBRUSH>(GetStockObject(DC_BRUSH)); }

    HDC dc_;
};

} // namespace

void carryOut(HDC dc, const Drawing& drawing) {
    const Gdi gdi(dc);
    for (const DrawItem& item : drawing) std::visit(gdi, item);
}

} // namespace velkantrix
