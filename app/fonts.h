// fonts.h: the window's five fonts. UI thread.
#pragma once

#include <windows.h>

#include "app/drawing.h"

namespace velkantrix {

// Made for the window's dpi at first use, all together; owned here, valid until deleteFonts.
[[nodiscard]] HFONT font(Font which);

// Before the window goes, and when its dpi changes: the next use makes them anew.
void deleteFonts();

} // namespace velkantrix
