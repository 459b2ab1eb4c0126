#include "playback/source_track.h"

#include <algorithm>
#include <iterator>
#include <utility>

#include "mp4/keyframe_look_back.h"

namespace velkantrix {
namespace {

constexpr std::size_t USER_DATA_FIELDS = 12;     // bytes
constexpr std::uint64_t STOP_CHECK_EVERY = 4096; // samples

std::int64_t plus(std::int64_t a, std::int64_t b) {
    return addTicks(a, b); // units of any scale: kept within the range likewise
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
// group of pictures. They are looked for up to the position. A lossless cut of what is delivered
// begins where that does, so it matters which one is the last.
bool SourceTrack::startVideo(Ticks position, const std::function<bool()>& stopped) {
    if (!seekToEntryFor(position, stopped)) return false;
    const std::optional<FragmentReader::Place> keyframe = findKeyframe(position, stopped);
    if (!keyframe) return false;
    begin_ = *keyframe;
    return startAgain();
}

// The reader's own lookup knows whole seconds only; it counts where the place that the table names
// can't be read. Times are compared as they are handed out, or a keyframe whose time was cut to a
// whole tick would lie behind itself. Where entries name no keyframes the reader looks for one in
// front, but not far: then that is done again from there.
bool SourceTrack::seekToEntryFor(Ticks position, const std::function<bool()>& stopped) {
    const RandomAccessTable& table = reader_.index().randomAccess;
    const auto behind =
        std::partition_point(table.begin(), table.end(), [&](const RandomAccessEntry& entry) {
            return ticksFromUnits(static_cast<std::int64_t>(entry.time), reader_.timescale()) <=
                   position;
        });
    auto entry = behind == table.begin() ? behind : std::prev(behind);
    if (!reader_.seekToEntry(*entry) && !reader_.Seek(secondsOf(position))) return false;
    while (!reader_.samples()[reader_.cursor()].sync && entry != table.begin()) {
        if (stopped()) return false;
        entry -= std::min<std::ptrdiff_t>(entry - table.begin(), MAX_ENTRIES_BACK);
        if (!reader_.seekToEntry(*entry)) break;
    }
    return true;
}

// The last keyframe at or before the position, from here on; the first one behind it when there is
// none, and here when there is no keyframe at all. What is decoded behind one is shown behind it.
std::optional<FragmentReader::Place>
SourceTrack::findKeyframe(Ticks position, const std::function<bool()>& stopped) {
    const FragmentReader::Place begin = reader_.place();
    std::optional<FragmentReader::Place> last;
    for (std::uint64_t passed = 0; passed < MAX_PASSED_SAMPLES; ++passed) {
        if (passed % STOP_CHECK_EVERY == 0 && stopped()) return std::nullopt;
        while (reader_.cursor() >= reader_.samples().size()) {
            if (stopped()) return std::nullopt;
            if (!reader_.NextFragment()) return last ? last : begin;
        }
        const SampleRecord sample = reader_.samples()[reader_.cursor()];
        if (last && timeOf(sample.dts) > position) return last;
        if (sample.sync && (!last || timeOf(sample.pts) <= position)) last = reader_.place();
        reader_.setCursor(reader_.cursor() + 1);
    }
    return std::nullopt;
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
