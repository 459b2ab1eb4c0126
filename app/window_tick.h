// window_tick.h: what the main window does as time goes on. UI thread.
#pragma once

#include <windows.h>

namespace velkantrix {

inline constexpr UINT_PTR TICK_TIMER = 200;
inline constexpr UINT_PTR DIAGNOSTICS_TIMER = 201;

void onTimer(UINT_PTR timer);

void setTickPeriod(UINT milliseconds);

// For what is about to play or to show its picture. While a job runs the tick keeps the job's.
void hurryTick();

// The video is ready: its first picture is awaited.
void beginReveal();

} // namespace velkantrix
