#include "mp4/track_count.h"

#include <new>

#include "mp4/box_walk.h"
#include "mp4/byte_buffer.h"
#include "mp4/input_file.h"
#include "mp4/track_boxes.h"
#include "mp4/video_index.h"

namespace velkantrix {

TrackCount countTracks(ByteView moov) {
    TrackCount count;
    WalkChildren(moov, [&](BoxType type, ByteView payload) {
        if (type != boxType("trak")) return;
        const TrackBoxes track = readTrackBoxes(payload);
        ++count.all;
        if (track.isVideo) ++count.video;
        if (track.isSound) ++count.sound;
    });
    return count;
}

std::optional<TrackCount> countTracksOfFile(const FilePath& path) {
    const InputFile file = OpenForRandomAccess(path);
    if (!file) return std::nullopt;
    try {
        ByteBuffer moov;
        if (!readMoov(moov, file, scanTopLevel(file))) return std::nullopt;
        const TrackCount count = countTracks(moov.view());
        return count.all > 0 ? std::optional(count) : std::nullopt;
    } catch (const std::bad_alloc&) { return std::nullopt; }
}

} // namespace velkantrix
