// fonts.h: the window's five fonts. UI thread.
#pragma once

#include <windows.h>

namespace velkantrix {

enum class Font { Heading, Monospace, Text, Hero, Icons };

// Made for the window's dpi at first use, all together; owned here, valid until deleteFonts.
[[nodiscard]] HFONT font(Font which);

// Before the window goes, and when its dpi changes: the next use makes them anew.
void deleteFonts();

} // namespace velkantrix
