// main_window.h: the program's window. UI thread.
#pragma once

#include <windows.h>

namespace velkantrix {

inline constexpr const wchar_t* MAIN_WINDOW_CLASS = L"VelkantrixNative";
inline constexpr const wchar_t* TRANSPORT_CLASS = L"VelkantrixTransport";

void registerWindowClasses(HINSTANCE instance);

// Hidden yet; null when it can't be.
[[nodiscard]] HWND createMainWindow(HINSTANCE instance);

// Shows and hides what the state of the edit shows and hides, and repaints.
void updateControls();

} // namespace velkantrix
