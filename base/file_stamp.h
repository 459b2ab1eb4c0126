// file_stamp.h: by what a file is told from what it was before.
#pragma once

#include <cstdint>

namespace velkantrix {

struct FileStamp {
    std::uint64_t size = UNKNOWN_SIZE; // bytes
    std::uint64_t time = 0;            // of the last change, in 100 ns since 1601
    static constexpr std::uint64_t UNKNOWN_SIZE = 0xFFFFFFFFFFFFFFFF; // it can't be examined

    bool operator==(const FileStamp&) const = default;
};

} // namespace velkantrix
