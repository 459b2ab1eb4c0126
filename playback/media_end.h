// media_end.h: when Media Foundation may be shut down. UI thread.
#pragma once

namespace velkantrix {

// At the end of the process: ends all scans and the search for peaks, each waited for up to a
// second, and shuts Media Foundation down. False when a thread still reads: then it is left
// running, for that thread would lose the ground under its feet, and the process ends anyway.
bool endMedia();

} // namespace velkantrix
