// track_count.h: the tracks that a file has by its moov: also those that readers don't offer, such
// as subtitles.
#pragma once

#include <optional>

#include "base/file_path.h"
#include "base/track_count.h"

namespace velkantrix {

// Absent when it can't be told, or there is no track. Takes some reads of a few bytes.
std::optional<TrackCount> countTracksOfFile(const FilePath& path);

} // namespace velkantrix
