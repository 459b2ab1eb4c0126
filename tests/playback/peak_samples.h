// peak_samples.h: samples of sound in and peaks out, for tests of the table of peaks.
#pragma once

#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "playback/peak_table.h"

namespace velkantrix {

using Samples = std::vector<std::int16_t>;

inline std::span<const std::byte> bytes(const Samples& samples) {
    return std::as_bytes(std::span(samples));
}

inline std::vector<float> taken(PeakTable& table) {
    std::vector<float> peaks;
    takePeaks(table, peaks);
    return peaks;
}

} // namespace velkantrix
