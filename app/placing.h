// placing.h: puts the window and its children where app/layout says. UI thread.
#pragma once

namespace velkantrix {

// Nothing while the window is minimised.
void layOut();

// Gives the window the video's size, or twice that. Not when it is maximised or fullscreen, nor
// while the video's size isn't known.
void sizeWindowToVideo();

// The very first start: in the middle of the primary monitor.
void placeWindowFirst();

// Only with a video, or to leave it.
void toggleFullscreen();

} // namespace velkantrix
