#include "mp4/track_count.h"

#include <new>

#include "mp4/input_file.h"
#include "mp4/track_heads.h"

namespace velkantrix {

std::optional<TrackCount> countTracksOfFile(const FilePath& path) {
    try {
        const InputFile file = OpenForRandomAccess(path);
        const auto tracks = file ? readTrackHeads(file) : std::nullopt;
        if (!tracks || tracks->empty()) return std::nullopt;
        TrackCount count;
        for (const TrackHead& track : *tracks) {
            ++count.all;
            if (track.handler == boxType("vide")) ++count.video;
            if (track.handler == boxType("soun")) ++count.sound;
        }
        return count;
    } catch (const std::bad_alloc&) { return std::nullopt; }
}

} // namespace velkantrix
