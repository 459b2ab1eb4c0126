// dark_mode.h: makes what the system draws of the window dark. Systems that can't leave it as it
// is.
#pragma once

#include <windows.h>

namespace velkantrix {

// Before any menu is shown.
void darkenMenus();

void darkenTitleBar(HWND window);

} // namespace velkantrix
