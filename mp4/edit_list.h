// edit_list.h: where a track's edit list puts it on the movie's time line (ISO/IEC
// 14496-12, 8.6.6).
#pragma once

#include <cstdint>

#include "mp4/byte_view.h"

namespace velkantrix {

// What has to be added to a composition time to get the time at which it is presented, in ticks of
// the track: the empty edits in front of the first other one, less the media time at which that one
// starts. Edits behind it aren't looked at. 0 for an empty list; each of the two parts is kept
// within 2^61 either way.
std::int64_t editListOffset(ByteView elst, std::uint32_t movieTimescale,
                            std::uint32_t trackTimescale);

// How many of the media's ticks all of its edits present, at most; those of an empty list all. An
// edit of no length goes to the media's end. 0 where the list is broken off: it may say anything.
std::uint64_t presentedTicks(ByteView elst, std::uint32_t movieTimescale,
                             std::uint32_t trackTimescale, std::uint64_t mediaTicks);

} // namespace velkantrix
