// timeline_messages.h: the main window's messages that come from the mouse, the menus and the field
// for names. UI thread.
#pragma once

#include <windows.h>

namespace velkantrix {

// As a window procedure does: what is none of these goes to the system's own.
LRESULT onTimelineMessage(HWND window, UINT message, WPARAM wide, LPARAM lng);

} // namespace velkantrix
