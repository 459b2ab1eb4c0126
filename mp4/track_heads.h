// track_heads.h: what a file's tracks are, by the boxes' headers alone: some KB are read however
// long the moov is (ISO/IEC 14496-12, 8.3 and 8.4).
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <vector>

#include "mp4/box_walk.h"
#include "mp4/input_file.h"

namespace velkantrix {

struct TrackHead {
    std::uint32_t trackId = 0;             // 0: it has none
    BoxType handler = 0;                   // "vide", "soun", ...; 0: it has none
    std::uint32_t timescale = 0;           // ticks per second; 0: unknown
    std::optional<std::uint64_t> duration; // of its media, ticks; absent where it isn't said
    // Its elst's payload, of a long one the first MAX_HEAD_EDITS bytes; empty where it has none.
    // Its durations are the movie's ticks.
    std::vector<std::uint8_t> edits;
    std::uint32_t movieTimescale = 0;           // ticks per second; 0: unknown
    std::optional<std::uint64_t> movieDuration; // of the whole file; likewise
};

inline constexpr std::size_t MAX_HEAD_EDITS = 2048;

inline constexpr std::uint32_t MAX_HEAD_BOXES = 4096; // of the moov and what its tracks hold

// Of the file's moov, in its order. Absent when there is none, a read fails, or there are more
// boxes than are looked at. Behind a broken box nothing is looked at.
std::optional<std::vector<TrackHead>> readTrackHeads(const InputFile& file);

} // namespace velkantrix
