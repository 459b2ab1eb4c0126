// logs.h: two optional text files that trace what the engine says and what is shown.
//
// VELKANTRIX_ENGLOG=1 writes engine.log, VELKANTRIX_PRESENTLOG=1 present.log, each in the current
// folder, each with the seconds since its first line. Whether to write is decided once per process.
#pragma once

#include <windows.h>

#include "playback/presenter_step.h"

namespace velkantrix {

// By the engine's thread only.
void logEngineEvent(DWORD event, DWORD_PTR param1, DWORD param2);

// By the presenter thread only. `engineTime` in seconds.
void logPresent(const PresentRecord& record, double engineTime);
[[nodiscard]] bool presentsAreLogged();

} // namespace velkantrix
