// mp4_readers.h: runs a reader over a file of any content and says what no file may make it do. An
// empty text: nothing wrong.
#pragma once

#include <algorithm>
#include <cstdint>
#include <filesystem>
#include <limits>
#include <string>
#include <vector>

#include "mp4/avc.h"
#include "mp4/fragment_reader.h"
#include "mp4/keyframe_sample.h"
#include "mp4/plain_samples.h"
#include "mp4/probe.h"
#include "mp4/track_description.h"
#include "mp4/video_index.h"

namespace velkantrix {

inline constexpr double ODD_TIMES[] = {-3,
                                       0,
                                       0.4,
                                       1,
                                       12.9,
                                       1e6,
                                       1e300,
                                       std::numeric_limits<double>::quiet_NaN(),
                                       std::numeric_limits<double>::infinity()};
inline constexpr int MOST_SAMPLES = 3000; // that are read of one track

inline std::string problemOfProbe(const std::filesystem::path& path) {
    const ProbeResult probe = ProbeFile(path);
    if (probe.hasMoof != (probe.moofCount > 0)) return "moofs are counted that aren't there";
    if (probe.moofCount > MAX_PROBED_BOXES) return "more moofs than boxes";
    if (IsLargeFragmentedFile(path)) return "a small file is large";
    return {};
}

inline std::string problemOfLookup(const VideoTrackIndex& index) {
    for (const double seconds : ODD_TIMES) {
        const RandomAccessEntry* entry = FindKeyframeAtOrBefore(index, seconds);
        if (entry == nullptr) return "a valid index without keyframe";
        const auto place = static_cast<std::size_t>(entry - index.randomAccess.data());
        if (place >= index.randomAccess.size()) return "a keyframe from outside of the table";
    }
    return {};
}

inline std::string problemOfVideoIndex(const std::filesystem::path& path) {
    const VideoTrackIndex index = LoadVideoTrackIndex(path);
    const RandomAccessTable& table = index.randomAccess;
    if (table.size() * 4 > std::filesystem::file_size(path)) return "entries from nowhere";
    if (!index.valid) return {};
    if (index.timescale == 0 || table.empty()) return "valid without time scale or table";
    const auto earlier = [](const RandomAccessEntry& a, const RandomAccessEntry& b) {
        return a.time < b.time;
    };
    if (!std::is_sorted(table.begin(), table.end(), earlier)) return "the table isn't sorted";
    return problemOfLookup(index);
}

inline std::string problemOfAudioTrack(const std::filesystem::path& path) {
    const AudioTrackInfo audio = LoadAudioTrackInfo(path);
    if (!audio.valid) return audio.randomAccess.empty() ? "" : "a table without track";
    if (audio.trackId == 0 || audio.timescale == 0 || audio.sampleRate == 0 ||
        audio.channels == 0 || audio.audioConfig.empty() || audio.randomAccess.empty()) {
        return "a field of a valid track is empty";
    }
    return {};
}

// Reads from where the reader stands, and checks raw samples against the file.
inline std::string problemOfReading(FragmentReader& reader, const InputFile& file) {
    ReaderSample sample;
    std::vector<std::uint8_t> expected;
    for (int i = 0; i < MOST_SAMPLES; ++i) {
        const bool handedOut = reader.ReadNextSample(sample);
        const ReadOutcome outcome = reader.outcome();
        if (handedOut != sample.hasPayload) return "two answers";
        if (handedOut && outcome != ReadOutcome::Sample) return "a sample that is none";
        if (outcome == ReadOutcome::End || outcome == ReadOutcome::Failed) return {};
        if (reader.annexB()) continue;
        const SampleRecord record = reader.samples()[reader.cursor() - 1];
        expected.resize(std::min<std::uint64_t>(record.size, file.size));
        if (!ReadAt(file, record.offset, expected.data(), record.size)) return "bytes from nowhere";
        if (sample.data != expected) return "not the file's bytes";
    }
    return {};
}

inline std::string problemOfFragmentReader(FragmentReader& reader,
                                           const std::filesystem::path& path) {
    const InputFile file = OpenForRandomAccess(path);
    if (!(reader.DurationSeconds() >= 0)) return "a duration below 0";
    for (const double seconds : {0.0, 1e9, 1.0}) {
        if (!reader.Seek(seconds)) continue;
        if (reader.cursor() >= reader.samples().size()) return "stands behind its samples";
        const std::string problem = problemOfReading(reader, file);
        if (!problem.empty()) return problem;
    }
    return {};
}

// As Annex B, and both tracks as they are stored.
inline std::string problemOfFragments(const std::filesystem::path& path) {
    FragmentReader annexB;
    if (annexB.Open(path)) {
        const std::string problem = problemOfFragmentReader(annexB, path);
        if (!problem.empty()) return problem;
    }
    VideoTrackIndex index = LoadVideoTrackIndex(path);
    FragmentReader video;
    if (video.OpenWithTable(path, index.trackId, index.timescale, std::move(index.randomAccess))) {
        const std::string problem = problemOfFragmentReader(video, path);
        if (!problem.empty()) return problem;
    }
    AudioTrackInfo audio = LoadAudioTrackInfo(path);
    FragmentReader sound;
    if (!sound.OpenWithTable(path, audio.trackId, audio.timescale, std::move(audio.randomAccess))) {
        return {};
    }
    return problemOfFragmentReader(sound, path);
}

inline std::string problemOfPlainSamples(const std::filesystem::path& path) {
    PlainSamples samples;
    if (!samples.open(path)) return {};
    std::vector<PlainSample> all;
    PlainSample sample;
    WalkOutcome outcome = WalkOutcome::Sample;
    while (all.size() < MOST_SAMPLES && outcome == WalkOutcome::Sample) {
        outcome = samples.next(sample);
        if (outcome == WalkOutcome::Sample) all.push_back(sample);
    }
    for (const std::int64_t pts : {std::numeric_limits<std::int64_t>::min(), std::int64_t{0},
                                   std::int64_t{400}, std::numeric_limits<std::int64_t>::max()}) {
        if (!samples.seekToSync(pts) || samples.next(sample) != WalkOutcome::Sample) continue;
        if (!sample.sync) return "a seek to a sample that isn't sync";
        const bool known = std::find(all.begin(), all.end(), sample) != all.end();
        if (outcome == WalkOutcome::End && !known) return "a sample that the walk doesn't have";
    }
    return {};
}

inline std::string problemOfKeyframes(const std::filesystem::path& path) {
    const VideoTrackIndex index = LoadVideoTrackIndex(path);
    for (const double seconds : ODD_TIMES) {
        const KeyframeSample keyframe = ReadKeyframeSample(path, index, seconds);
        if (keyframe.ok == keyframe.data.empty()) return "data and ok differ";
        if (!keyframe.ok) continue;
        if (ByteView(keyframe.data).u32(0) != 1) return "no start code in front";
        if (!(keyframe.timeSeconds >= 0)) return "a time below 0";
    }
    return {};
}

inline std::string problemOfAvcConfig(ByteView record, ByteView sample) {
    std::vector<std::uint8_t> sets{42};
    std::uint32_t nalLengthSize = 99;
    if (!AvcConfigToAnnexB(record, sets, nalLengthSize)) {
        return sets.size() == 1 && nalLengthSize == 99 ? "" : "changed on failure";
    }
    if (nalLengthSize < 1 || nalLengthSize > 4) return "no such length";
    if (ByteView(sets).u32(0) != 1) return "no start code in front";
    if (sets.size() > record.size() * 3) return "bytes from nowhere";
    std::vector<std::uint8_t> output;
    convertToAnnexB(sample, nalLengthSize, sets, output);
    return 2 * (output.size() - sets.size()) > 5 * sample.size() ? "bytes from nowhere" : "";
}

inline std::string problemOfAnyReader(const std::filesystem::path& path) {
    for (const auto problemOf : {problemOfProbe, problemOfVideoIndex, problemOfAudioTrack,
                                 problemOfFragments, problemOfPlainSamples, problemOfKeyframes}) {
        const std::string problem = problemOf(path);
        if (!problem.empty()) return problem;
    }
    return {};
}

} // namespace velkantrix
