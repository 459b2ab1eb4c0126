// fragmented_file.h: the pieces of a fragmented recording, for tests to put together and to spoil.
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "tests/support/box_builder.h"
#include "tests/support/mp4_boxes.h"

namespace velkantrix {

// Adds a piece to a file; returns where it begins.
inline std::uint64_t append(Bytes& file, const Bytes& piece) {
    const std::uint64_t offset = file.size();
    file.add(piece);
    return offset;
}

// All in front of the first fragment: one video track, time scale 1000, tables empty.
inline Bytes fragmentedStart(const Bytes& record = avcRecord(), std::uint32_t trackId = 1) {
    const Bytes stbl = join({stsd(avc1(64, 36, record)), stts({}), stsc({}), stsz({}), stco({})});
    return join({ftyp(), box("moov", join({mvhd(1000), trak(trackId, 1000, "vide", stbl)}))});
}

struct FragmentSample {
    Bytes data;
    std::uint32_t duration = 100;
    bool sync = false;
    std::int32_t composition = 0;
};

// A moof around `traf`s.
inline Bytes moof(const Bytes& trafs) {
    return box("moof", join({fullBox("mfhd", 0, 0, Bytes().u32(1)), trafs}));
}

// A moof and the mdat with its samples. Without a decode time there is no tfdt.
inline Bytes fragment(std::optional<std::uint64_t> decodeTime,
                      const std::vector<FragmentSample>& samples, std::uint32_t trackId = 1) {
    std::vector<std::vector<std::uint32_t>> records;
    Bytes data;
    for (const FragmentSample& sample : samples) {
        records.push_back({sample.duration, static_cast<std::uint32_t>(sample.data.size()),
                           sample.sync ? SYNC_SAMPLE : NON_SYNC_SAMPLE,
                           static_cast<std::uint32_t>(sample.composition)});
        data.add(sample.data);
    }
    const Bytes time = decodeTime ? tfdt(*decodeTime) : Bytes();
    const auto withDataAt = [&](std::size_t offset) {
        return moof(box("traf", join({tfhd(trackId), time,
                                      trun(0xF00, records, static_cast<std::int32_t>(offset))})));
    };
    const std::size_t moofBytes = withDataAt(0).size();
    return join({withDataAt(moofBytes + 8), box("mdat", data)});
}

} // namespace velkantrix
