#include "mp4/input_file.h"

#include <algorithm>

namespace velkantrix {
bool ReadAt(const InputFile& file, std::uint64_t offset, void* buffer, std::size_t length) {
    if (!file || !file.reaches(offset, length)) return false;
    auto* bytes = static_cast<std::uint8_t*>(buffer);
    while (length > 0) {
        const std::size_t got =
            readSome(file.handle.get(), offset, bytes, std::min(length, MAX_READ));
        if (got == 0) return false;
        bytes += got;
        offset += got;
        length -= got;
    }
    return true;
}

bool readInto(ByteBuffer& buffer, const InputFile& file, std::uint64_t offset,
              std::uint64_t length) {
    buffer.clear();
    if (!file || !file.reaches(offset, length)) return false;
    buffer.allocate(static_cast<std::size_t>(length));
    if (ReadAt(file, offset, buffer.data(), buffer.size())) return true;
    buffer.clear();
    return false;
}

} // namespace velkantrix
