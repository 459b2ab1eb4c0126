// track_count.h: the tracks that a file has by its moov (ISO/IEC 14496-12, 8.3): also those that
// readers don't offer, such as subtitles.
#pragma once

#include <optional>

#include "base/file_path.h"
#include "base/track_count.h"
#include "mp4/byte_view.h"

namespace velkantrix {

// Of a moov's payload.
TrackCount countTracks(ByteView moov);

// Absent when no moov can be read, or it has no track.
std::optional<TrackCount> countTracksOfFile(const FilePath& path);

} // namespace velkantrix
