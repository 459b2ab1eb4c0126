// temp_file.h: a file for one test, gone with it.
#pragma once

#include <atomic>
#include <cstdint>
#include <filesystem>
#include <fstream>
#include <random>
#include <string>
#include <system_error>

#include "tests/support/box_builder.h"

namespace velkantrix {

class TempFile {
public:
    // Its name ends in `ending`.
    explicit TempFile(const Bytes& content = {}, const std::filesystem::path& ending = ".mp4")
        : path_(unusedPath(ending)) {
        std::ofstream file(path_, std::ios::binary);
        file.write(reinterpret_cast<const char*>(content.data()),
                   static_cast<std::streamsize>(content.size()));
    }
    TempFile(const TempFile&) = delete;
    TempFile& operator=(const TempFile&) = delete;
    ~TempFile() {
        std::error_code ignored; // an open handle may keep it; the folder is a temporary one
        std::filesystem::remove(path_, ignored);
    }

    [[nodiscard]] const std::filesystem::path& path() const { return path_; }

    // The rest of a longer file reads as zeros and, where the file system can do that, takes no
    // room.
    void resize(std::uint64_t size) { std::filesystem::resize_file(path_, size); }

    // Overwrites bytes within the file.
    void write(std::uint64_t offset, const Bytes& content) {
        std::fstream file(path_, std::ios::binary | std::ios::in | std::ios::out);
        file.seekp(static_cast<std::streamoff>(offset));
        file.write(reinterpret_cast<const char*>(content.data()),
                   static_cast<std::streamsize>(content.size()));
    }

    // Where no file is.
    static std::filesystem::path unusedPath(const std::filesystem::path& ending = ".mp4") {
        static const unsigned process = std::random_device{}();
        static std::atomic<unsigned> count{0};
        const std::string name =
            "velkantrix-" + std::to_string(process) + "-" + std::to_string(count++);
        return (std::filesystem::temp_directory_path() / name) += ending;
    }

private:
    std::filesystem::path path_;
};

} // namespace velkantrix
