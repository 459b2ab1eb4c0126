// sample_budget.h: how much the samples of a file may have in all, so that a broken one costs no
// more than its length.
#pragma once

#include <cstdint>
#include <limits>

#include "mp4/input_file.h"

namespace velkantrix {

// Bytes of samples that may be handed out between two seeks, for each byte of the file. Real
// samples lie side by side, or are used a few times over; in a broken file thousands may each claim
// all of it.
inline constexpr std::uint64_t MAX_SAMPLE_BYTES_PER_FILE_BYTE = 4;

// What samples may have in all between two seeks, in bytes.
inline std::uint64_t mostSampleBytesBetweenSeeks(const InputFile& file) {
    constexpr std::uint64_t MOST = std::numeric_limits<std::uint64_t>::max();
    const bool fits = file.size <= MOST / MAX_SAMPLE_BYTES_PER_FILE_BYTE;
    return fits ? file.size * MAX_SAMPLE_BYTES_PER_FILE_BYTE : MOST;
}

} // namespace velkantrix
