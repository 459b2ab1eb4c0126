// timeline_paint.h: draws the window's own client area: everything but the video and the transport
// bar. UI thread.
#pragma once

#include <windows.h>

namespace velkantrix {

// For WM_PAINT.
void paintWindow(HWND window);

// Before the window goes: the back buffer.
void releasePaintBuffers();

// Asks for a paint of the strip with the diagnostics line.
void repaintDiagnostics();

// Asks for a paint of what changes with the time: timeline and texts, not the video's surroundings.
void repaintTimeline();

} // namespace velkantrix
