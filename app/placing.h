// placing.h: puts the window and its children where app/layout says. UI thread.
#pragma once

#include <windows.h>

namespace velkantrix {

// Nothing while the window is minimised.
void layOut();

// Gives the window the video's size, or twice that. Not when it is maximised or fullscreen, nor
// while the video's size isn't known; one that is minimised gets it when it is restored.
void sizeWindowToVideo();

// The window has come to a monitor of another scale, or its monitor has got one: it takes the place
// that the system suggests, if it does, or goes on covering the monitor.
void followDpi(int dpi, const RECT* suggested);

// The very first start: in the middle of the primary monitor.
void placeWindowFirst();

// Puts the window where it stood before, and shows it; one that is minimised stays so until it is
// restored. False: the system wouldn't.
[[nodiscard]] bool applyPlacement(HWND window, WINDOWPLACEMENT placement);

// Only with a video, or to leave it.
void toggleFullscreen();

} // namespace velkantrix
