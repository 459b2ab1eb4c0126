// source_track_fixture.h: tracks of recordings that tests put together.
#pragma once

#include <cstdint>
#include <initializer_list>
#include <optional>
#include <vector>

#include <gtest/gtest.h>

#include "playback/source_track.h"
#include "tests/support/fragmented_file.h"
#include "tests/support/mp4_files.h"
#include "tests/support/temp_file.h"

namespace velkantrix {

constexpr Ticks MS = 10'000;

inline bool never() {
    return false;
}

// Pictures of 40 ms from 40 ms on, keyframes at 40, 240 and 440; sound of 40 ms from 0 on.
class SourceTrackTest : public testing::Test {
protected:
    void use(const Bytes& content) { file.emplace(content); }

    bool openSound() { return track.openSound(file->path(), loadFileSound(file->path())); }

    // Sound alone, time scale 1000, one table entry, samples as given.
    bool openSound(std::initializer_list<Bytes> fragments) {
        const Bytes begin = fragmentedStart();
        use(join({begin, join(fragments)}));
        FileSound sound;
        sound.track.trackId = 1;
        sound.track.timescale = 1000;
        sound.track.randomAccess = {{0, begin.size()}};
        sound.editOffset = editOffset;
        return track.openSound(file->path(), sound);
    }

    // The times of all samples that come, in milliseconds; `last` says why no more did.
    std::vector<Ticks> rest() {
        std::vector<Ticks> times;
        TrackSample sample;
        while ((last = track.read(sample, never)) == TrackRead::Sample)
            times.push_back(sample.time / MS);
        return times;
    }

    std::optional<Ticks> firstAt(Ticks position) {
        if (!track.start(position, never)) return std::nullopt;
        TrackSample sample;
        if (track.read(sample, never) != TrackRead::Sample) return std::nullopt;
        return sample.time / MS;
    }

    std::optional<TempFile> file{fragmentedRecording()};
    std::int64_t editOffset = 0; // of the sound's edit list, milliseconds
    SourceTrack track;
    TrackRead last = TrackRead::Stopped;
};

} // namespace velkantrix
