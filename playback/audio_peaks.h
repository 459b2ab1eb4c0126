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

inline constexpr std::uint32_t LONGEST_PEAKS_WAIT = 1000; // milliseconds

// Begins the analysis of a source of `duration` seconds; without a duration above 0, or without
// memory, there are no peaks. An earlier worker is stopped and waited for, so many milliseconds at
// most.
void startAudioPeaks(const std::wstring& path, double duration,
                     std::uint32_t longestWait = LONGEST_PEAKS_WAIT);

// The peaks are forgotten at once and their worker is told to stop: it does when what it reads just
// now is there. Waits for nothing.
void stopAudioPeaks();

// An analysis has been started, and not been stopped; it may be complete.
[[nodiscard]] bool audioPeaksStarted();

// The peaks of the buckets that are complete, from the first on. Stay until the next call.
[[nodiscard]] std::span<const float> validAudioPeaks();

// Another one for each analysis, and after each stop.
[[nodiscard]] std::uint32_t peakGeneration();

// Another one whenever the peaks are others; 0 while there are none. Whoever keeps a picture of
// them asks for it first, and for the peaks then.
[[nodiscard]] std::uint64_t peaksVersion();

// A worker still runs, be it one that isn't waited for any more.
[[nodiscard]] bool audioPeaksRun();

// At the end of the window, of the process, and before the file is replaced: the peaks are
// forgotten, and their worker is stopped and waited for, so many milliseconds at most, unless that
// has been done. Whether no worker runs any more, be it an earlier one. While one does, it may hold
// the file open: Media Foundation must not be shut down, and the file not be replaced. When none
// does, the program's own source may still be closing it (held_files.h).
[[nodiscard]] bool endAudioPeaks(std::uint32_t longestWait = LONGEST_PEAKS_WAIT);

} // namespace velkantrix
