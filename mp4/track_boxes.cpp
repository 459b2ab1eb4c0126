#include "mp4/track_boxes.h"

#include "mp4/box_walk.h"

namespace velkantrix {
namespace {

// tkhd and mdhd have two times in front of the field, whose width depends on the version.
std::uint32_t fieldBehindTimes(ByteView payload) {
    return payload.u32(payload.u8(0) == 1 ? 20 : 12);
}

void readMedia(ByteView mdia, TrackBoxes& track) {
    WalkChildren(mdia, [&](BoxType type, ByteView payload) {
        switch (type) {
        case boxType("mdhd"):
            track.timescale = fieldBehindTimes(payload);
            track.mdhdBytes = payload.size();
            break;
        case boxType("hdlr"):
            if (payload.size() < 12) break;
            if (payload.u32(8) == boxType("vide")) track.isVideo = true;
            if (payload.u32(8) == boxType("soun")) track.isSound = true;
            break;
        case boxType("minf"):
            if (const auto stbl = childOf(payload, boxType("stbl"))) track.stbl = stbl;
            break;
        default:
            break;
        }
    });
}

} // namespace

TrackBoxes readTrackBoxes(ByteView trak) {
    TrackBoxes track;
    WalkChildren(trak, [&](BoxType type, ByteView payload) {
        switch (type) {
        case boxType("tkhd"):
            track.trackId = fieldBehindTimes(payload);
            break;
        case boxType("mdia"):
            readMedia(payload, track);
            break;
        case boxType("edts"):
            track.elst = childOf(payload, boxType("elst"));
            break;
        default:
            break;
        }
    });
    return track;
}

std::uint32_t movieTimescale(ByteView moov) {
    return fieldBehindTimes(childOf(moov, boxType("mvhd")).value_or(ByteView()));
}

std::optional<TrackBoxes> findVideoTrack(ByteView moov) {
    std::optional<TrackBoxes> found;
    WalkChildren(moov, [&](BoxType type, ByteView payload) {
        if (found || type != boxType("trak")) return;
        const TrackBoxes track = readTrackBoxes(payload);
        if (track.isVideo && track.timescale != 0) found = track;
    });
    return found;
}

} // namespace velkantrix
