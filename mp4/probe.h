// probe.h: what kind of file is it? Answered from its top-level boxes' headers alone, so that files
// of many gigabytes take milliseconds.
#pragma once

#include <cstdint>

#include "base/file_path.h"
#include "mp4/input_file.h"

namespace velkantrix {

struct ProbeResult {
    bool startsWithFtyp = false;
    bool hasMoof = false;        // it is fragmented (ISO/IEC 14496-12, 8.8)
    std::uint32_t moofCount = 0; // within the boxes walked
    bool reachedEnd = false; // the boxes cover the whole file; the last one may run over its end

    bool operator==(const ProbeResult&) const = default;
};

// All false and 0 when the file can't be opened. At most MAX_PROBED_BOXES boxes are walked.
ProbeResult ProbeFile(const FilePath& path);

inline constexpr std::uint32_t MAX_PROBED_BOXES = 2100;

// A recording of many fragments in which the system's own reader seeks slowly. Both limits are
// fixed. False when the file can't be read.
bool IsLargeFragmentedFile(const FilePath& path);

inline constexpr std::uint64_t LARGE_FILE_BYTES = std::uint64_t{6} << 30;
inline constexpr std::uint32_t LARGE_FILE_FRAGMENTS = 64;

enum class WalkEnd {
    FileEnd,    // every byte belongs to a box
    BoxLimit,   // there are more boxes than are walked
    BadBox,     // a box is smaller than its header
    Unreadable, // the next header isn't whole, or can't be read
};

struct TopLevelWalk {
    ProbeResult result;
    WalkEnd end = WalkEnd::Unreadable;
    std::uint64_t offset = 0; // where it ended: of the bad or missing box, else of the next one
};

// The probe of an open file, with the reason why it ended.
TopLevelWalk walkTopLevel(const InputFile& file);

} // namespace velkantrix
