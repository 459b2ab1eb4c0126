// file_look.h: what is seen of a file by its name.
#pragma once

#include <cstdint>

#include "base/file_stamp.h"

namespace velkantrix {

struct FileLook {
    enum class Found {
        File,
        Nothing, // or a folder
        Unknown, // it can't be told: the server doesn't answer, say
    };
    Found found = Found::Unknown;
    FileStamp stamp; // of a file
    bool readOnly = false;
    std::uint32_t error = 0; // the system's number of why it is unknown
};

} // namespace velkantrix
