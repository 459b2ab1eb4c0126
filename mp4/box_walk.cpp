#include "mp4/box_walk.h"

#include <array>

#include "mp4/input_file.h"

namespace velkantrix {

std::optional<ByteView> childOf(ByteView container, BoxType wanted) {
    std::optional<ByteView> found;
    WalkChildren(container, [&](BoxType type, ByteView payload) {
        if (type == wanted) found = payload;
    });
    return found;
}

std::optional<FileBox> readBoxHeader(const InputFile& file, std::uint64_t offset,
                                     std::uint64_t fileEnd) {
    std::array<std::uint8_t, 8> bytes{};
    if (!ReadAt(file, offset, bytes.data(), bytes.size())) return std::nullopt;
    const ByteView view(bytes.data(), bytes.size());
    FileBox box{view.u32(4), offset, view.u32(0), SHORT_HEADER};
    if (box.size == 1) {
        if (!ReadAt(file, offset + SHORT_HEADER, bytes.data(), bytes.size())) return std::nullopt;
        box.size = view.u64(0);
        box.header = LONG_HEADER;
    } else if (box.size == 0) {
        box.size = fileEnd > offset ? fileEnd - offset : 0;
        box.openEnded = true;
    }
    return box;
}

} // namespace velkantrix
