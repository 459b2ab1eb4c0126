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
inline constexpr std::uint32_t MENU_BAR = rgb(21, 20, 15); // and the line under it
inline constexpr std::uint32_t MENU_HOT_ITEM = rgb(48, 40, 32);
inline constexpr std::uint32_t MENU_TEXT = rgb(237, 235, 226);
inline constexpr std::uint32_t MENU_INACTIVE_TEXT = rgb(154, 148, 138);
inline constexpr std::uint32_t MENU_DISABLED_TEXT = rgb(110, 105, 96);
inline constexpr std::uint32_t LOADING_CARD = rgb(0, 0, 0);

// The timeline.
inline constexpr std::uint32_t TRACK = rgb(18, 17, 13);
inline constexpr std::uint32_t CLIP = rgb(38, 36, 30);
inline constexpr std::uint32_t SELECTED_CLIP = rgb(58, 30, 26);
inline constexpr std::uint32_t CLIP_EDGE = rgb(74, 70, 60);
inline constexpr std::uint32_t CLIP_TEXT = rgb(224, 220, 208);
inline constexpr std::uint32_t WAVE = rgb(80, 76, 66);
inline constexpr std::uint32_t SELECTED_WAVE = rgb(150, 140, 120);
inline constexpr std::uint32_t EDGE_BAR = rgb(198, 190, 175);
inline constexpr std::uint32_t SELECTED_CUT = rgb(248, 246, 240);
inline constexpr std::uint32_t FADE_SHADE = rgb(16, 15, 11);
inline constexpr std::uint32_t FADE_TEXT = rgb(196, 190, 176);
inline constexpr std::uint32_t TIP = rgb(40, 38, 30); // and what an export hasn't done yet
inline constexpr std::uint32_t FIELD = rgb(46, 34, 30);
inline constexpr std::uint32_t TIP_TEXT = rgb(232, 228, 218);

// The transport bar.
inline constexpr std::uint32_t TRANSPORT = rgb(22, 21, 16);
inline constexpr std::uint32_t HOVERED_CONTROL = rgb(44, 41, 33);
inline constexpr std::uint32_t PRESSED_CONTROL = rgb(60, 55, 45);
inline constexpr std::uint32_t CONTROL_FACE = rgb(237, 235, 226);
inline constexpr std::uint32_t DISABLED_FACE = rgb(110, 105, 96);
inline constexpr std::uint32_t SEPARATOR_LINE = rgb(60, 57, 49);
inline constexpr std::uint32_t SLIDER_TRACK = rgb(60, 57, 49);
inline constexpr std::uint32_t MUTED_KNOB = rgb(120, 114, 104);
inline constexpr std::uint32_t TOOLTIP = rgb(28, 25, 20);
inline constexpr std::uint32_t TOOLTIP_TEXT = rgb(237, 235, 226);

} // namespace velkantrix
