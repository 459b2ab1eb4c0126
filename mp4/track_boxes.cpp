#include "mp4/track_boxes.h"

#include "mp4/box_walk.h"

namespace velkantrix {
namespace {

constexpr std::size_t MIN_SOUND_MDHD_BYTES = 20; // of its payload

// tkhd and mdhd have two times in front of the field, whose width depends on the version.
std::uint32_t fieldBehindTimes(ByteView payload) {
    return payload.u32(payload.u8(0) == 1 ? 20 : 12);
}

// By the matrix of a tkhd. One that is missing, or all zeros, does nothing to the picture.
bool turnsPicture(ByteView tkhd) {
    const std::size_t matrix = tkhd.u8(0) == 1 ? 52 : 40;
    const auto element = [&](std::size_t row, std::size_t column) {
        return static_cast<std::int32_t>(tkhd.u32(matrix + (row * 3 + column) * 4));
    };
    return element(0, 1) != 0 || element(1, 0) != 0 || element(0, 0) < 0 || element(1, 1) < 0;
}

// Takes the last child of a type. False when not all of the container's boxes could be seen.
bool takeChild(ByteView container, BoxType wanted, std::optional<ByteView>& child) {
    return WalkChildren(container, [&](BoxType type, ByteView payload) {
        if (type == wanted) child = payload;
    });
}

bool readMedia(ByteView mdia, TrackBoxes& track) {
    bool minfRegular = true;
    const bool regular = WalkChildren(mdia, [&](BoxType type, ByteView payload) {
        switch (type) {
        case boxType("mdhd"):
            track.timescale = fieldBehindTimes(payload);
            if (payload.size() >= MIN_SOUND_MDHD_BYTES) track.soundTimescale = track.timescale;
            break;
        case boxType("hdlr"):
            if (payload.size() < 12) break;
            if (payload.u32(8) == boxType("vide")) track.isVideo = true;
            if (payload.u32(8) == boxType("soun")) track.isSound = true;
            break;
        case boxType("minf"):
            if (!takeChild(payload, boxType("stbl"), track.stbl)) minfRegular = false;
            break;
        default:
            break;
        }
    });
    return regular && minfRegular;
}

} // namespace

TrackBoxes readTrackBoxes(ByteView trak) {
    TrackBoxes track;
    bool insideRegular = true;
    const bool regular = WalkChildren(trak, [&](BoxType type, ByteView payload) {
        switch (type) {
        case boxType("tkhd"):
            track.trackId = fieldBehindTimes(payload);
            track.isTurned = turnsPicture(payload);
            break;
        case boxType("mdia"):
            if (!readMedia(payload, track)) insideRegular = false;
            break;
        case boxType("edts"):
            track.elst.reset();
            if (!takeChild(payload, boxType("elst"), track.elst)) insideRegular = false;
            break;
        default:
            break;
        }
    });
    track.regular = regular && insideRegular;
    return track;
}

std::uint32_t movieTimescale(ByteView moov) {
    return fieldBehindTimes(childOf(moov, boxType("mvhd")).value_or(ByteView()));
}

VideoTrackSearch findVideoTrack(ByteView moov) {
    VideoTrackSearch search;
    search.moovRegular = WalkChildren(moov, [&](BoxType type, ByteView payload) {
        if (type != boxType("trak")) return;
        const TrackBoxes track = readTrackBoxes(payload);
        if (!track.regular) search.traksRegular = false;
        const bool found = search.track && search.track->timescale != 0;
        if (!found && track.isVideo) search.track = track;
    });
    return search;
}

} // namespace velkantrix
