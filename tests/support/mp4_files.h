// mp4_files.h: small, complete recordings, built in code, for readers to be tried on and for bytes
// to be spoiled in.
#pragma once

#include <cstdint>
#include <vector>

#include "tests/support/box_builder.h"
#include "tests/support/mp4_boxes.h"

namespace velkantrix {

inline constexpr std::uint32_t VIDEO_TRACK = 1, AUDIO_TRACK = 2;

// A picture of two NAL units.
inline Bytes picture(std::uint32_t number, bool keyframe) {
    return join(
        {nal(Bytes{6, 5, 1}.u8(number)), nal(Bytes{keyframe ? 0x65 : 0x41}.fill(9 + number % 5))});
}

// Ten pictures of 40 ms, a keyframe every five, B-frames' composition times, two chunks; the moov
// behind the pictures or in front of them.
inline Bytes plainRecording(bool moovFirst = false) {
    Bytes media;
    std::vector<std::uint32_t> sizes;
    for (std::uint32_t i = 0; i < 10; ++i) {
        const Bytes sample = picture(i, i % 5 == 0);
        sizes.push_back(static_cast<std::uint32_t>(sample.size()));
        media.add(sample);
    }
    std::uint32_t secondChunk = 0;
    for (std::uint32_t i = 0; i < 6; ++i) secondChunk += sizes[i];
    const auto moov = [&](std::size_t mediaAt) {
        const auto at = static_cast<std::uint32_t>(mediaAt);
        const Bytes stbl =
            join({stsd(avc1(64, 48)), stts({{10, 40}}), ctts({{1, 40}, {1, 80}, {3, 0}, {5, 40}}),
                  stss({1, 6}), stsz(sizes), stsc({{1, 6}, {2, 4}}), stco({at, at + secondChunk})});
        return box("moov",
                   join({mvhd(1000), trak(VIDEO_TRACK, 1000, "vide", stbl, elst({{400, 40}}))}));
    };
    if (!moovFirst) return join({ftyp(), box("mdat", media), moov(ftyp().size() + 8)});
    const std::size_t mediaAt = ftyp().size() + moov(0).size() + 8;
    return join({ftyp(), moov(mediaAt), box("mdat", media)});
}

// A moof with its mdat: five pictures and five AAC frames, from picture number `first` on.
inline Bytes recordedFragment(std::uint32_t first) {
    Bytes pictures, frames;
    std::vector<std::vector<std::uint32_t>> video, audio;
    for (std::uint32_t i = first; i < first + 5; ++i) {
        const Bytes sample = picture(i, i == first);
        video.push_back({40, static_cast<std::uint32_t>(sample.size()),
                         i == first ? SYNC_SAMPLE : NON_SYNC_SAMPLE, 40});
        pictures.add(sample);
        audio.push_back({7 + i % 3});
        frames.fill(7 + i % 3, static_cast<std::uint8_t>(i));
    }
    const auto moof = [&](std::size_t size) {
        const auto videoAt = static_cast<std::int32_t>(size + 8);
        const auto audioAt = static_cast<std::int32_t>(size + 8 + pictures.size());
        return box(
            "moof",
            join({fullBox("mfhd", 0, 0, Bytes().u32(first / 5 + 1)),
                  box("traf", join({tfhd(VIDEO_TRACK), tfdt(std::uint64_t{first} * 40),
                                    trun(0xF00, video, videoAt)})),
                  box("traf",
                      join({tfhd(AUDIO_TRACK, {.duration = 40, .flags = SYNC_SAMPLE}),
                            tfdt(std::uint64_t{first} * 40, 0), trun(0x200, audio, audioAt)}))}));
    };
    return join({moof(moof(0).size()), box("mdat", join({pictures, frames}))});
}

// Three fragments of 200 ms, video and audio, with their mfra.
inline Bytes fragmentedRecording(const Bytes& soundEntries = mp4a(2, 48000,
                                                                  esds(Bytes{0x11, 0x90}))) {
    const Bytes noTables = join({stts({}), stsc({}), stszUniform(0, 0), stco({})});
    const Bytes video = join({stsd(avc1(64, 48)), noTables});
    const Bytes audio = join({stsd(soundEntries), noTables});
    Bytes file = join({ftyp(), box("moov", join({mvhd(1000), trak(VIDEO_TRACK, 1000, "vide", video),
                                                 trak(AUDIO_TRACK, 1000, "soun", audio)}))});
    std::vector<TfraEntry> entries;
    for (std::uint32_t first = 0; first < 15; first += 5) {
        entries.push_back({first * 40 + std::uint64_t{40}, file.size()});
        file.add(recordedFragment(first));
    }
    std::vector<TfraEntry> audioEntries = entries;
    for (TfraEntry& entry : audioEntries) {
        entry.time -= 40;
        entry.traf = 2;
    }
    return file.add(mfra(join({tfra(VIDEO_TRACK, entries), tfra(AUDIO_TRACK, audioEntries, 0)})));
}

} // namespace velkantrix
