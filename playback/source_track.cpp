#include "playback/source_track.h"

#include <algorithm>
#include <iterator>
#include <utility>

namespace velkantrix {
namespace {

constexpr std::size_t USER_DATA_FIELDS = 12;     // bytes
constexpr std::uint64_t STOP_CHECK_EVERY = 4096; // samples

std::int64_t plus(std::int64_t a, std::int64_t b) {
    return addTicks(a, b); // units of any scale: kept within the range likewise
}

} // namespace

bool SourceTrack::openVideo(const FilePath& path) {
    return reader_.Open(path) && reader_.Seek(0);
}

bool SourceTrack::openSound(const FilePath& path, AudioTrackInfo info) {
    sound_ = std::move(info);
    return reader_.OpenWithTable(path, sound_.trackId, sound_.timescale,
                                 std::move(sound_.randomAccess)) &&
           reader_.Seek(0);
}

bool SourceTrack::start(Ticks position, const std::function<bool()>& stopped) {
    if (reader_.annexB()) return seekToKeyframe(position) || reader_.Seek(secondsOf(position));
    return reader_.Seek(secondsOf(position)) && advanceTo(position, stopped);
}

// The reader's own lookup knows whole seconds only. Here a start at a keyframe begins with that
// one, for a lossless cut of what is delivered begins where that does. Times are compared as they
// are handed out, or a keyframe whose time was cut to a whole tick would lie behind itself.
bool SourceTrack::seekToKeyframe(Ticks position) {
    const RandomAccessTable& table = reader_.index().randomAccess;
    const auto behind =
        std::partition_point(table.begin(), table.end(), [&](const RandomAccessEntry& entry) {
            return ticksFromUnits(static_cast<std::int64_t>(entry.time), reader_.timescale()) <=
                   position;
        });
    return reader_.seekToEntry(behind == table.begin() ? *behind : *std::prev(behind));
}

// Behind the last sample, or where a fragment can't be read, it stays: the next read tells.
bool SourceTrack::advanceTo(Ticks position, const std::function<bool()>& stopped) {
    for (std::uint64_t passed = 0; passed < MAX_PASSED_SAMPLES; ++passed) {
        if (passed % STOP_CHECK_EVERY == 0 && stopped()) return false;
        if (reader_.cursor() >= reader_.samples().size()) {
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
    for (std::uint32_t empty = 0; empty < MAX_EMPTY_SAMPLES; ++empty) {
        if (stopped()) return TrackRead::Stopped;
        reader_.ReadNextSample(read);
        if (reader_.outcome() == ReadOutcome::End) return TrackRead::End;
        if (reader_.outcome() == ReadOutcome::Empty) continue;
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

Ticks SourceTrack::duration() const {
    return nearestTicks(reader_.DurationSeconds());
}

std::uint32_t SourceTrack::middleDuration() const {
    const FragmentSamples& samples = reader_.samples();
    return samples.empty() ? 0 : samples[samples.size() / 2].duration;
}

std::vector<std::uint8_t> aacUserData(const std::vector<std::uint8_t>& audioConfig) {
    std::vector<std::uint8_t> data(USER_DATA_FIELDS + audioConfig.size());
    std::copy(audioConfig.begin(), audioConfig.end(), data.begin() + USER_DATA_FIELDS);
    return data;
}

} // namespace velkantrix
