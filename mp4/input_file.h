// input_file.h: files that are read in pieces at given positions. Nothing here writes.
//
// An InputFile may be read by several threads at once.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>

#include "base/file_path.h"
#include "base/unique_handle.h"
#include "mp4/byte_buffer.h"

namespace velkantrix {

// The system's handle of a file as a number: a HANDLE or a file descriptor.
struct InputHandleTraits {
    using Value = std::intptr_t;
    static Value none() { return -1; }
    static void close(Value handle);
};

using UniqueInputHandle = UniqueHandle<InputHandleTraits>;

struct InputFile {
    UniqueInputHandle handle;
    std::uint64_t size = 0; // bytes, when it was opened: no read goes beyond

    explicit operator bool() const { return static_cast<bool>(handle); }
    // These bytes were in the file when it was opened.
    [[nodiscard]] bool reaches(std::uint64_t offset, std::uint64_t length) const {
        return offset <= size && length <= size - offset;
    }
};

// Open an existing file for reading while others may read and write it; none when that fails or
// when it is no file but a folder, a pipe or a device. The system is told how it will be read.
InputFile OpenForRandomAccess(const FilePath& path);
InputFile openForSequentialScan(const FilePath& path);

// A file's size in bytes by its attributes, for which it need not be open to reading; nothing when
// there is none or it is a folder.
std::optional<std::uint64_t> fileSizeFromAttributes(const FilePath& path);

// Reads exactly `length` bytes from `offset` on. False when they aren't all there; where they would
// reach beyond the file's size nothing is read at all.
[[nodiscard]] bool ReadAt(const InputFile& file, std::uint64_t offset, void* buffer,
                          std::size_t length);

// The same into a buffer of that size, which is made only when the file is long enough. It is empty
// when the read fails. Throws std::bad_alloc.
[[nodiscard]] bool readInto(ByteBuffer& buffer, const InputFile& file, std::uint64_t offset,
                            std::uint64_t length);

// What the twins provide. The first: bytes read, which may be fewer than asked for; 0 at the end
// and on errors. `length` is at most MAX_READ.
inline constexpr std::size_t MAX_READ = std::size_t{1} << 30;
std::size_t readSome(std::intptr_t handle, std::uint64_t offset, void* buffer, std::size_t length);

} // namespace velkantrix
