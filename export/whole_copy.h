// whole_copy.h: whether all that was asked for has come out. A source may end early without an
// error; what then is written replaces the original only when the user says so.
#pragma once

#include <vector>

#include "base/video_claim.h"
#include "export/export_request.h"

namespace velkantrix {

// Whether each span was written up to its end, or to that of the video, which is where `claim`
// says, or else at `duration`; and its sound likewise, as far as that is claimed. Of each a second
// may be missing. `duration` is where the pictures were found to end: a span that goes as far was
// to go on to the end of all, though nobody could see what lies there.
[[nodiscard]] bool isWholeCopy(const std::vector<ExportSpan>& spans,
                               const std::vector<WrittenSpan>& written, const VideoClaim& claim,
                               double duration);

} // namespace velkantrix
