// held_files.h: the files that the program's own media sources hold open. They close them on Media
// Foundation's threads, behind what these read just now, while whoever ended a source goes on.
#pragma once

#include <cstdint>

namespace velkantrix {

// One file, for as long as this lives. Any thread.
class HeldFile {
public:
    HeldFile();
    ~HeldFile();
    HeldFile(const HeldFile&) = delete;
    HeldFile& operator=(const HeldFile&) = delete;
};

inline constexpr std::uint32_t LONGEST_FILES_WAIT = 1000; // milliseconds

// Whether no file is held any more; waited for so many milliseconds at most. Sources that nobody
// has shut down hold theirs.
[[nodiscard]] bool sourceFilesAreClosed(std::uint32_t longestWait = LONGEST_FILES_WAIT);

} // namespace velkantrix
