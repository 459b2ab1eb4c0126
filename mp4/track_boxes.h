// track_boxes.h: the boxes of one track, as far as a trak holds them (ISO/IEC 14496-12, 8.3
// and 8.4).
#pragma once

#include <cstdint>
#include <optional>

#include "mp4/byte_view.h"

namespace velkantrix {

// Of several boxes of a type the last counts. Views: who made the moov keeps the bytes.
struct TrackBoxes {
    std::uint32_t trackId = 0;
    std::uint32_t timescale = 0;      // ticks per second
    std::uint32_t soundTimescale = 0; // of sound, where a short mdhd counts as none
    bool isVideo = false, isSound = false;
    bool isTurned = false; // its matrix rotates or mirrors the picture
    std::optional<ByteView> stbl, elst;
    // Its boxes, and those of its mdia, minf and edts, fill what they lie in: none was missed
    // because one in front of it is broken off.
    bool regular = true;
};

TrackBoxes readTrackBoxes(ByteView trak);

// Of a moov's payload, ticks per second; 0 when there is no mvhd.
std::uint32_t movieTimescale(ByteView moov);

struct VideoTrackSearch {
    // The first of video that has a time scale, or the last of video when none has one.
    std::optional<TrackBoxes> track;
    bool moovRegular = true;  // the moov's own boxes fill it
    bool traksRegular = true; // TrackBoxes::regular of every trak, the found one's too
};

VideoTrackSearch findVideoTrack(ByteView moov);

} // namespace velkantrix
