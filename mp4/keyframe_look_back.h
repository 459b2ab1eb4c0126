// keyframe_look_back.h: where decoding can begin when the table names a sample that is no keyframe.
// ffmpeg's has an entry for each fragment, also for those that begin in the middle of a group of
// pictures.
#pragma once

#include <algorithm>
#include <cstddef>
#include <cstdint>

#include "mp4/box_walk.h"
#include "mp4/random_access.h"

namespace velkantrix {

inline constexpr std::size_t MAX_ENTRIES_BACK = 64;
inline constexpr std::uint64_t MAX_BYTES_BACK = std::uint64_t{8} << 20; // of their moofs

// Calls visitor(const RandomAccessEntry&, const FileBox& moof) for the entries in front of `named`,
// which is one of `table`, the nearest first, until it returns true or a limit is reached. Entries
// that lead to no moof are passed over. `fileEnd` is where a box of size 0 ends.
template <class Visitor>
void lookBackFrom(const RandomAccessEntry& named, const RandomAccessTable& table,
                  const InputFile& file, std::uint64_t fileEnd, Visitor&& visitor) {
    const auto place = static_cast<std::size_t>(&named - table.data());
    std::uint64_t bytesLeft = MAX_BYTES_BACK;
    for (std::size_t back = 1; back <= std::min(place, MAX_ENTRIES_BACK); ++back) {
        const RandomAccessEntry& entry = table[place - back];
        const auto box = readBoxHeader(file, entry.offset, fileEnd);
        if (!box || box->type != boxType("moof") || !box->holdsItsHeader()) continue;
        if (box->size > bytesLeft) return;
        bytesLeft -= box->size;
        if (visitor(entry, *box)) return;
    }
}

} // namespace velkantrix
