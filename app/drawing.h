// drawing.h: what a window shows, as a list of things to be drawn one over the other. It is made by
// code that knows no system, and carried out by code that knows nothing else.
//
// Pixels of the window; colours as in palette.h.
#pragma once

#include <array>
#include <cstdint>
#include <string>
#include <variant>
#include <vector>

#include "edit/clip_geometry.h"

namespace velkantrix {

enum class Font { Heading, Monospace, Text, Hero, Icons };
enum class TextAlign { Left, Centre, Right };

struct PixelPoint {
    std::int32_t x = 0;
    std::int32_t y = 0;
    bool operator==(const PixelPoint&) const = default;
};

struct FillItem {
    PixelRect rect;
    std::uint32_t colour = 0;
    bool operator==(const FillItem&) const = default;
};

struct OutlineItem {
    PixelRect rect;
    std::uint32_t colour = 0;
    std::int32_t width = 1;
    bool operator==(const OutlineItem&) const = default;
};

struct LineItem {
    PixelPoint from;
    PixelPoint to;
    std::uint32_t colour = 0;
    std::int32_t width = 1;
    bool dotted = false;
    bool operator==(const LineItem&) const = default;
};

// Filled, without an outline.
struct TriangleItem {
    std::array<PixelPoint, 3> corners;
    std::uint32_t colour = 0;
    bool operator==(const TriangleItem&) const = default;
};

// Filled, without an outline, each corner a quarter of a circle of this diameter.
struct RoundedItem {
    PixelRect rect;
    std::uint32_t colour = 0;
    std::int32_t corner = 0;
    bool operator==(const RoundedItem&) const = default;
};

// Filled, without an outline.
struct EllipseItem {
    PixelRect rect;
    std::uint32_t colour = 0;
    bool operator==(const EllipseItem&) const = default;
};

// On one line, in the middle of the rectangle's height, nothing in it underlined.
struct TextItem {
    std::wstring text;
    PixelRect rect;
    std::uint32_t colour = 0;
    Font font = Font::Text;
    TextAlign align = TextAlign::Left;
    bool ellipsis = false; // for what doesn't fit
    bool operator==(const TextItem&) const = default;
};

// The program's icon, in the middle of `width` pixels from the window's left edge.
struct IconItem {
    std::int32_t width = 0;
    std::int32_t bottom = 0;
    std::int32_t size = 0;
    std::uint8_t opacity = 255;
    bool operator==(const IconItem&) const = default;
};

using DrawItem = std::variant<FillItem, OutlineItem, LineItem, TriangleItem, RoundedItem,
                              EllipseItem, TextItem, IconItem>;
using Drawing = std::vector<DrawItem>;

} // namespace velkantrix
