#include "playback/source_track.h"

#include <algorithm>
#include <utility>

namespace velkantrix {
namespace {

constexpr std::size_t USER_DATA_FIELDS = 12;     // bytes
constexpr std::uint64_t STOP_CHECK_EVERY = 4096; // samples

std::int64_t plus(std::int64_t a, std::int64_t b) {
    return addTicks(a, b); // units of any scale: kept within the range likewise
}

bool isAtOrBehind(const FragmentReader::Place& a, const FragmentReader::Place& b) {
    return std::pair(a.fragment, a.cursor) >= std::pair(b.fragment, b.cursor);
}

} // namespace

bool SourceTrack::openVideo(const FilePath& path) {
    if (!reader_.Open(path)) return false;
    const VideoTrackIndex& index = reader_.index();
    return index.shownAsCoded && index.oneDescription && !index.hasSamplesInMoov &&
           reader_.tableBeginsWithTrack() && reader_.Seek(0) && !beginsBeforeZero();
}

// A table's times can't be below 0: behind a start at its first entry the times of all pictures
// would be others than behind a start at any other.
bool SourceTrack::beginsBeforeZero() const {
    const auto first = static_cast<std::int64_t>(reader_.samples()[reader_.cursor()].pts);
    return plus(first, reader_.index().editOffset) < 0;
}

bool SourceTrack::openSound(const FilePath& path, FileSound sound) {
    sound_ = std::move(sound);
    AudioTrackInfo& info = sound_.track;
    return !sound_.hasSamplesInMoov &&
           reader_.OpenWithTable(path, info.trackId, info.timescale,
                                 std::move(info.randomAccess)) &&
           reader_.tableBeginsWithTrack() && reader_.Seek(0);
}

bool SourceTrack::start(Ticks position, const std::function<bool()>& stopped) {
    if (reader_.annexB()) return startVideo(position, stopped);
    if (!reader_.Seek(secondsOf(position))) return false;
    placeFirstSound();
    if (!advanceTo(position, stopped)) return false;
    begin_ = reader_.place();
    return true;
}

// The table may leave out keyframes: of fragments with several, or that begin in the middle of a
// group of pictures. They are looked for from each entry to the next, back from the position. A
// lossless cut of what is delivered begins where that does, so it matters which one is the last.
bool SourceTrack::startVideo(Ticks position, const std::function<bool()>& stopped) {
    const RandomAccessTable& table = reader_.index().randomAccess;
    // Times are compared as they are handed out, or a keyframe whose time was cut to a whole tick
    // would lie behind itself.
    const auto behind =
        std::partition_point(table.begin(), table.end(), [&](const RandomAccessEntry& entry) {
            return ticksFromUnits(static_cast<std::int64_t>(entry.time), reader_.timescale()) <=
                   position;
        });
    KeyframeSearch search{.position = position, .stopped = stopped};
    const auto nearest = behind == table.begin() ? 0 : behind - table.begin() - 1;
    for (auto entry = nearest; entry >= 0 && !search.found; --entry) {
        if (stopped() || search.passed > MAX_PASSED_SAMPLES) return false;
        if (!reader_.goToEntry(table[static_cast<std::size_t>(entry)])) {
            search.incomplete = true;
            if (entry != nearest) continue;
            // The reader's own lookup, which knows whole seconds only, may lead elsewhere.
            if (!reader_.Seek(secondsOf(position))) return false;
        }
        const FragmentReader::Place begin = reader_.place();
        if (!search.end) search.nearest = begin;
        // Entries of one fragment: a broken table has millions, and each has it parsed.
        if (search.end && isAtOrBehind(begin, *search.end))
            search.passed += reader_.samples().size();
        if (withoutKeyframes_) break;
        if (!findLastKeyframe(search)) return false;
        search.end = begin;
    }
    if (!search.found && !withoutKeyframes_ && !findFirstKeyframe(search)) return false;
    if (!search.found) search.found = search.nearest;
    if (!search.found) return false;
    begin_ = *search.found;
    return startAgain();
}

// From here to the place where the search began before, or to the position. False when nobody wants
// it any more. What is decoded behind the position is shown behind it.
bool SourceTrack::findLastKeyframe(KeyframeSearch& search) {
    for (; search.passed <= MAX_PASSED_SAMPLES; ++search.passed) {
        if (search.passed % STOP_CHECK_EVERY == 0 && search.stopped()) return false;
        while (reader_.cursor() >= reader_.samples().size()) {
            if (search.stopped()) return false;
            if (reader_.NextFragment()) continue;
            search.incomplete = search.incomplete || reader_.outcome() != ReadOutcome::End;
            return true;
        }
        const FragmentReader::Place here = reader_.place();
        if (search.end && isAtOrBehind(here, *search.end)) return true;
        const SampleRecord sample = reader_.samples()[reader_.cursor()];
        if (timeOf(sample.dts) > search.position) return true;
        if (sample.sync && timeOf(sample.pts) <= search.position) search.found = here;
        reader_.setCursor(reader_.cursor() + 1);
    }
    return true;
}

// Where there is none at or before the position, the first one behind it. What lies in front and
// can't be read may hold one: then that counts as the position's.
bool SourceTrack::findFirstKeyframe(KeyframeSearch& search) {
    if (!search.end || search.incomplete || !reader_.returnTo(*search.end)) return false;
    for (std::uint64_t passed = 0; passed < MAX_PASSED_SAMPLES; ++passed) {
        if (passed % STOP_CHECK_EVERY == 0 && search.stopped()) return false;
        while (reader_.cursor() >= reader_.samples().size()) {
            if (search.stopped()) return false;
            if (reader_.NextFragment()) continue;
            withoutKeyframes_ = reader_.outcome() == ReadOutcome::End;
            return true;
        }
        if (reader_.samples()[reader_.cursor()].sync) {
            search.found = reader_.place();
            return true;
        }
        reader_.setCursor(reader_.cursor() + 1);
    }
    withoutKeyframes_ = true;
    return true;
}

Ticks SourceTrack::timeOf(std::uint64_t units) const {
    return ticksFromUnits(plus(static_cast<std::int64_t>(units), reader_.rebase()),
                          reader_.timescale());
}

std::optional<Ticks> SourceTrack::pass(const std::function<bool()>& stopped) {
    while (reader_.cursor() >= reader_.samples().size()) {
        if (stopped() || !reader_.NextFragment()) return std::nullopt;
    }
    const Ticks time = timeOf(reader_.samples()[reader_.cursor()].pts);
    reader_.setCursor(reader_.cursor() + 1);
    return time;
}

// A table's times can't be below 0. The first sample of sound mostly comes before that, by what the
// encoder needs to begin: there the edit list says how far, or all would be heard so much later.
void SourceTrack::placeFirstSound() {
    const SampleRecord first = reader_.samples()[reader_.cursor()];
    const auto pts = static_cast<std::int64_t>(first.pts);
    if (plus(pts, reader_.rebase()) == 0 && plus(pts, sound_.editOffset) < 0)
        reader_.setRebase(sound_.editOffset);
}

// Behind the last sample, or where a fragment can't be read, it stays: the next read tells.
bool SourceTrack::advanceTo(Ticks position, const std::function<bool()>& stopped) {
    for (std::uint64_t passed = 0; passed < MAX_PASSED_SAMPLES; ++passed) {
        if (passed % STOP_CHECK_EVERY == 0 && stopped()) return false;
        if (reader_.cursor() >= reader_.samples().size()) {
            if (stopped()) return false;
            if (!reader_.NextFragment()) return true;
            continue;
        }
        const SampleRecord sample = reader_.samples()[reader_.cursor()];
        const std::int64_t begin = plus(static_cast<std::int64_t>(sample.pts), reader_.rebase());
        if (position < ticksFromUnits(plus(begin, sample.duration), reader_.timescale()))
            return true;
        reader_.setCursor(reader_.cursor() + 1);
    }
    return false;
}

TrackRead SourceTrack::read(TrackSample& sample, const std::function<bool()>& stopped) {
    ReaderSample read;
    sample.gap = false;
    for (std::uint32_t empty = 0; empty < MAX_EMPTY_SAMPLES; ++empty) {
        if (stopped()) return TrackRead::Stopped;
        reader_.ReadNextSample(read);
        if (reader_.outcome() == ReadOutcome::End) return TrackRead::End;
        if (reader_.outcome() == ReadOutcome::Empty) {
            sample.gap = true;
            continue;
        }
        if (reader_.outcome() != ReadOutcome::Sample) return TrackRead::Failed;
        const std::uint32_t scale = reader_.timescale();
        sample.data = std::move(read.data);
        sample.time = ticksFromUnits(read.pts, scale);
        sample.decodeTime = ticksFromUnits(read.dts, scale);
        sample.duration = ticksFromUnits(read.duration, scale);
        sample.keyframe = read.keyframe;
        return TrackRead::Sample;
    }
    return TrackRead::Failed;
}

bool SourceTrack::isAtEnd() const {
    return reader_.cursor() >= reader_.samples().size() && reader_.outcome() == ReadOutcome::End;
}

Ticks SourceTrack::duration() const {
    return nearestTicks(reader_.DurationSeconds());
}

std::uint32_t SourceTrack::middleDuration() const {
    const FragmentSamples& samples = reader_.samples();
    return samples.empty() ? 0 : samples[samples.size() / 2].duration;
}

std::optional<SourceTracks> openServedTracks(const FilePath& path, SourceSound sound) {
    SourceTracks tracks;
    if (!tracks.video.openVideo(path)) return std::nullopt;
    if (sound == SourceSound::Unwanted) return tracks;
    FileSound found = loadFileSound(path);
    if (!found.isFirst) return std::nullopt;
    if (!found.track.valid) return tracks;
    if (!found.oneDescription || !isPlainAac(found)) return std::nullopt;
    if (!tracks.sound.emplace().openSound(path, std::move(found))) return std::nullopt;
    return tracks;
}

bool isPlainAac(const FileSound& sound) {
    constexpr std::uint8_t MPEG4_AUDIO = 0x40, MPEG2_FIRST = 0x66, MPEG2_LAST = 0x68;
    constexpr int LOW_COMPLEXITY = 2, SPECTRAL_BAND_REPLICATION = 5, PARAMETRIC_STEREO = 29;
    const bool isAac = sound.objectType == MPEG4_AUDIO ||
                       (sound.objectType >= MPEG2_FIRST && sound.objectType <= MPEG2_LAST);
    if (!isAac || sound.track.audioConfig.empty()) return false;
    const int kind = sound.track.audioConfig[0] >> 3; // audioObjectType
    return kind == LOW_COMPLEXITY || kind == SPECTRAL_BAND_REPLICATION || kind == PARAMETRIC_STEREO;
}

std::vector<std::uint8_t> aacUserData(const std::vector<std::uint8_t>& audioConfig) {
    std::vector<std::uint8_t> data(USER_DATA_FIELDS + audioConfig.size());
    std::copy(audioConfig.begin(), audioConfig.end(), data.begin() + USER_DATA_FIELDS);
    return data;
}

} // namespace velkantrix
