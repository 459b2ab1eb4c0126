// box_walk.h: the one rule by which boxes are walked, in memory and in a file (ISO/IEC
// 14496-12, 4.2).
//
// A box starts with its size in bytes, header included (32 bits), and its type. Size 1: the size
// follows the type, in 64 bits. Size 0: the box runs to the end of what it lies in. A box that is
// smaller than its header or runs over the end makes the walk stop; nothing behind it is looked at.
#pragma once

#include <cstdint>
#include <limits>
#include <optional>

#include "mp4/byte_view.h"

namespace velkantrix {

struct InputFile;

// Four characters, compared byte for byte.
using BoxType = std::uint32_t;

consteval BoxType boxType(const char (&text)[5]) {
    BoxType type = 0;
    for (int i = 0; i < 4; ++i) type = type << 8 | static_cast<unsigned char>(text[i]);
    return type;
}

inline constexpr std::uint32_t SHORT_HEADER = 8, LONG_HEADER = 16; // bytes

// Calls visitor(BoxType type, ByteView payload) for each sound box of `bytes`, in their order. True
// when every one said how long it is and none stopped the walk.
template <class Visitor>
bool WalkChildren(ByteView bytes, Visitor&& visitor) {
    std::size_t position = 0;
    bool sized = true;
    while (bytes.size() - position >= SHORT_HEADER) {
        const std::size_t rest = bytes.size() - position;
        const BoxType type = bytes.u32(position + 4);
        std::uint64_t size = bytes.u32(position);
        std::size_t header = SHORT_HEADER;
        if (size == 1) {
            if (rest < LONG_HEADER) return false;
            size = bytes.u64(position + SHORT_HEADER);
            header = LONG_HEADER;
        } else if (size == 0) {
            size = rest;
            sized = false;
        }
        if (size < header || size > rest) return false;
        const auto length = static_cast<std::size_t>(size);
        visitor(type, bytes.part(position + header, length - header));
        position += length;
    }
    return sized;
}

// The payload of a container's child of this type, of several the last.
std::optional<ByteView> childOf(ByteView container, BoxType wanted);

// A box of a file. Its size is what the file says: it may be smaller than the header, and may run
// over the end of the file.
struct FileBox {
    BoxType type = 0;
    std::uint64_t offset = 0;            // of the header, bytes from the start of the file
    std::uint64_t size = 0;              // bytes, header included
    std::uint32_t header = SHORT_HEADER; // bytes
    bool openEnded = false;              // it says that it runs to the end of the file

    [[nodiscard]] bool holdsItsHeader() const { return size >= header; }
    [[nodiscard]] std::uint64_t payloadOffset() const { return offset + header; }
    [[nodiscard]] std::uint64_t payloadSize() const { return size - header; } // of a sound box
    // Where the next box begins; the largest number where no file can be so long.
    [[nodiscard]] std::uint64_t end() const {
        const std::uint64_t most = std::numeric_limits<std::uint64_t>::max();
        return size > most - offset ? most : offset + size;
    }
};

// Reads the header at `offset`, 8 bytes or 16; `fileEnd` is where a box of size 0 ends. Nothing
// when it can't be read.
std::optional<FileBox> readBoxHeader(const InputFile& file, std::uint64_t offset,
                                     std::uint64_t fileEnd);

} // namespace velkantrix
