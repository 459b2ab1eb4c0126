// keyframe_sample.h: one keyframe, ready for a decoder, fetched with as few reads as there can be.
#pragma once

#include <cstdint>
#include <vector>

#include "base/file_path.h"
#include "mp4/video_index.h"

namespace velkantrix {

struct KeyframeSample {
    std::vector<std::uint8_t> data; // Annex B byte stream, parameter sets first
    double timeSeconds = 0;         // the keyframe's time in the table
    bool ok = false;
    bool sync = false; // the file doesn't say that it is no keyframe
};

// The keyframe that FindKeyframeAtOrBefore names; where the file says that that sample is none, the
// nearest one in front of it in the table, within the limits of keyframe_look_back.h; where that
// finds none, the sample that is named, not marked as sync. The file is opened for this call only.
// Not ok when there is none, the track isn't H.264, or the sample is empty, longer than
// MAX_KEYFRAME_BYTES or can't be read.
KeyframeSample ReadKeyframeSample(const FilePath& path, const VideoTrackIndex& index,
                                  double seconds);

inline constexpr std::uint64_t MAX_KEYFRAME_BYTES = std::uint64_t{64} << 20;

} // namespace velkantrix
