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

// The last unit that has begun at a time.
std::int64_t unitsAt(Ticks time, std::uint32_t scale) {
    constexpr double MOST = 4e18;
    const double units = std::floor(static_cast<double>(time) * scale / TICKS_PER_SECOND);
    return static_cast<std::int64_t>(std::clamp(units, -MOST, MOST));
}

} // namespace

const VideoTrackIndex& ScrubSamples::index() const {
    return index_.fragmented ? fragments_.index() : index_;
}

bool ScrubSamples::open(const FilePath& path) {
    path_ = path;
    index_ = LoadVideoTrackIndex(path);
    if (!index_.valid || index_.avcConfig.empty() || !index_.shownAsCoded) return false;
    try {
        if (!AvcConfigToAnnexB(index_.avcConfig, parameterSets_, nalLengthSize_)) return false;
    } catch (const std::bad_alloc&) { return false; }
    return index_.fragmented ? openFragments() : openPlain();
}

// As the program's own media source does: where that leaves the file to the system's, the engine's
// times may be others, and pictures may lie where no table leads.
bool ScrubSamples::openFragments() {
    if (index_.hasSamplesInMoov || !fragments_.Open(path_)) return false;
    index_.randomAccess = RandomAccessTable(); // fragments_ has it
    return fragments_.tableBeginsWithTrack();
}

bool ScrubSamples::openPlain() {
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
    if (index().fragmented) return 0;
    return static_cast<double>(addTicks(keyframeOffset_, plain_.editOffset())) / plain_.timescale();
}

bool ScrubSamples::keyframeAt(double seconds, ScrubSample& sample) {
    KeyframeSample keyframe = ReadKeyframeSample(path_, index(), seconds - keyframeDelay());
    if (!keyframe.ok) return false;
    sample.data = std::move(keyframe.data);
    sample.pts = nearestTicks(keyframe.timeSeconds + keyframeDelay());
    sample.duration = 0;
    sample.sync = true;
    if (index().fragmented) return true;
    // Where frames last differently long, composition offsets differ from keyframe to keyframe. The
    // walk knows this one's own.
    const auto decodeTime = std::llround(keyframe.timeSeconds * plain_.timescale());
    PlainSample own;
    if (!plain_.seekToSync(addTicks(decodeTime, keyframeOffset_))) return true;
    while (plain_.next(own) == WalkOutcome::Sample && own.dts <= decodeTime) {
        if (own.dts == decodeTime && own.sync) sample.pts = shownTime(own.pts);
    }
    return true;
}

bool ScrubSamples::begin(Ticks time) {
    return index().fragmented ? fragments_.Seek(secondsOf(time)) : seekPlain(time);
}

bool ScrubSamples::seekPlain(Ticks time) {
    needParameterSets_ = true;
    const std::int64_t pts = subtractTicks(unitsAt(time, plain_.timescale()), plain_.editOffset());
    if (!plain_.seekToSync(pts)) return false;
    findPicture(pts);
    return plain_.seekToSync(pts);
}

// By the tables alone: no sample is read.
void ScrubSamples::findPicture(std::int64_t pts) {
    picture_.reset();
    following_.reset();
    PlainSample place;
    for (std::uint32_t beyond = 0; beyond < ALWAYS_ENOUGH_BEYOND;) {
        if (plain_.next(place) != WalkOutcome::Sample) return;
        const bool isBeyond = place.pts > pts;
        std::optional<std::int64_t>& nearest = isBeyond ? following_ : picture_;
        if (!nearest || (isBeyond ? place.pts < *nearest : place.pts > *nearest))
            nearest = place.pts;
        if (isBeyond) ++beyond;
    }
}

std::int64_t ScrubSamples::shownFor(const PlainSample& place) const {
    if (!picture_ || place.pts > *picture_) return place.duration;
    if (place.pts == *picture_) {
        return following_ ? subtractTicks(*following_, place.pts) : place.duration;
    }
    return std::min<std::int64_t>(place.duration, subtractTicks(*picture_, place.pts));
}

WalkOutcome ScrubSamples::next(ScrubSample& sample) {
    try {
        return index().fragmented ? nextOfFragments(sample) : nextPlain(sample);
    } catch (const std::bad_alloc&) {
        return WalkOutcome::Failed; // as unreadable as any other sample then
    }
}

WalkOutcome ScrubSamples::nextPlain(ScrubSample& sample) {
    while (true) {
        PlainSample place;
        const WalkOutcome outcome = plain_.next(place);
        if (outcome != WalkOutcome::Sample) return outcome;
        if (!readPlain(place, sample)) return WalkOutcome::Failed;
        if (!sample.data.empty()) return outcome;
    }
}

bool ScrubSamples::readPlain(const PlainSample& place, ScrubSample& sample) {
    if (place.size > MAX_KEYFRAME_BYTES) return false;
    if (!readInto(bytes_, plain_.file(), place.offset, place.size)) return false;
    const bool withSets = place.sync && needParameterSets_;
    convertToAnnexB(bytes_.view(), nalLengthSize_, withSets ? parameterSets_ : ByteView(),
                    sample.data);
    if (withSets) needParameterSets_ = false;
    sample.pts = shownTime(place.pts);
    sample.duration = ticksFromUnits(shownFor(place), plain_.timescale());
    sample.sync = place.sync;
    return true;
}

WalkOutcome ScrubSamples::nextOfFragments(ScrubSample& sample) {
    while (true) {
        fragments_.ReadNextSample(fragmentSample_);
        switch (fragments_.outcome()) {
        case ReadOutcome::Sample:
            break;
        case ReadOutcome::Empty:
            continue;
        case ReadOutcome::End:
            return WalkOutcome::End;
        default:
            return WalkOutcome::Failed;
        }
        sample.data = std::move(fragmentSample_.data);
        sample.pts = ticksFromUnits(fragmentSample_.pts, fragments_.timescale());
        sample.duration = ticksFromUnits(fragmentSample_.duration, fragments_.timescale());
        sample.sync = fragmentSample_.keyframe;
        return WalkOutcome::Sample;
    }
}

} // namespace velkantrix
