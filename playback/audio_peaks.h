// audio_peaks.h: the peaks of the open video's sound, found by a worker thread while it plays. All
// functions are the UI thread's. Media Foundation must have been started.
//
// Each analysis has a table and a generation of its own: a worker that a slow server keeps from
// ending can't spoil what the next one finds.
#pragma once

#include <cstdint>
#include <span>
#include <string>

namespace velkantrix {

// Begins the analysis of a source of `duration` seconds; without a duration above 0 there are no
// peaks. An earlier worker is stopped and waited for, up to a second.
void startAudioPeaks(const std::wstring& path, double duration);

// The peaks are forgotten at once and their worker is told to stop: it does when what it reads just
// now is there. Waits for nothing.
void stopAudioPeaks();

// An analysis has been started, and not been stopped; it may be complete.
[[nodiscard]] bool audioPeaksStarted();

// The peaks of the buckets that are complete, from the first on. Stay until the next call.
[[nodiscard]] std::span<const float> validAudioPeaks();

// Another one for each analysis, and after each stop.
[[nodiscard]] std::uint32_t peakGeneration();

// A worker still runs, be it one that isn't waited for any more.
[[nodiscard]] bool audioPeaksRun();

// At the end of the window, and of the process: stops the worker and waits for it, up to a second,
// unless that has been done. While one still runs, Media Foundation must not be shut down.
void endAudioPeaks();

} // namespace velkantrix
