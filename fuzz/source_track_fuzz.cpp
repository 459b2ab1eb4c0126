// The input is a file, of which the program's own media source serves the picture and the sound:
// both are started at some places and read for a while. What is handed out must hold together.
#include <string>

#include "fuzz/input_path.h"
#include "fuzz/require.h"
#include "playback/source_track.h"

namespace velkantrix {
namespace {

constexpr int READS = 60; // at each position

std::string problemOf(SourceTrack& track) {
    const auto never = [] {
        return false;
    };
    for (const Ticks position : {Ticks{0}, Ticks{3'000'000}, Ticks{-1}, Ticks{1} << 60}) {
        if (!track.start(position, never)) continue;
        TrackSample sample;
        bool first = true;
        for (int i = 0; i < READS; ++i) {
            const TrackRead read = track.read(sample, never);
            if (read == TrackRead::Stopped) return "stopped though nobody said so";
            if (read != TrackRead::Sample) break;
            if (sample.data.empty()) return "a sample with nothing in it";
            if (sample.duration < 0) return "a sample of a negative duration";
            // Both are cut to whole ticks, so their sum may be one short.
            const bool isSound = !track.reader().annexB();
            if (isSound && first && addTicks(sample.time, sample.duration) < position)
                return "sound from before the position";
            first = false;
        }
    }
    return {};
}

} // namespace
} // namespace velkantrix

extern "C" int LLVMFuzzerTestOneInput(const std::uint8_t* data, std::size_t size) {
    using namespace velkantrix;
    const FilePath path = inputPath(data, size);
    SourceTrack video;
    if (video.openVideo(path)) require(problemOf(video));
    SourceTrack sound;
    if (sound.openSound(path, loadFileSound(path))) require(problemOf(sound));
    return 0;
}
