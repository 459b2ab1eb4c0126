// fonts.h: the window's five fonts. UI thread.
#pragma once

#include <windows.h>

#include <string>

#include "app/drawing.h"

namespace velkantrix {

// Made for the window's dpi at first use, all together; owned here, valid until deleteFonts.
[[nodiscard]] HFONT font(Font which);

// The preferred face where the system has it, in whatever letter case, else the other.
[[nodiscard]] std::wstring chooseFace(const wchar_t* preferred, const wchar_t* fallback);

// Before the window goes, and when its dpi changes: the next use makes them anew.
void deleteFonts();

} // namespace velkantrix
