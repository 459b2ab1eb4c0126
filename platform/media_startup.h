// media_startup.h: Media Foundation's start, once per process.
#pragma once

#include <windows.h>

namespace velkantrix {

// What is to be registered with Media Foundation when it has started. A failure of it leaves what
// the system has.
using MediaRegistration = HRESULT (*)();

// Starts Media Foundation when no call has done so yet, and then registers; later calls return the
// first one's result. May be called by any thread; a second caller waits for the first. The calling
// thread needs no apartment.
[[nodiscard]] HRESULT startMedia(MediaRegistration registration = nullptr);

// Shuts Media Foundation down if startMedia() started it. Once, at the end of the process, when no
// thread uses media any more.
void stopMedia();

} // namespace velkantrix
