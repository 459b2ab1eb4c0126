// track_count.h: how many tracks a file has, of which kinds.
#pragma once

#include <cstdint>

namespace velkantrix {

struct TrackCount {
    std::uint32_t all = 0; // those of other kinds as well: subtitles, chapters, data
    std::uint32_t video = 0;
    std::uint32_t sound = 0;

    bool operator==(const TrackCount&) const = default;
};

} // namespace velkantrix
