// video_index.h: what is known of a file's first video track without touching its media data.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "base/file_path.h"
#include "mp4/byte_buffer.h"
#include "mp4/input_file.h"
#include "mp4/random_access.h"

namespace velkantrix {

// What came of the moov that an index is made from: why there is no track, or may be none.
enum class MoovState {
    Missing,    // none among the boxes that are looked at, or the file can't be opened
    TooLong,    // longer than MAX_MOOV_BYTES
    Unreadable, // it runs over the end of the file, or a read failed
    NoMemory,   // it, or a table, doesn't fit into the memory there is
    Irregular,  // its boxes, or a trak's, don't fill it: what was behind a broken one was missed
    Whole,
};

struct VideoTrackIndex {
    // There are keyframes and a time scale. The track may still be of a codec without avcConfig:
    // such a track can be found but not decoded here.
    bool valid = false;
    bool fragmented = false;
    std::uint32_t timescale = 0; // ticks per second; 0: no video track that can be used
    std::uint32_t trackId = 0;
    std::uint32_t width = 0, height = 0; // coded size, pixels, of avc1 and avc3; else 0
    std::vector<std::uint8_t> avcConfig; // AVCDecoderConfigurationRecord, ISO/IEC 14496-15
    RandomAccessTable randomAccess;      // by time, ascending
    MoovState moov = MoovState::Missing;
    // The picture is to be shown as it is coded: neither turned nor mirrored, its pixels square.
    bool shownAsCoded = true;
    // All samples are of the same coding: none need other parameter sets than avcConfig.
    bool oneDescription = true;
    // What has to be added to its composition times, in ticks: editListOffset of its edit list.
    std::int64_t editOffset = 0;
    // The moov holds samples of the track. A fragmented file's fragments come behind them.
    bool hasSamplesInMoov = false;
};

// Reads the index of the file's first video track: from its sample tables, of a fragmented file
// from the mfra at its end. Not valid when the file can't be read, has no video track or no table;
// a plain file whose video track has no stss has none. Takes time and memory in proportion to the
// moov and mfra boxes (table: at most 8 times their bytes).
VideoTrackIndex LoadVideoTrackIndex(const FilePath& path);

inline constexpr std::uint32_t MAX_SCANNED_BOXES = 64;
inline constexpr std::uint64_t MAX_MOOV_BYTES = std::uint64_t{256} << 20;

// The last keyframe at or before `seconds`, the first one when there is none; null only when the
// table is empty or the time scale 0. Looks at whole seconds only, on purpose: for 12.9 it gives
// the last keyframe at or before 12.
const RandomAccessEntry* FindKeyframeAtOrBefore(const VideoTrackIndex& index, double seconds);

// Where a file keeps its moov, and whether a moof follows.
struct TopLevelScan {
    struct Payload {
        std::uint64_t offset = 0, size = 0;
    };
    std::optional<Payload> moov; // the last one
    bool fragmented = false;
};

// Looks at MAX_SCANNED_BOXES boxes at most, up to the first moof.
TopLevelScan scanTopLevel(const InputFile& file);

// Reads the moov's payload; false when there is none, it is too long or can't be read.
[[nodiscard]] bool readMoov(ByteBuffer& moov, const InputFile& file, const TopLevelScan& scan);

} // namespace velkantrix
