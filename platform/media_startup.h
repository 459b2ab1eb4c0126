// media_startup.h: Media Foundation's start, once per process.
#pragma once

#include <windows.h>

namespace velkantrix {

// Starts Media Foundation when no call has done so yet; later calls return the first one's result.
// May be called by any thread; a second caller waits for the first. The calling thread needs no
// apartment.
[[nodiscard]] HRESULT startMedia();

// Shuts Media Foundation down if startMedia() started it. Once, at the end of the process, when no
// thread uses media any more.
void stopMedia();

} // namespace velkantrix
