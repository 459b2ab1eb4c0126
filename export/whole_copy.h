// whole_copy.h: whether all that was asked for has come out. A source may end early without an
// error; what then is written must not replace the original.
#pragma once

#include <optional>
#include <vector>

#include "base/video_claim.h"
#include "export/export_request.h"

namespace velkantrix {

// Whether the copy has each span up to its end, or to that of the video, which is where `claim`
// says, or else at `duration`. A second may be missing.
[[nodiscard]] bool isWholeCopy(const std::vector<ExportSpan>& spans,
                               const std::vector<WrittenSpan>& written, const VideoClaim& claim,
                               double duration);

// Follows a re-encode by its progress, which is told with each picture.
class EncodedPictures {
public:
    explicit EncodedPictures(const std::vector<ExportSpan>& spans);

    // A picture begins there in the output, in seconds.
    void add(double outputSeconds);

    // Whether each span has pictures, up to the last keyframe or the last fragment that the source
    // claims for it. A second may be missing.
    [[nodiscard]] bool isWhole(const VideoClaim& claim) const;

private:
    struct Span {
        ExportSpan asked;
        double outputStart = 0;
        std::optional<double> last; // of its pictures, in the output
    };
    std::vector<Span> spans_;
};

} // namespace velkantrix
