// track_look.h: what an MP4 file's boxes say of how its first video track is shown. Wine 10's
// source leaves it out of its media type.
#pragma once
#include "../common/colour.h"
#include <cstdint>
#include <windows.h>

namespace rig {

struct TrackLook {
    uint32_t rotation = 0; // degrees counter-clockwise by which the content was turned
    Colours colours;
};

// Nothing stated where the file can't be read.
TrackLook lookOfVideo(const wchar_t* path);

} // namespace rig
