// mp4_boxes.h: the boxes of a recording, as a muxer would write them, for tests to take and to
// spoil.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tests/support/box_builder.h"

namespace velkantrix {

inline Bytes ftyp() {
    return box("ftyp", Bytes().text("isom").u32(0x200).text("isomiso2avc1mp41"));
}

inline Bytes mvhd(std::uint32_t timescale) {
    return fullBox("mvhd", 0, 0, Bytes().u32(0).u32(0).u32(timescale).u32(0).fill(80));
}

inline Bytes tkhd(std::uint32_t trackId, int version = 0) {
    const std::size_t width = version == 1 ? 8 : 4;
    return fullBox("tkhd", version, 3,
                   Bytes().number(0, width).number(0, width).u32(trackId).u32(0).fill(60 + width));
}

inline Bytes mdhd(std::uint32_t timescale, int version = 0) {
    const std::size_t width = version == 1 ? 8 : 4;
    return fullBox(
        "mdhd", version, 0,
        Bytes().number(0, width).number(0, width).u32(timescale).number(0, width).u32(0x55C40000));
}

inline Bytes hdlr(std::string_view handler) {
    return fullBox("hdlr", 0, 0, Bytes().u32(0).text(handler).fill(13));
}

// Tables of {first, second, ...} 32-bit rows behind their number.
inline Bytes rows(const std::vector<std::vector<std::uint32_t>>& table) {
    Bytes bytes;
    bytes.u32(table.size());
    for (const auto& row : table) {
        for (const std::uint32_t value : row) bytes.u32(value);
    }
    return bytes;
}

inline Bytes numbers(const std::vector<std::uint32_t>& values) {
    Bytes bytes;
    bytes.u32(values.size());
    for (const std::uint32_t value : values) bytes.u32(value);
    return bytes;
}

inline Bytes stts(const std::vector<std::vector<std::uint32_t>>& countsAndDeltas) {
    return fullBox("stts", 0, 0, rows(countsAndDeltas));
}
inline Bytes ctts(const std::vector<std::vector<std::uint32_t>>& countsAndOffsets) {
    return fullBox("ctts", 0, 0, rows(countsAndOffsets));
}
inline Bytes stss(const std::vector<std::uint32_t>& samples) {
    return fullBox("stss", 0, 0, numbers(samples));
}
inline Bytes stsz(const std::vector<std::uint32_t>& sizes) {
    return fullBox("stsz", 0, 0, Bytes().u32(0).add(numbers(sizes)));
}
inline Bytes stszUniform(std::uint32_t size, std::uint32_t count) {
    return fullBox("stsz", 0, 0, Bytes().u32(size).u32(count));
}
// {first_chunk, samples_per_chunk}
inline Bytes stsc(const std::vector<std::vector<std::uint32_t>>& entries) {
    Bytes bytes;
    bytes.u32(entries.size());
    for (const auto& entry : entries) bytes.u32(entry[0]).u32(entry[1]).u32(1);
    return fullBox("stsc", 0, 0, bytes);
}
inline Bytes stco(const std::vector<std::uint32_t>& offsets) {
    return fullBox("stco", 0, 0, numbers(offsets));
}
inline Bytes co64(const std::vector<std::uint64_t>& offsets) {
    Bytes bytes;
    bytes.u32(offsets.size());
    for (const std::uint64_t offset : offsets) bytes.u64(offset);
    return fullBox("co64", 0, 0, bytes);
}

// A record with one SPS and one PPS.
inline Bytes avcRecord(const Bytes& sps = {0x67, 0x64, 0, 0x1E}, const Bytes& pps = {0x68, 0xEE},
                       std::uint32_t nalLengthSize = 4) {
    return Bytes{1, 0x64, 0, 0x1E}
        .u8(0xFC | (nalLengthSize - 1))
        .u8(0xE1)
        .u16(sps.size())
        .add(sps)
        .u8(1)
        .u16(pps.size())
        .add(pps);
}

// The 78 bytes in front of a visual sample entry's boxes.
inline Bytes visualFields(std::uint32_t width, std::uint32_t height) {
    return Bytes().fill(6).u16(1).fill(16).u16(width).u16(height).fill(50);
}

inline Bytes avc1(std::uint32_t width, std::uint32_t height, const Bytes& record = avcRecord(),
                  std::string_view type = "avc1") {
    return box(type, visualFields(width, height).add(box("avcC", record)));
}

// An stsd with one entry.
inline Bytes stsd(const Bytes& entry) {
    return fullBox("stsd", 0, 0, Bytes().u32(1).add(entry));
}

// An ES descriptor as encoders write it; `flags` are the stream's.
inline Bytes esds(const Bytes& config, std::uint32_t flags = 0, const Bytes& behindFlags = {}) {
    const Bytes decoder = join({Bytes{5}.u8(config.size()).add(config)});
    const Bytes fields = Bytes{0x40, 0x15}.number(0, 3).u32(128000).u32(128000).add(decoder);
    const Bytes stream =
        Bytes().u16(1).u8(flags).add(behindFlags).u8(4).u8(fields.size()).add(fields);
    return fullBox("esds", 0, 0, Bytes{3}.u8(stream.size()).add(stream));
}

inline Bytes mp4a(std::uint32_t channels, std::uint32_t rate, const Bytes& esdsBox) {
    return box("mp4a", Bytes()
                           .fill(6)
                           .u16(1)
                           .fill(8)
                           .u16(channels)
                           .u16(16)
                           .fill(4)
                           .u32(std::uint64_t{rate} << 16)
                           .add(esdsBox));
}

inline Bytes trak(std::uint32_t trackId, std::uint32_t timescale, std::string_view handler,
                  const Bytes& stbl, const Bytes& edts = {}) {
    const Bytes mdia =
        box("mdia", join({mdhd(timescale), hdlr(handler), box("minf", box("stbl", stbl))}));
    return box("trak", join({tkhd(trackId), edts, mdia}));
}

inline Bytes elst(const std::vector<std::vector<std::uint32_t>>& durationsAndMediaTimes) {
    Bytes bytes;
    bytes.u32(durationsAndMediaTimes.size());
    for (const auto& edit : durationsAndMediaTimes) bytes.u32(edit[0]).u32(edit[1]).u32(0x10000);
    return box("edts", fullBox("elst", 0, 0, bytes));
}

struct TfraEntry {
    std::uint64_t time = 0, moof = 0;
    std::uint32_t traf = 1, trun = 1, sample = 1;
};

// Widths are those of the three numbers, 1 to 4 bytes.
inline Bytes tfra(std::uint32_t trackId, const std::vector<TfraEntry>& entries, int version = 1,
                  std::size_t trafBytes = 1, std::size_t trunBytes = 1,
                  std::size_t sampleBytes = 1) {
    const std::size_t timeBytes = version == 1 ? 8 : 4;
    Bytes bytes;
    bytes.u32(trackId);
    bytes.u32((trafBytes - 1) << 4 | (trunBytes - 1) << 2 | (sampleBytes - 1));
    bytes.u32(entries.size());
    for (const TfraEntry& entry : entries) {
        bytes.number(entry.time, timeBytes).number(entry.moof, timeBytes);
        bytes.number(entry.traf, trafBytes).number(entry.trun, trunBytes);
        bytes.number(entry.sample, sampleBytes);
    }
    return fullBox("tfra", version, 0, bytes);
}

// An mfra around tables, closed by its mfro.
inline Bytes mfra(const Bytes& tables) {
    const std::size_t size = 8 + tables.size() + 16;
    return box("mfra", join({tables, fullBox("mfro", 0, 0, Bytes().u32(size))}));
}

struct TfhdFields {
    std::optional<std::uint64_t> baseDataOffset;
    std::optional<std::uint32_t> descriptionIndex, duration, size, flags;
};

inline Bytes tfhd(std::uint32_t trackId, const TfhdFields& fields = {}) {
    std::uint32_t flags = 0;
    Bytes bytes;
    bytes.u32(trackId);
    if (fields.baseDataOffset) flags |= 0x1, bytes.u64(*fields.baseDataOffset);
    if (fields.descriptionIndex) flags |= 0x2, bytes.u32(*fields.descriptionIndex);
    if (fields.duration) flags |= 0x8, bytes.u32(*fields.duration);
    if (fields.size) flags |= 0x10, bytes.u32(*fields.size);
    if (fields.flags) flags |= 0x20, bytes.u32(*fields.flags);
    return fullBox("tfhd", 0, flags, bytes);
}

inline Bytes tfdt(std::uint64_t time, int version = 1) {
    return fullBox("tfdt", version, 0, Bytes().number(time, version == 1 ? 8 : 4));
}

inline constexpr std::uint32_t SYNC_SAMPLE = 0x02000000, NON_SYNC_SAMPLE = 0x01010000; // flags

// `perSample` are the bits 0x100 (duration), 0x200 (size), 0x400 (flags), 0x800 (composition
// offset) whose values, in this order, each row of `samples` has.
inline Bytes trun(std::uint32_t perSample, const std::vector<std::vector<std::uint32_t>>& samples,
                  std::optional<std::int32_t> dataOffset = std::nullopt,
                  std::optional<std::uint32_t> firstFlags = std::nullopt) {
    std::uint32_t flags = perSample;
    Bytes bytes;
    bytes.u32(samples.size());
    if (dataOffset) flags |= 0x1, bytes.u32(static_cast<std::uint32_t>(*dataOffset));
    if (firstFlags) flags |= 0x4, bytes.u32(*firstFlags);
    for (const auto& sample : samples) {
        for (const std::uint32_t value : sample) bytes.u32(value);
    }
    return fullBox("trun", 0, flags, bytes);
}

// A trun of `count` samples that says nothing of each.
inline Bytes trunOfCount(std::uint32_t count, std::optional<std::int32_t> dataOffset = std::nullopt,
                         std::optional<std::uint32_t> firstFlags = std::nullopt) {
    std::uint32_t flags = 0;
    Bytes bytes;
    bytes.u32(count);
    if (dataOffset) flags |= 0x1, bytes.u32(static_cast<std::uint32_t>(*dataOffset));
    if (firstFlags) flags |= 0x4, bytes.u32(*firstFlags);
    return fullBox("trun", 0, flags, bytes);
}

// A length-prefixed NAL unit.
inline Bytes nal(const Bytes& unit, std::size_t lengthBytes = 4) {
    return Bytes().number(unit.size(), lengthBytes).add(unit);
}

} // namespace velkantrix
