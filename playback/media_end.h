// media_end.h: when Media Foundation may be shut down. UI thread.
#pragma once

namespace velkantrix {

// At the end of the process, behind the engine's: ends all scans and the search for peaks, each
// waited for up to a second, as are the program's own media sources, and shuts Media Foundation
// down. False when a thread still reads: then it is left running, for that thread would lose the
// ground under its feet, and the process ends anyway.
bool endMedia();

} // namespace velkantrix
