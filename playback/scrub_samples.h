// scrub_samples.h: a file's H.264 samples as a scrub decoder needs them: one keyframe at once, or
// all samples from a keyframe on.
//
// Times are those at which the engine shows a picture. A plain file's tables hold decode times and
// know nothing of its edit list; here that is made good. A fragmented file's readers give the
// table's times, which are the engine's.
//
// Used by one thread at a time. The file is held open.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <vector>

#include "base/file_path.h"
#include "base/ticks.h"
#include "mp4/plain_samples.h"
#include "mp4/video_index.h"
#include "playback/source_track.h"

namespace velkantrix {

struct ScrubSample {
    std::vector<std::uint8_t> data; // Annex B byte stream
    Ticks pts = 0;
    Ticks duration = 0; // 0 where it isn't known
    bool sync = false;
};

class ScrubSamples {
public:
    using Stopped = std::function<bool()>;

    // False when there is no index of a video track, the track isn't H.264, is shown otherwise than
    // coded or has several descriptions; of a fragmented file when the engine doesn't have it from
    // the program's own media source: another's times may be others, and it may know pictures to
    // which no table leads. `ownSource` is how that source would take the file; none: not at all.
    [[nodiscard]] bool open(const FilePath& path, std::optional<SourceSound> ownSource);

    [[nodiscard]] std::uint32_t width() const { return index().width; } // coded; 0 when not stated
    [[nodiscard]] std::uint32_t height() const { return index().height; }

    // The keyframe at or before a time, by the index's whole seconds; the first one when there is
    // none. Parameter sets stand in front. False when it can't be read or is no keyframe. Ends what
    // begin began.
    [[nodiscard]] bool keyframeAt(double seconds, ScrubSample& sample);

    // Goes to where decoding has to begin for the picture at that time. False when it can't, or
    // when `stopped` says so. The tables give samples the times by which they are decoded. Where
    // frames last differently long a sample may so seem to last beyond the picture behind it; up to
    // the time given that is put right.
    [[nodiscard]] bool begin(Ticks time, const Stopped& stopped);

    // The next sample in decode order; the parameter sets stand in front of the first keyframe
    // behind begin. Samples without content are passed over. Behind anything but Sample the content
    // of `sample` is of no use. End: all that the file's tables state have been handed out, even
    // where they don't agree with each other. Failed also when `stopped` says so.
    [[nodiscard]] WalkOutcome next(ScrubSample& sample, const Stopped& stopped);

private:
    bool openPlain();
    bool openFragments(SourceSound sound);
    [[nodiscard]] Ticks shownTime(std::int64_t pts) const;
    [[nodiscard]] double keyframeDelay() const;
    bool seekPlain(Ticks time);
    std::optional<Ticks> pass(const Stopped& stopped);
    bool findPicture(Ticks time, const Stopped& stopped);
    [[nodiscard]] Ticks shownFor(Ticks pts, Ticks duration) const;
    WalkOutcome nextPlain(ScrubSample& sample, const Stopped& stopped);
    WalkOutcome nextOfFragments(ScrubSample& sample, const Stopped& stopped);
    bool readPlain(const PlainSample& place, ScrubSample& sample);
    [[nodiscard]] const VideoTrackIndex& index() const;

    FilePath path_;
    bool fragmented_ = false;
    VideoTrackIndex index_; // of a plain file; a fragmented one's is the track's
    std::vector<std::uint8_t> parameterSets_;
    std::uint32_t nalLengthSize_ = 0;

    // Of a plain file.
    PlainSamples plain_;
    std::int64_t keyframeOffset_ = 0; // composition offset of the first keyframe
    bool needParameterSets_ = true;
    ByteBuffer bytes_;

    // Of a fragmented one: what the media source itself would deliver, so that both have the same
    // times.
    SourceTrack track_;
    TrackSample trackSample_;

    // What was sought: the picture of the time given, and the one behind it.
    std::optional<Ticks> picture_;
    std::optional<Ticks> following_;
};

} // namespace velkantrix
