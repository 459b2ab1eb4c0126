// palette.h: the colours of the window, by what they are for. Dark, whatever the system's theme.
#pragma once

#include <cstdint>

namespace velkantrix {

// As the system's COLORREF: blue, green and red from the top, eight bits each.
constexpr std::uint32_t rgb(std::uint32_t red, std::uint32_t green, std::uint32_t blue) {
    return red | green << 8 | blue << 16;
}

inline constexpr std::uint32_t BACKGROUND = rgb(22, 21, 16);
inline constexpr std::uint32_t BAR = rgb(30, 28, 22);
inline constexpr std::uint32_t BAR_EDGE = rgb(51, 49, 42);
inline constexpr std::uint32_t ACCENT = rgb(226, 91, 69);
inline constexpr std::uint32_t PRIMARY_TEXT = rgb(237, 235, 226);
inline constexpr std::uint32_t SECONDARY_TEXT = rgb(154, 148, 138);
inline constexpr std::uint32_t FAINT_TEXT = rgb(110, 105, 96);
inline constexpr std::uint32_t DIAGNOSTICS_TEXT = rgb(168, 162, 148);
inline constexpr std::uint32_t TITLE_BAR = rgb(21, 20, 15);
inline constexpr std::uint32_t TITLE_TEXT = rgb(237, 235, 226);
inline constexpr std::uint32_t LOADING_CARD = rgb(0, 0, 0);

} // namespace velkantrix
