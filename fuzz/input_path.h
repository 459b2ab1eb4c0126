// input_path.h: the fuzzer's input as a file in memory, which is opened by its path like any other.
#pragma once

#include <cstddef>
#include <cstdint>
#include <cstdlib>
#include <filesystem>
#include <string>
#include <sys/mman.h>
#include <unistd.h>

namespace velkantrix {

// The same file serves all inputs, one after the other.
inline std::filesystem::path inputPath(const std::uint8_t* data, std::size_t size) {
    static const int descriptor = memfd_create("input", MFD_CLOEXEC);
    if (ftruncate(descriptor, 0) != 0 ||
        pwrite(descriptor, data, size, 0) != static_cast<ssize_t>(size)) {
        std::abort();
    }
    return "/proc/self/fd/" + std::to_string(descriptor);
}

} // namespace velkantrix
