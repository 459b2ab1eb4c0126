#include "mp4/track_heads.h"

#include <algorithm>
#include <array>
#include <cstddef>

#include "mp4/byte_view.h"
#include "mp4/video_index.h"

namespace velkantrix {
namespace {

struct Range {
    std::uint64_t offset = 0, end = 0;
};

Range payloadOf(const FileBox& box) {
    return {box.payloadOffset(), box.end()};
}

class HeadWalk {
public:
    explicit HeadWalk(const InputFile& file) : file_(file) {}

    // Calls visitor(box) for each sound box in front of the first broken one.
    template <class Visitor>
    void children(Range range, Visitor&& visitor) {
        while (!failed_ && range.offset < range.end && range.end - range.offset >= SHORT_HEADER) {
            const auto box = readBoxHeader(file_, range.offset, range.end);
            failed_ = !box || boxesLeft_ == 0;
            if (failed_ || !box->holdsItsHeader() || box->end() > range.end) return;
            boxesLeft_--;
            visitor(*box);
            range.offset = box->end();
        }
    }

    // The first bytes of the payload; what it doesn't have is 0.
    template <std::size_t size>
    std::array<std::uint8_t, size> bytesOf(const FileBox& box) {
        std::array<std::uint8_t, size> bytes{};
        const std::uint64_t length = box.payloadSize();
        const std::size_t wanted = length < size ? static_cast<std::size_t>(length) : size;
        if (!ReadAt(file_, box.payloadOffset(), bytes.data(), wanted)) failed_ = true;
        return bytes;
    }

    [[nodiscard]] bool failed() const { return failed_; }

private:
    const InputFile& file_;
    std::uint32_t boxesLeft_ = MAX_HEAD_BOXES;
    bool failed_ = false;
};

std::vector<std::uint8_t> readEdits(HeadWalk& walk, const FileBox& elst) {
    const auto bytes = walk.bytesOf<MAX_HEAD_EDITS>(elst);
    const auto size = std::min<std::uint64_t>(elst.payloadSize(), bytes.size());
    return {bytes.begin(), bytes.begin() + static_cast<std::ptrdiff_t>(size)};
}

// All ones say that it isn't known.
void readMediaHeader(ByteView mdhd, TrackHead& track) {
    if (mdhd.u8(0) == 1) {
        track.timescale = mdhd.u32(20);
        if (mdhd.u64(24) != ~std::uint64_t{0}) track.duration = mdhd.u64(24);
        return;
    }
    track.timescale = mdhd.u32(12);
    if (mdhd.u32(16) != ~std::uint32_t{0}) track.duration = mdhd.u32(16);
}

// An mvhd begins as an mdhd does.
void readMovieHeader(HeadWalk& walk, const FileBox& mvhd, TrackHead& movie) {
    const auto bytes = walk.bytesOf<32>(mvhd);
    readMediaHeader(ByteView(bytes.data(), bytes.size()), movie);
}

std::uint32_t readTrackId(HeadWalk& walk, const FileBox& tkhd) {
    const auto bytes = walk.bytesOf<24>(tkhd);
    const ByteView view(bytes.data(), bytes.size());
    return view.u32(view.u8(0) == 1 ? 20 : 12);
}

TrackHead readHead(HeadWalk& walk, const FileBox& trak) {
    TrackHead track;
    walk.children(payloadOf(trak), [&](const FileBox& holder) {
        if (holder.type == boxType("tkhd")) track.trackId = readTrackId(walk, holder);
        if (holder.type != boxType("mdia") && holder.type != boxType("edts")) return;
        walk.children(payloadOf(holder), [&](const FileBox& box) {
            if (box.type == boxType("hdlr")) {
                const auto bytes = walk.bytesOf<12>(box);
                track.handler = ByteView(bytes.data(), bytes.size()).u32(8);
            } else if (box.type == boxType("mdhd")) {
                const auto bytes = walk.bytesOf<32>(box);
                readMediaHeader(ByteView(bytes.data(), bytes.size()), track);
            } else if (box.type == boxType("elst")) {
                track.edits = readEdits(walk, box);
            }
        });
    });
    return track;
}

} // namespace

std::optional<std::vector<TrackHead>> readTrackHeads(const InputFile& file) {
    const TopLevelScan scan = scanTopLevel(file);
    if (!scan.moov || !file.reaches(scan.moov->offset, scan.moov->size)) return std::nullopt;
    HeadWalk walk(file);
    std::vector<TrackHead> tracks;
    TrackHead movie;
    walk.children({scan.moov->offset, scan.moov->offset + scan.moov->size},
                  [&](const FileBox& box) {
                      if (box.type == boxType("trak")) tracks.push_back(readHead(walk, box));
                      if (box.type == boxType("mvhd")) readMovieHeader(walk, box, movie);
                  });
    for (TrackHead& track : tracks) {
        track.movieTimescale = movie.timescale;
        track.movieDuration = movie.duration;
    }
    return walk.failed() ? std::nullopt : std::optional(tracks);
}

} // namespace velkantrix
