// plain_file.h: a plain recording around given sample tables.
#pragma once

#include <cstdint>

#include "tests/support/box_builder.h"
#include "tests/support/mp4_boxes.h"

namespace velkantrix {

// `stbl` are the children of the video track's; the track is number 3 and has time scale 600, the
// movie 1000. Offsets in the tables are the test's affair: there is no mdat.
inline Bytes plainFile(const Bytes& stbl, const Bytes& edts = {}) {
    return join({ftyp(), box("moov", join({mvhd(1000), trak(3, 600, "vide", stbl, edts)}))});
}

} // namespace velkantrix
