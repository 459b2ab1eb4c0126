#include "mp4/video_index.h"

#include <algorithm>
#include <limits>
#include <new>
#include <tuple>

#include "mp4/box_walk.h"
#include "mp4/track_description.h"

namespace velkantrix {
namespace {

// By time. Of equal times, of which a lookup takes the last, the order is the same everywhere.
bool earlier(const RandomAccessEntry& a, const RandomAccessEntry& b) {
    return std::tie(a.time, a.offset, a.trafNumber, a.trunNumber, a.sampleNumber) <
           std::tie(b.time, b.offset, b.trafNumber, b.trunNumber, b.sampleNumber);
}

MoovState whyUnread(const TopLevelScan& scan) {
    if (!scan.moov) return MoovState::Missing;
    return scan.moov->size > MAX_MOOV_BYTES ? MoovState::TooLong : MoovState::Unreadable;
}

VideoTrackIndex loadIndex(const FilePath& path) {
    VideoTrackIndex index;
    const InputFile file = OpenForRandomAccess(path);
    if (!file) return index;
    const TopLevelScan scan = scanTopLevel(file);
    index.fragmented = scan.fragmented;
    {
        ByteBuffer moov;
        if (!readMoov(moov, file, scan)) {
            index.moov = whyUnread(scan);
            return index;
        }
        readVideoTrack(moov.view(), index);
    }
    if (index.timescale == 0) return index;
    if (index.fragmented) {
        // With its memory: the index may be kept though it is refused.
        index.randomAccess = RandomAccessTable();
        ByteBuffer mfra;
        if (!readMfra(mfra, file, file.size)) return index;
        index.randomAccess = videoRandomAccess(childrenOfMfra(mfra), index.trackId);
    }
    RandomAccessTable& table = index.randomAccess;
    if (!std::is_sorted(table.begin(), table.end(), earlier)) {
        std::sort(table.begin(), table.end(), earlier);
    }
    index.valid = !table.empty();
    return index;
}

} // namespace

TopLevelScan scanTopLevel(const InputFile& file) {
    TopLevelScan scan;
    std::uint64_t offset = 0;
    for (std::uint32_t boxes = 0; boxes < MAX_SCANNED_BOXES; ++boxes) {
        const auto box = readBoxHeader(file, offset, file.size);
        if (!box) break;
        if (box->type == boxType("moof")) {
            scan.fragmented = true;
            break;
        }
        if (!box->holdsItsHeader()) break;
        if (box->type == boxType("moov")) {
            scan.moov = TopLevelScan::Payload{box->payloadOffset(), box->payloadSize()};
        }
        offset = box->end();
        if (scan.moov && offset >= file.size) break;
    }
    return scan;
}

bool readMoov(ByteBuffer& moov, const InputFile& file, const TopLevelScan& scan) {
    return scan.moov && scan.moov->size <= MAX_MOOV_BYTES &&
           readInto(moov, file, scan.moov->offset, scan.moov->size);
}

VideoTrackIndex LoadVideoTrackIndex(const FilePath& path) {
    try {
        return loadIndex(path);
    } catch (const std::bad_alloc&) {
        VideoTrackIndex none; // of a file that this machine can't hold the tables of
        none.moov = MoovState::NoMemory;
        return none;
    }
}

const RandomAccessEntry* FindKeyframeAtOrBefore(const VideoTrackIndex& index, double seconds) {
    const RandomAccessTable& table = index.randomAccess;
    if (table.empty() || index.timescale == 0) return nullptr;
    std::uint64_t target = 0;
    constexpr std::uint64_t MOST = std::numeric_limits<std::uint64_t>::max();
    const std::uint64_t mostSeconds = MOST / index.timescale;
    if (seconds >= static_cast<double>(mostSeconds)) {
        target =
            MOST; // it stays there on purpose: a product that wrapped around would be an early time
    } else if (seconds > 0) { // not-a-number isn't
        target = static_cast<std::uint64_t>(seconds) * index.timescale;
    }
    // By hand: a table of an unsorted file must give some entry too.
    std::size_t first = 0, last = table.size();
    while (first < last) {
        const std::size_t middle = first + (last - first) / 2;
        if (table[middle].time > target) {
            last = middle;
        } else {
            first = middle + 1;
        }
    }
    return &table[first == 0 ? 0 : first - 1];
}

} // namespace velkantrix
