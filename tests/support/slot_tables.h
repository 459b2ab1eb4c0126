// slot_tables.h: a plain track's sample tables unfolded slot by slot, as plainly as can be: what
// the product's cursors over the folded tables are measured against. Only for small tables.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tests/support/box_builder.h"

namespace velkantrix {

// The payloads of the tables.
struct TablePayloads {
    Bytes stts, stss, stsz, stsc;
    std::optional<Bytes> stco, co64, ctts;
};

// A big-endian field; 0 where it isn't wholly inside.
inline std::uint64_t fieldAt(const Bytes& payload, std::uint64_t position, std::uint64_t bytes) {
    if (position + bytes > payload.size()) return 0;
    std::uint64_t value = 0;
    for (std::uint64_t i = 0; i < bytes; ++i) {
        value = value * 256 + payload.vector()[static_cast<std::size_t>(position + i)];
    }
    return value;
}

struct Slots {
    std::uint64_t samples = 0;
    std::vector<std::uint64_t> times;   // samples + 1
    std::vector<std::uint64_t> offsets; // samples
    std::vector<std::uint64_t> sizes;   // samples
};

inline std::vector<std::uint64_t> sizeSlots(const Bytes& stsz, std::uint64_t samples) {
    std::vector<std::uint64_t> sizes;
    const std::uint64_t common = fieldAt(stsz, 4, 4);
    for (std::uint64_t i = 0; i < samples; ++i) {
        sizes.push_back(common != 0 ? common : fieldAt(stsz, 12 + 4 * i, 4));
    }
    return sizes;
}

inline std::vector<std::uint64_t> timeSlots(const Bytes& stts, std::uint64_t samples) {
    std::vector<std::uint64_t> times(static_cast<std::size_t>(samples + 1), 0);
    std::uint64_t sum = 0;
    std::size_t filled = 0;
    for (std::uint64_t i = 0; i < fieldAt(stts, 4, 4); ++i) {
        const std::uint64_t at = 8 + 8 * i;
        if (at + 8 > stts.size()) break;
        for (std::uint64_t n = fieldAt(stts, at, 4); n > 0 && filled < samples; --n) {
            times[filled++] = sum;
            sum += fieldAt(stts, at + 4, 4);
        }
    }
    times[filled] = sum;
    return times;
}

inline std::vector<std::uint64_t> offsetSlots(const TablePayloads& tables,
                                              const std::vector<std::uint64_t>& sizes) {
    std::vector<std::uint64_t> offsets(sizes.size(), 0);
    std::size_t filled = 0;
    const Bytes& chunkTable = tables.stco ? *tables.stco : *tables.co64;
    const std::uint64_t width = tables.stco ? 4 : 8;
    const std::uint64_t chunks = fieldAt(chunkTable, 4, 4);
    const std::uint64_t entries = fieldAt(tables.stsc, 4, 4);
    for (std::uint64_t i = 0; i < entries; ++i) {
        const std::uint64_t at = 8 + 12 * i;
        if (at + 12 > tables.stsc.size()) break;
        const bool isLast = i + 1 >= entries || at + 24 > tables.stsc.size();
        const std::uint32_t last =
            isLast ? static_cast<std::uint32_t>(chunks)
                   : static_cast<std::uint32_t>(fieldAt(tables.stsc, at + 12, 4)) - 1;
        for (std::uint64_t chunk = fieldAt(tables.stsc, at, 4); chunk <= last; ++chunk) {
            if (chunk == 0) continue;
            if (chunk > chunks) break; // as are all behind it
            std::uint64_t offset = fieldAt(chunkTable, 8 + width * (chunk - 1), width);
            for (std::uint64_t n = fieldAt(tables.stsc, at + 4, 4); n > 0; --n) {
                if (filled == sizes.size()) return offsets;
                offsets[filled] = offset;
                offset += sizes[filled++];
            }
        }
    }
    return offsets;
}

inline Slots unfold(const TablePayloads& tables) {
    Slots slots;
    slots.samples = fieldAt(tables.stsz, 8, 4);
    slots.sizes = sizeSlots(tables.stsz, slots.samples);
    slots.times = timeSlots(tables.stts, slots.samples);
    slots.offsets = offsetSlots(tables, slots.sizes);
    return slots;
}

inline Bytes stblOf(const TablePayloads& tables) {
    Bytes stbl = join({box("stts", tables.stts), box("stss", tables.stss), box("stsz", tables.stsz),
                       box("stsc", tables.stsc)});
    if (tables.co64) stbl.add(box("co64", *tables.co64));
    if (tables.stco) stbl.add(box("stco", *tables.stco));
    if (tables.ctts) stbl.add(box("ctts", *tables.ctts));
    return stbl;
}

} // namespace velkantrix
