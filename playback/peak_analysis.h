// peak_analysis.h: the reading of a source's sound from its start to its end, for its table of
// peaks. The worker thread of an analysis runs it.
#pragma once

#include <cstdint>
#include <functional>

#include "playback/peak_table.h"

namespace velkantrix {

// How often a source is read: a reader that never comes to an end doesn't keep the thread for good.
inline constexpr std::int32_t MOST_PEAK_READS = 20'000'000;

// What one read has come to. What it brought has been added by then.
enum class PeakRead { GoesOn, Ended, Failed };

struct PeakSource {
    std::function<bool()> isWanted; // false: another analysis has been started, or none is wanted
    std::function<PeakRead(PeakFiller& filler)> readNext;
};

// Reads until the sound ends, a read fails, or nobody wants it any more. Only the first completes
// the table: otherwise it stays as far as it got.
void analysePeaks(PeakFiller& filler, const PeakSource& source);

} // namespace velkantrix
