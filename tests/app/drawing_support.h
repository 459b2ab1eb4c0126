// drawing_support.h: looking things up in a drawing.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

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

} // namespace velkantrix
