#include "mp4/edit_list.h"

#include <algorithm>

namespace velkantrix {
namespace {

constexpr std::int64_t MOST = std::int64_t{1} << 61;

// duration * to / from, rounded to nearest, at most MOST.
std::int64_t rescaled(std::uint64_t duration, std::uint32_t from, std::uint32_t to) {
    if (from == 0 || to == 0) return 0;
    if (duration / from >= static_cast<std::uint64_t>(MOST) / to) return MOST;
    const std::uint64_t whole = duration / from * to;                    // at most MOST - to
    const std::uint64_t rest = (duration % from * to + from / 2) / from; // at most to
    return static_cast<std::int64_t>(whole + rest);
}

} // namespace

std::int64_t editListOffset(ByteView elst, std::uint32_t movieTimescale,
                            std::uint32_t trackTimescale) {
    const bool wide = elst.u8(0) == 1;
    const std::size_t fieldBytes = wide ? 8 : 4;
    const std::size_t entryBytes = 2 * fieldBytes + 4;
    std::uint64_t empty = 0;
    std::size_t position = 8;
    for (std::uint32_t left = elst.u32(4); left > 0 && elst.holds(position, entryBytes); --left) {
        const std::uint64_t duration = elst.unsignedField(position, fieldBytes);
        const std::int64_t mediaTime =
            wide ? static_cast<std::int64_t>(elst.u64(position + 8))
                 : std::int64_t{static_cast<std::int32_t>(elst.u32(position + 4))};
        if (mediaTime != -1) {
            return rescaled(empty, movieTimescale, trackTimescale) -
                   std::clamp(mediaTime, -MOST, MOST);
        }
        empty += std::min(duration, UINT64_MAX - empty);
        position += entryBytes;
    }
    return rescaled(empty, movieTimescale, trackTimescale);
}

} // namespace velkantrix
