// random_access.h: tables of the places where decoding can start, and the mfra box that holds those
// of a fragmented file (ISO/IEC 14496-12, 8.8.9 to 8.8.11).
#pragma once

#include <cstdint>
#include <vector>

#include "mp4/byte_buffer.h"
#include "mp4/input_file.h"

namespace velkantrix {

// One keyframe. Of a plain file: the sample itself. Of a fragmented one: the place that tfra names.
struct RandomAccessEntry {
    std::uint64_t time = 0;   // ticks of the track's time scale; plain: decode time
    std::uint64_t offset = 0; // in the file, bytes; plain: of the sample; fragmented: of its moof
    std::uint32_t size = 0;   // bytes; fragmented: 0, unknown until the fragment is parsed
    std::uint32_t trafNumber = 1;   // which traf of the moof, from 1
    std::uint32_t trunNumber = 1;   // which trun of the traf, from 1
    std::uint32_t sampleNumber = 1; // which sample of the trun, from 1

    bool operator==(const RandomAccessEntry&) const = default;
};

using RandomAccessTable = std::vector<RandomAccessEntry>;

inline constexpr std::uint64_t MAX_MFRA_BYTES = std::uint64_t{64} << 20;

// Reads the mfra box that ends at `fileSize`, found by the mfro in the last 16 bytes in front of
// it. False when there is none or it is longer than MAX_MFRA_BYTES or `fileSize`. Throws
// std::bad_alloc.
[[nodiscard]] bool readMfra(ByteBuffer& mfra, const InputFile& file, std::uint64_t fileSize);

// The children of a box that readMfra has read. A header of 8 bytes is assumed: on purpose. Behind
// a long one nothing comes out.
ByteView childrenOfMfra(const ByteBuffer& mfra);

// The video track's entries: those of the first tfra that has some, belongs to the track (trackId
// 0: any) and fits its box; a box that doesn't is ignored as a whole. In file order.
RandomAccessTable videoRandomAccess(ByteView mfraChildren, std::uint32_t trackId);

struct AudioRandomAccess {
    RandomAccessTable entries; // in file order
    bool found = false;
};

// The audio track's entries: those of the first tfra of exactly this track (0 matches none) that
// has some. Unlike above, a table that overruns its box is read up to its last whole entry.
AudioRandomAccess audioRandomAccess(ByteView mfraChildren, std::uint32_t trackId);

// The tracks for which audioRandomAccess finds entries, ascending, each once. Takes memory for an
// eighth of the tables' bytes at most.
std::vector<std::uint32_t> tracksWithRandomAccess(ByteView mfraChildren);

// Fills `entries`, empty before, from the mfra of a file of `fileSize` bytes for audio track
// `trackId`. False when there are none.
[[nodiscard]] bool ReadAudioRandomAccess(const InputFile& file, std::uint64_t fileSize,
                                         std::uint32_t trackId, RandomAccessTable& entries);

} // namespace velkantrix
