// keyframe_table.h: the keyframes of a plain file's video track, from its sample tables.
#pragma once

#include <cstdint>

#include "mp4/byte_view.h"
#include "mp4/video_index.h"

namespace velkantrix {

// Reads the sample entry and appends one entry per sync sample to the track's table; `timescale`
// becomes the track's. Nothing is appended unless stss, stts, stsz, stsc and one of stco and co64
// are there. Times and offsets of samples that their tables don't reach are 0, but for the time
// right behind the last one, which is the total; the offset of a chunk that its box doesn't reach
// counts as 0. Takes time in proportion to the boxes. Throws
// std::bad_alloc.
void BuildKeyframeTable(ByteView stbl, std::uint32_t timescale, VideoTrackIndex& track);

} // namespace velkantrix
