// save_in_place_files.h: saves in the real world: the file system's and the boxes' part of
// SaveHost. UI thread.
#pragma once

#include <windows.h>

namespace velkantrix {

// Fills saveHost(), for saves of this window, and jobHost() with what jobs ask of them: all but
// what the engine and the settings are asked.
void bindSaveFiles(HWND window);

// With the window: empties saveHost(). No job runs.
void unbindSaveFiles();

} // namespace velkantrix
