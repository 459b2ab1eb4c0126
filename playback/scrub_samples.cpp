#include "playback/scrub_samples.h"

#include <algorithm>
#include <cmath>
#include <new>
#include <utility>

#include "mp4/avc.h"
#include "mp4/keyframe_sample.h"
#include "playback/exact_search.h"

namespace velkantrix {
namespace {

constexpr double MOST_UNITS = 4e18;              // well inside the range
constexpr std::uint64_t STOP_CHECK_EVERY = 4096; // samples

std::int64_t nearestUnits(double seconds, std::uint32_t scale) {
    return std::llround(std::clamp(seconds * scale, -MOST_UNITS, MOST_UNITS));
}

// The last unit that has begun at a time.
std::int64_t unitsAt(Ticks time, std::uint32_t scale) {
    const double units = std::floor(static_cast<double>(time) * scale / TICKS_PER_SECOND);
    return static_cast<std::int64_t>(std::clamp(units, -MOST_UNITS, MOST_UNITS));
}

} // namespace

const VideoTrackIndex& ScrubSamples::index() const {
    return fragmented_ ? track_.reader().index() : index_;
}

bool ScrubSamples::open(const FilePath& path, std::optional<SourceSound> ownSource) {
    path_ = path;
    {
        const InputFile file = OpenForRandomAccess(path);
        fragmented_ = file && scanTopLevel(file).fragmented;
    }
    return fragmented_ ? ownSource && openFragments(*ownSource) : openPlain();
}

bool ScrubSamples::openFragments(SourceSound sound) {
    std::optional<SourceTracks> tracks = openServedTracks(path_, sound);
    if (!tracks) return false;
    track_ = std::move(tracks->video);
    return true;
}

bool ScrubSamples::openPlain() {
    index_ = LoadVideoTrackIndex(path_);
    if (!index_.valid || index_.fragmented || index_.avcConfig.empty()) return false;
    if (!index_.shownAsCoded || !index_.oneDescription) return false;
    try {
        if (!AvcConfigToAnnexB(index_.avcConfig, parameterSets_, nalLengthSize_)) return false;
    } catch (const std::bad_alloc&) { return false; }
    PlainSample first;
    if (!plain_.open(path_) || !plain_.seekToSync(INT64_MIN)) return false;
    if (plain_.next(first) != WalkOutcome::Sample) return false;
    keyframeOffset_ = subtractTicks(first.pts, first.dts);
    return true;
}

Ticks ScrubSamples::shownTime(std::int64_t pts) const {
    return ticksFromUnits(addTicks(pts, plain_.editOffset()), plain_.timescale());
}

// From a keyframe's time in the table to the one at which it is shown, in seconds.
double ScrubSamples::keyframeDelay() const {
    if (fragmented_) return 0;
    return static_cast<double>(addTicks(keyframeOffset_, plain_.editOffset())) / plain_.timescale();
}

bool ScrubSamples::keyframeAt(double seconds, ScrubSample& sample) {
    KeyframeSample keyframe = ReadKeyframeSample(path_, index(), seconds - keyframeDelay());
    if (!keyframe.ok || !keyframe.sync) return false;
    sample.data = std::move(keyframe.data);
    sample.pts = nearestTicks(keyframe.timeSeconds + keyframeDelay());
    sample.duration = 0;
    sample.sync = true;
    if (fragmented_) return true;
    // Where frames last differently long, composition offsets differ from keyframe to keyframe. The
    // walk knows this one's own.
    const std::int64_t decodeTime = nearestUnits(keyframe.timeSeconds, plain_.timescale());
    PlainSample own;
    if (!plain_.seekToSync(addTicks(decodeTime, keyframeOffset_))) return true;
    while (plain_.next(own) == WalkOutcome::Sample && own.dts <= decodeTime) {
        if (own.dts == decodeTime && own.sync) sample.pts = shownTime(own.pts);
    }
    return true;
}

bool ScrubSamples::begin(Ticks time, const Stopped& stopped) {
    if (fragmented_)
        return track_.start(time, stopped) && findPicture(time, stopped) && track_.startAgain();
    return seekPlain(time) && findPicture(time, stopped) && seekPlain(time);
}

bool ScrubSamples::seekPlain(Ticks time) {
    needParameterSets_ = true;
    return plain_.seekToSync(subtractTicks(unitsAt(time, plain_.timescale()), plain_.editOffset()));
}

// The time of the next sample, which isn't read.
std::optional<Ticks> ScrubSamples::pass(const Stopped& stopped) {
    if (fragmented_) return track_.pass(stopped);
    PlainSample place;
    if (plain_.next(place) != WalkOutcome::Sample) return std::nullopt;
    return shownTime(place.pts);
}

bool ScrubSamples::findPicture(Ticks time, const Stopped& stopped) {
    picture_.reset();
    following_.reset();
    std::uint32_t beyond = 0;
    for (std::uint64_t passed = 0; beyond < ALWAYS_ENOUGH_BEYOND; ++passed) {
        if (passed % STOP_CHECK_EVERY == 0 && stopped()) return false;
        const std::optional<Ticks> pts = pass(stopped);
        if (!pts) return !stopped();
        const bool isBeyond = *pts > time;
        std::optional<Ticks>& nearest = isBeyond ? following_ : picture_;
        if (!nearest || (isBeyond ? *pts < *nearest : *pts > *nearest)) nearest = pts;
        if (isBeyond) ++beyond;
    }
    return true;
}

Ticks ScrubSamples::shownFor(Ticks pts, Ticks duration) const {
    if (!picture_ || pts > *picture_) return duration;
    if (pts == *picture_) return following_ ? subtractTicks(*following_, pts) : duration;
    return std::min(duration, subtractTicks(*picture_, pts));
}

WalkOutcome ScrubSamples::next(ScrubSample& sample, const Stopped& stopped) {
    try {
        return fragmented_ ? nextOfFragments(sample, stopped) : nextPlain(sample, stopped);
    } catch (const std::bad_alloc&) {
        return WalkOutcome::Failed; // as unreadable as any other sample then
    }
}

WalkOutcome ScrubSamples::nextPlain(ScrubSample& sample, const Stopped& stopped) {
    do {
        PlainSample place;
        const WalkOutcome outcome = plain_.next(place);
        if (outcome == WalkOutcome::Failed && plain_.isBehindLast()) return WalkOutcome::End;
        if (outcome != WalkOutcome::Sample) return outcome;
        if (!readPlain(place, sample)) return WalkOutcome::Failed;
        if (!sample.data.empty()) return outcome;
    } while (!stopped());
    return WalkOutcome::Failed;
}

bool ScrubSamples::readPlain(const PlainSample& place, ScrubSample& sample) {
    if (place.size > MAX_KEYFRAME_BYTES) return false;
    if (!readInto(bytes_, plain_.file(), place.offset, place.size)) return false;
    const bool withSets = place.sync && needParameterSets_;
    convertToAnnexB(bytes_.view(), nalLengthSize_, withSets ? parameterSets_ : ByteView(),
                    sample.data);
    if (withSets) needParameterSets_ = false;
    sample.pts = shownTime(place.pts);
    sample.duration = shownFor(sample.pts, ticksFromUnits(place.duration, plain_.timescale()));
    sample.sync = place.sync;
    return true;
}

WalkOutcome ScrubSamples::nextOfFragments(ScrubSample& sample, const Stopped& stopped) {
    const TrackRead read = track_.read(trackSample_, stopped);
    if (read == TrackRead::End) return WalkOutcome::End;
    if (read != TrackRead::Sample) return WalkOutcome::Failed;
    sample.data = std::move(trackSample_.data);
    sample.pts = trackSample_.time;
    sample.duration = shownFor(sample.pts, trackSample_.duration);
    sample.sync = trackSample_.keyframe;
    return WalkOutcome::Sample;
}

} // namespace velkantrix
