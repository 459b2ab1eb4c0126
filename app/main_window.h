// main_window.h: the program's window. UI thread.
#pragma once

#include <windows.h>

namespace velkantrix {

inline constexpr const wchar_t* MAIN_WINDOW_CLASS = L"VelkantrixNative";
inline constexpr const wchar_t* TRANSPORT_CLASS = L"VelkantrixTransport";

inline constexpr UINT_PTR TICK_TIMER = 200;
inline constexpr UINT_PTR DIAGNOSTICS_TIMER = 201;

LRESULT CALLBACK mainWindowProcedure(HWND window, UINT message, WPARAM wide, LPARAM lng);
LRESULT CALLBACK transportProcedure(HWND window, UINT message, WPARAM wide, LPARAM lng);

// Shows and hides what the state of the edit shows and hides, and repaints.
void updateControls();

// The video is ready: its first picture is awaited.
void beginReveal();

} // namespace velkantrix
