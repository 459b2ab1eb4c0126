// settings.h: what is remembered from run to run, in the current user's registry: for each video
// its playhead, the window's geometry and the zoom; for all the window's placement, the volume and
// the recent files. UI thread.
//
// What can't be stored is forgotten, and what can't be read was never stored: nobody is told.
#pragma once

#include <windows.h>

#include <string>

namespace velkantrix {

// The name of a file's values: it is another one once the file has been changed.
[[nodiscard]] std::wstring fileStateKey(const std::wstring& path);

// All of the open video's state, under its file's key. Nothing without a video, nor for a file that
// can't be examined any more: its key would be that of every such file at that path.
void storeFileState();

// Each of it, under that key.
void storeFilePlayhead(const std::wstring& key);
void storeFileGeometry(const std::wstring& key);
void storeFileZoom(const std::wstring& key);

// False: nothing is stored, and nothing has been changed.
[[nodiscard]] bool loadFilePlayhead(double& seconds);
[[nodiscard]] bool loadFileGeometry(); // places the window; not in fullscreen
[[nodiscard]] bool loadFileZoom();     // whether the video was doubled

void forgetFileState(const std::wstring& key);

// The list is in ui().recentFiles; each change of it is stored.
void loadRecent();
void addRecent(const std::wstring& path);
void removeRecent(const std::wstring& path);
void clearRecent();

// At the start, and when the window goes.
[[nodiscard]] bool loadWindowPlacement(HWND window);
void storeWindowPlacement();
void loadVolume();
void storeVolume();

} // namespace velkantrix
