// drawing_support.h: looking things up in a drawing.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <iterator>
#include <string>
#include <utility>
#include <variant>
#include <vector>

#include <gtest/gtest.h>

#include "app/drawing.h"

namespace velkantrix {

// As the system takes colours: red is the lowest byte.
constexpr std::uint32_t colour(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    return red | green << 8 | blue << 16;
}

template <class Item>
std::vector<Item> itemsOf(const Drawing& drawing) {
    std::vector<Item> items;
    for (const DrawItem& item : drawing) {
        if (const auto* const found = std::get_if<Item>(&item)) items.push_back(*found);
    }
    return items;
}

inline std::vector<std::wstring> textsOf(const Drawing& drawing) {
    std::vector<std::wstring> texts;
    for (const TextItem& item : itemsOf<TextItem>(drawing)) texts.push_back(item.text);
    return texts;
}

// The item of that text; one of no text when there is none.
inline TextItem textItem(const Drawing& drawing, const std::wstring& text) {
    for (const TextItem& item : itemsOf<TextItem>(drawing)) {
        if (item.text == text) return item;
    }
    return {};
}

template <class Item>
bool holds(const Drawing& drawing, const Item& wanted) {
    return std::ranges::find(drawing, DrawItem{wanted}) != drawing.end();
}

// The kind and the colour of each item, in the order of drawing; an icon has none.
inline std::vector<std::pair<std::string, std::uint32_t>> sequenceOf(const Drawing& drawing) {
    constexpr const char* KINDS[] = {"fill",    "outline", "line", "triangle",
                                     "rounded", "ellipse", "text", "icon"};
    static_assert(std::variant_size_v<DrawItem> == std::size(KINDS));
    std::vector<std::pair<std::string, std::uint32_t>> sequence;
    for (const DrawItem& item : drawing) {
        const std::uint32_t itemColour = std::visit(
            [](const auto& any) -> std::uint32_t {
                if constexpr (requires { any.colour; }) return any.colour;
                return 0;
            },
            item);
        sequence.emplace_back(KINDS[item.index()], itemColour);
    }
    return sequence;
}

// What the fills make of a point; 0 where there is none.
inline std::uint32_t filledColour(const Drawing& drawing, std::int32_t x, std::int32_t y) {
    std::uint32_t found = 0;
    for (const FillItem& item : itemsOf<FillItem>(drawing)) {
        const PixelRect& rect = item.rect;
        if (rect.left <= x && x < rect.right && rect.top <= y && y < rect.bottom)
            found = item.colour;
    }
    return found;
}

// Each length and each place of an item twice as large.
struct Doubling {
    static PixelRect of(const PixelRect& rect) {
        return {2 * rect.left, 2 * rect.top, 2 * rect.right, 2 * rect.bottom};
    }
    static PixelPoint of(const PixelPoint& point) { return {2 * point.x, 2 * point.y}; }

    DrawItem operator()(FillItem item) const {
        item.rect = of(item.rect);
        return item;
    }
    DrawItem operator()(OutlineItem item) const {
        item.rect = of(item.rect);
        item.width *= 2;
        return item;
    }
    DrawItem operator()(LineItem item) const {
        item.from = of(item.from);
        item.to = of(item.to);
        item.width *= 2;
        return item;
    }
    DrawItem operator()(TriangleItem item) const {
        for (PixelPoint& corner : item.corners) corner = of(corner);
        return item;
    }
    DrawItem operator()(RoundedItem item) const {
        item.rect = of(item.rect);
        item.corner *= 2;
        return item;
    }
    DrawItem operator()(EllipseItem item) const {
        item.rect = of(item.rect);
        return item;
    }
    DrawItem operator()(TextItem item) const {
        item.rect = of(item.rect);
        return item;
    }
    DrawItem operator()(const IconItem& item) const {
        return IconItem{2 * item.width, 2 * item.bottom, 2 * item.size, item.opacity};
    }
};

// Those items of the larger drawing that aren't their counterparts, doubled. They must be as many.
inline Drawing notDoubled(const Drawing& smaller, const Drawing& larger) {
    EXPECT_EQ(smaller.size(), larger.size());
    Drawing found;
    for (std::size_t i = 0; i < larger.size(); ++i) {
        if (i >= smaller.size() || std::visit(Doubling{}, smaller[i]) != larger[i])
            found.push_back(larger[i]);
    }
    return found;
}

} // namespace velkantrix
