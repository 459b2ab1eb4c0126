#include "export/whole_copy.h"

#include <algorithm>

namespace velkantrix {
namespace {

constexpr double MAY_MISS = 1.0;    // seconds
constexpr double SAME_PLACE = 0.05; // seconds

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

// Only sound of it is to be written.
bool isBehindTheVideo(const ExportSpan& span, const VideoClaim& claim, double end) {
    return claim.length.value_or(0) > 0 && claim.sound && claim.sound->to > span.start &&
           span.start >= end;
}

// The file's end, which may lie behind that of the timeline.
double statedEnd(const VideoClaim& claim, double duration) {
    if (duration <= 0) return duration;
    double end = std::max(duration, claim.file.value_or(0));
    if (!claim.fragmented) return end;
    // Of fragments each that is there is one that can be read.
    if (!claim.keyframes.empty()) end = std::max(end, claim.keyframes.back());
    if (claim.sound) end = std::max(end, claim.sound->to);
    return std::max(end, claim.fragment.value_or(0));
}

// A copy may begin too early, with a keyframe, and then end before it has come to the span.
bool hasItsPictures(const ExportSpan& span, const WrittenSpan& written, double end) {
    return written.hasPictures && written.sourceEnd > span.start &&
           written.sourceEnd >= std::min(span.end, end) - MAY_MISS;
}

// Readers count a delay or don't: one whose timeline isn't as long doesn't, and one whose timeline
// goes as far as `last` with it does. Where both may be, what is missing must be so by each.
template <typename IsMissing>
bool isMissing(double delay, double last, double duration, IsMissing by) {
    const bool mayCount = delay < duration;
    const bool mustCount = mayCount && duration >= last + delay - MAY_MISS;
    return (mustCount || by(0)) && (!mayCount || by(delay));
}

// A keyframe names a picture, which may be missing.
bool hasKeyframeInAHole(const WrittenSpan& written, const VideoClaim& claim, double duration) {
    if (claim.keyframes.empty()) return false;
    const double last = std::max(claim.keyframes.back(), claim.length.value_or(0));
    return isMissing(claim.delay, last, duration, [&](double delay) {
        return std::ranges::any_of(written.holes, [&](const WrittenSpan::Hole& hole) {
            const auto found = std::ranges::lower_bound(claim.keyframes, hole.from - delay);
            return found != claim.keyframes.end() && *found + delay < hole.to - MAY_MISS;
        });
    });
}

// A copy begins with the first keyframe, however late that comes, and leaves out the sound before.
bool hasItsFront(const ExportSpan& span, const WrittenSpan& written, const VideoClaim& claim,
                 double duration) {
    if (written.sourceStart - span.start <= MAY_MISS || !claim.sound) return true;
    const SoundClaim& sound = *claim.sound;
    return !isMissing(sound.delay, sound.to, duration, [&](double delay) {
        const double end = std::min(written.sourceStart, sound.to + delay);
        return end - std::max(span.start, sound.from + delay) > MAY_MISS;
    });
}

// A track of sound may begin behind the span, or have ended in front of it.
bool hasItsSound(const ExportSpan& span, const WrittenSpan& written, const VideoClaim& claim,
                 double duration) {
    if (!claim.sound || !written.soundEnd) return true;
    double end = std::min(span.end, claim.sound->to);
    if (duration > 0) end = std::min(end, duration);
    const double needed = end - MAY_MISS;
    return needed <= std::max(span.start, claim.sound->from) || *written.soundEnd >= needed;
}

} // namespace

bool isWholeCopy(const std::vector<ExportSpan>& spans, const std::vector<WrittenSpan>& written,
                 const VideoClaim& claim, double duration) {
    if (written.size() != spans.size()) return false;
    const double stated = statedEnd(claim, duration);
    const double end = endOfVideo(claim, stated);
    for (std::size_t i = 0; i < spans.size(); i++) {
        ExportSpan span = spans[i];
        if (duration > 0 && span.end >= duration - SAME_PLACE)
            span.end = std::max(span.end, stated);
        const bool noneToHave = !written[i].hasPictures && isBehindTheVideo(span, claim, end);
        if (!noneToHave && !hasItsPictures(span, written[i], end)) return false;
        if (hasKeyframeInAHole(written[i], claim, duration)) return false;
        if (!hasItsFront(span, written[i], claim, duration)) return false;
        if (!hasItsSound(span, written[i], claim, stated)) return false;
    }
    return true;
}

} // namespace velkantrix
