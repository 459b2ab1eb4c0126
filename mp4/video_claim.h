// video_claim.h: how far a file's first video track and its sound go by its boxes.
#pragma once

#include <functional>

#include "base/file_path.h"
#include "base/video_claim.h"

namespace velkantrix {

// All of it absent of a file that isn't MP4, can't be read, or is too large for the memory. Reads
// the tables, and of a fragmented file that lacks one the headers of all its fragments: not
// to the end once `cancelled`, which may be empty, says so.
VideoClaim readVideoClaim(const FilePath& path, const std::function<bool()>& cancelled = nullptr);

} // namespace velkantrix
