// recordings.h: whole tracks and files of recordings, from mp4_boxes.h, and ways to spoil them.
#pragma once

#include <algorithm>
#include <array>
#include <cstdint>

#include "mp4/box_walk.h"
#include "mp4/random_access.h"
#include "tests/support/mp4_boxes.h"

namespace velkantrix {

// The tables of three samples, the first and the third of them keyframes.
inline Bytes plainTables(const Bytes& sampleEntry, std::uint32_t chunkOffset = 1000) {
    return join({stsd(sampleEntry), stts({{3, 10}}), stss({1, 3}), stsz({100, 20, 30}),
                 stsc({{1, 3}}), stco({chunkOffset})});
}

inline RandomAccessTable plainKeyframes(std::uint64_t chunkOffset = 1000) {
    RandomAccessTable table(2);
    table[0].offset = chunkOffset;
    table[0].size = 100;
    table[1].time = 20;
    table[1].offset = chunkOffset + 120;
    table[1].size = 30;
    return table;
}

inline Bytes videoTrak(std::uint32_t trackId, std::uint32_t timescale,
                       const Bytes& sampleEntry = avc1(1280, 720),
                       std::uint32_t chunkOffset = 1000) {
    return trak(trackId, timescale, "vide", plainTables(sampleEntry, chunkOffset));
}

inline Bytes soundTrak(std::uint32_t trackId, std::uint32_t timescale,
                       const Bytes& sampleEntry = mp4a(2, 44100, esds({0x12, 0x10}))) {
    return trak(trackId, timescale, "soun", stsd(sampleEntry));
}

// What a table holds that was built from `entries`.
inline RandomAccessTable tableOf(const std::vector<TfraEntry>& entries) {
    RandomAccessTable table;
    for (const TfraEntry& entry : entries) {
        table.push_back({entry.time, entry.moof, 0, entry.traf, entry.trun, entry.sample});
    }
    return table;
}

inline Bytes plainFile(const Bytes& moovPayload) {
    return join({ftyp(), box("moov", moovPayload), box("mdat", Bytes().fill(50))});
}

inline Bytes fragmentedFile(const Bytes& moovPayload, const Bytes& tables) {
    return join({ftyp(), box("moov", moovPayload), box("moof", Bytes().fill(8)),
                 box("mdat", Bytes().fill(50)), mfra(tables)});
}

// The same boxes, each of them and of those inside with a 64-bit size.
inline Bytes withLongSizes(ByteView boxes) {
    struct Container {
        BoxType type;
        std::size_t boxesFrom;
    };
    constexpr std::array CONTAINERS{
        Container{boxType("moov"), 0},  Container{boxType("trak"), 0},
        Container{boxType("mdia"), 0},  Container{boxType("minf"), 0},
        Container{boxType("stbl"), 0},  Container{boxType("edts"), 0},
        Container{boxType("stsd"), 8},  Container{boxType("avc1"), 78},
        Container{boxType("mp4a"), 28},
    };
    Bytes all;
    WalkChildren(boxes, [&](BoxType type, ByteView payload) {
        const auto* const found = std::find_if(CONTAINERS.begin(), CONTAINERS.end(),
                                               [&](const Container& c) { return c.type == type; });
        const std::size_t fields = found == CONTAINERS.end() ? payload.size() : found->boxesFrom;
        Bytes content;
        for (const std::uint8_t byte : payload.part(0, fields)) content.u8(byte);
        content.add(withLongSizes(payload.from(fields)));
        all.u32(1).u32(type).u64(content.size() + 16).add(content);
    });
    return all;
}

inline Bytes withLongSizes(const Bytes& boxes) {
    return withLongSizes(ByteView(boxes.vector()));
}

// The same boxes made `size` bytes long by a free box whose content is left to the file that they
// go into: resize it.
inline Bytes padded(Bytes boxes, std::uint64_t size) {
    return boxes.add(boxOfSize("free", size - boxes.size()));
}

} // namespace velkantrix
