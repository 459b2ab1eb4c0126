// track_description.h: what a decoder needs to know of the first video and the first audio track.
#pragma once

#include <cstdint>
#include <vector>

#include "base/file_path.h"
#include "mp4/byte_view.h"
#include "mp4/video_index.h"

namespace velkantrix {

// Fills in, from a moov's payload, whether its boxes are whole, the description of its first video
// track with a time scale, or of its last one when none has any, and, from that track's sample
// tables, its keyframes. Without a video track the rest isn't changed.
void readVideoTrack(ByteView moov, VideoTrackIndex& index);

// Fills in the size and configuration from the first avc1 or avc3 of an stsd's entries (ISO/IEC
// 14496-12, 12.1.3, and 14496-15). Other codecs leave all of it as it was. Whether there is more
// than one entry is told in any case.
void readVideoSampleEntry(ByteView entries, VideoTrackIndex& index);

struct AudioTrackInfo {
    bool valid = false;
    std::uint32_t trackId = 0;
    std::uint32_t timescale = 0;  // ticks per second
    std::uint32_t sampleRate = 0; // Hz
    std::uint16_t channels = 0;
    std::vector<std::uint8_t> audioConfig; // AudioSpecificConfig, ISO/IEC 14496-3
    RandomAccessTable randomAccess;        // in the file's order
};

// The first AAC track that has a table in the file's mfra: only fragmented files have any, and only
// they are read by what needs this.
AudioTrackInfo LoadAudioTrackInfo(const FilePath& path);

// What that is to the file as a whole.
struct FileSound {
    AudioTrackInfo track;
    // What has to be added to its composition times, in ticks: editListOffset of its edit list.
    std::int64_t editOffset = 0;
    bool hasSamplesInMoov = false; // as in VideoTrackIndex
    bool oneDescription = true;    // likewise: none need another configuration than audioConfig
    std::uint8_t objectType = 0;   // objectTypeIndication, ISO/IEC 14496-1: what audioConfig is of
    // Nothing of the file's first track of sound is left out: `track` is that one, or there is none
    // at all. False when it isn't known.
    bool isFirst = false;
};

FileSound loadFileSound(const FilePath& path);

inline constexpr std::uint32_t MAX_AUDIO_SCANNED_BOXES = 16;
inline constexpr std::uint64_t MAX_AUDIO_MOOV_BYTES = std::uint64_t{32} << 20;

// The DecoderSpecificInfo of an esds payload (ISO/IEC 14496-1, 7.2.6); empty where it isn't found.
ByteView audioConfigOf(ByteView esds);

// The objectTypeIndication of one with a DecoderSpecificInfo, else 0.
std::uint8_t objectTypeOf(ByteView esds);

} // namespace velkantrix
