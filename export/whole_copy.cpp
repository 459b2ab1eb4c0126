#include "export/whole_copy.h"

#include <algorithm>

namespace velkantrix {
namespace {

constexpr double MAY_MISS = 1.0;     // seconds
constexpr double ROUNDING = 0.0002;  // of where pictures begin, seconds
constexpr double AT_THE_EDGE = 0.05; // seconds: the picture there may be the next span's

// Where the video goes at least. Two statements that may be wrong, the track's own length and the
// whole file's, must agree.
double endOfVideo(const VideoClaim& claim, double duration) {
    if (claim.keyframes.empty() && !claim.fragment && !claim.length) return duration;
    double end = std::max(0.0, claim.fragment.value_or(0));
    if (!claim.keyframes.empty()) end = std::max(end, claim.keyframes.back());
    // A plain file's edits may leave out the last pictures.
    if (claim.length && duration > 0) end = std::min(end, duration);
    return std::max(end, std::min(duration, claim.length.value_or(0)));
}

} // namespace

bool isWholeCopy(const std::vector<ExportSpan>& spans, const std::vector<WrittenSpan>& written,
                 const VideoClaim& claim, double duration) {
    if (written.size() != spans.size()) return false;
    const double end = endOfVideo(claim, duration);
    for (std::size_t i = 0; i < spans.size(); i++) {
        if (!written[i].hasPictures) return false;
        if (written[i].sourceEnd < std::min(spans[i].end, end) - MAY_MISS) return false;
    }
    return true;
}

EncodedPictures::EncodedPictures(const std::vector<ExportSpan>& spans) {
    double start = 0;
    for (const ExportSpan& span : spans) {
        spans_.push_back({.asked = span, .outputStart = start});
        start += std::max(0.0, span.end - span.start);
    }
}

void EncodedPictures::add(double outputSeconds) {
    for (auto span = spans_.rbegin(); span != spans_.rend(); ++span) {
        if (outputSeconds < span->outputStart - ROUNDING) continue;
        // What is told when all is written is the end.
        const double length = span->asked.end - span->asked.start;
        if (outputSeconds < span->outputStart + length - ROUNDING)
            span->last = std::max(outputSeconds, span->last.value_or(outputSeconds));
        return;
    }
}

bool EncodedPictures::isWhole(const VideoClaim& claim) const {
    return std::ranges::all_of(spans_, [&claim](const Span& span) {
        if (!span.last) return false;
        const double end = span.asked.end - AT_THE_EDGE;
        double known = claim.fragment && *claim.fragment < end ? *claim.fragment : 0;
        const auto behind = std::ranges::lower_bound(claim.keyframes, end);
        if (behind != claim.keyframes.begin()) known = std::max(known, *(behind - 1));
        return *span.last >= span.outputStart + known - span.asked.start - MAY_MISS;
    });
}

} // namespace velkantrix
