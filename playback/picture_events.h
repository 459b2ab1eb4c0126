// picture_events.h: what the engine's events do to the picture. The engine's own thread runs these.
#pragma once

#include "playback/picture_control.h"

namespace velkantrix {

// The metadata is there: the file can be played. True when that ends the opening, so that the
// window is to be told; false when it failed before, or is long open.
[[nodiscard]] bool metadataArrived(PictureControl& c) EXCLUDES(c.controlLock);

// The engine really plays now. A seek that was asked for just before is told again: engines forget
// it.
void playingBegan(PictureControl& c) EXCLUDES(c.controlLock);

// The end of the file. False when no file is ready: then there is nothing to tell.
[[nodiscard]] bool endReached(PictureControl& c) EXCLUDES(c.controlLock);

} // namespace velkantrix
