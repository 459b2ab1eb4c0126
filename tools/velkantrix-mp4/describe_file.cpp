#include "tools/velkantrix-mp4/describe_file.h"

#include <algorithm>
#include <array>
#include <optional>
#include <string_view>

#include "mp4/fragment_reader.h"
#include "mp4/keyframe_sample.h"
#include "mp4/plain_samples.h"
#include "mp4/probe.h"
#include "mp4/track_description.h"
#include "mp4/video_claim.h"
#include "tools/velkantrix-mp4/crc32.h"

namespace velkantrix {
namespace {

// ---- tables -----------------------------------------------------------------

void writeProbe(JsonWriter& json, const ProbeResult& probe, bool largeFragmented) {
    json.beginObject();
    json.name("startsWithFtyp").boolean(probe.startsWithFtyp);
    json.name("hasMoof").boolean(probe.hasMoof);
    json.name("moofCount").number(probe.moofCount);
    json.name("reachedEnd").boolean(probe.reachedEnd);
    json.name("largeFragmented").boolean(largeFragmented);
    json.endObject();
}

void writeRandomAccess(JsonWriter& json, const RandomAccessTable& table) {
    json.name("randomAccess").beginArray();
    for (const RandomAccessEntry& entry : table) {
        if (json.failed()) break;
        json.onNewLine();
        json.beginObject();
        json.name("time").number(entry.time);
        json.name("offset").number(entry.offset);
        json.name("size").number(entry.size);
        json.name("trafNumber").number(entry.trafNumber);
        json.name("trunNumber").number(entry.trunNumber);
        json.name("sampleNumber").number(entry.sampleNumber);
        json.endObject();
    }
    json.endArray();
}

void writeVideo(JsonWriter& json, const VideoTrackIndex& video) {
    json.beginObject();
    json.name("valid").boolean(video.valid);
    json.name("fragmented").boolean(video.fragmented);
    json.name("timescale").number(video.timescale);
    json.name("trackId").number(video.trackId);
    json.name("width").number(video.width);
    json.name("height").number(video.height);
    json.name("avcConfig").hex(video.avcConfig);
    writeRandomAccess(json, video.randomAccess);
    json.endObject();
}

void writeAudio(JsonWriter& json, const AudioTrackInfo& audio) {
    json.beginObject();
    json.name("valid").boolean(audio.valid);
    json.name("trackId").number(audio.trackId);
    json.name("timescale").number(audio.timescale);
    json.name("sampleRate").number(audio.sampleRate);
    json.name("channels").number(audio.channels);
    json.name("audioConfig").hex(audio.audioConfig);
    writeRandomAccess(json, audio.randomAccess);
    json.endObject();
}

// Empty, or where the file is no row of boxes.
std::string problemOf(const TopLevelWalk& walk) {
    const std::string place = std::to_string(walk.offset);
    switch (walk.end) {
    case WalkEnd::BadBox:
        return "The box at byte " + place + " is smaller than its header.";
    case WalkEnd::Unreadable:
        return "No box can be read at byte " + place + ".";
    case WalkEnd::FileEnd:
    case WalkEnd::BoxLimit:
        break;
    }
    return {};
}

// Empty, or why tracks may have been missed.
std::string problemOfMoov(const VideoTrackIndex& video, bool cutOff) {
    if (cutOff && video.timescale == 0) {
        return "The file is cut off, and no video track can be read.";
    }
    switch (video.moov) {
    case MoovState::Missing:
        return "There is no moov among the file's first " + std::to_string(MAX_SCANNED_BOXES) +
               " boxes.";
    case MoovState::TooLong:
        return "The moov is longer than " + std::to_string(MAX_MOOV_BYTES >> 20) + " MiB.";
    case MoovState::Unreadable:
        return "The moov can't be read.";
    case MoovState::NoMemory:
        return "There isn't enough memory.";
    case MoovState::Irregular:
        return "The moov's boxes break off: tracks may be missing.";
    case MoovState::Whole:
        break;
    }
    return {};
}

// ---- samples ----------------------------------------------------------------

struct StoredSample {
    std::uint64_t offset = 0, size = 0; // in the file, bytes
    std::int64_t pts = 0, dts = 0;      // ticks
    std::uint32_t duration = 0;         // ticks
    bool keyframe = false;
    Crc32 crc;
};

void writeSample(JsonWriter& json, const StoredSample& sample) {
    json.onNewLine();
    json.beginObject();
    json.name("pts").number(sample.pts);
    json.name("dts").number(sample.dts);
    json.name("duration").number(sample.duration);
    json.name("offset").number(sample.offset);
    json.name("size").number(sample.size);
    json.name("keyframe").boolean(sample.keyframe);
    json.name("crc32").number(sample.crc.value());
    json.endObject();
}

std::string breakOff(const std::string& track, std::uint64_t samples) {
    return "The " + track + " samples break off behind the first " + std::to_string(samples) + ".";
}

// Writes what a reader that stands at its first sample hands out. Empty, or what is wrong.
std::string writeFragmentSamples(JsonWriter& json, FragmentReader& reader,
                                 const std::string& track) {
    ReaderSample sample;
    for (std::uint64_t count = 0; !json.failed(); ++count) {
        reader.ReadNextSample(sample);
        if (reader.outcome() == ReadOutcome::End) break;
        if (reader.outcome() == ReadOutcome::Failed) return breakOff(track, count);
        StoredSample stored;
        stored.offset = reader.samples()[reader.cursor() - 1].offset;
        stored.size = sample.data.size();
        stored.pts = sample.pts;
        stored.dts = sample.dts;
        stored.duration = sample.duration;
        stored.keyframe = sample.keyframe;
        stored.crc.add(sample.data);
        writeSample(json, stored);
    }
    return {};
}

// No fragment that the table knows lies in front of its first entry's: it wouldn't be read.
bool beginsInFront(const RandomAccessTable& table) {
    return std::all_of(table.begin(), table.end(), [&](const RandomAccessEntry& entry) {
        return entry.offset >= table.front().offset;
    });
}

std::string writeFragmentedTrack(JsonWriter& json, const FilePath& path, std::uint32_t trackId,
                                 std::uint32_t timescale, RandomAccessTable table,
                                 const std::string& track) {
    if (table.empty()) return "The " + track + " track has no table of its fragments.";
    const bool isFirst = beginsInFront(table);
    FragmentReader reader;
    if (!reader.OpenWithTable(path, trackId, timescale, std::move(table)) ||
        !reader.seekToFirstEntry()) {
        return "The " + track + " track's first fragment can't be read.";
    }
    std::string problem = writeFragmentSamples(json, reader, track);
    if (problem.empty() && !isFirst) {
        problem = "The " + track + " track's table doesn't begin with its first fragment.";
    }
    return problem;
}

// In pieces: a sample may be as long as the file. False when not all of it can be read.
bool addBytes(Crc32& crc, const InputFile& file, std::uint64_t offset, std::uint64_t size) {
    std::array<std::uint8_t, std::size_t{1} << 15> piece; // NOLINT(*-member-init): read into
    while (size > 0) {
        const auto length = static_cast<std::size_t>(std::min<std::uint64_t>(size, piece.size()));
        if (!ReadAt(file, offset, piece.data(), length)) return false;
        crc.add({piece.data(), length});
        offset += length;
        size -= length;
    }
    return true;
}

std::string plainFailure(const PlainSamples& samples, std::uint64_t count) {
    if (count < samples.sampleCount()) return breakOff("video", count);
    return "The video track's tables are broken off, or contradict each other.";
}

std::string writePlainTrack(JsonWriter& json, const FilePath& path,
                            std::optional<std::int64_t>& editOffset) {
    PlainSamples samples;
    if (!samples.open(path)) return "The video track lacks some of its tables.";
    editOffset = samples.editOffset();
    PlainSample sample;
    for (std::uint64_t count = 0; !json.failed(); ++count) {
        const WalkOutcome outcome = samples.next(sample);
        if (outcome == WalkOutcome::End) break;
        if (outcome == WalkOutcome::Failed) return plainFailure(samples, count);
        StoredSample stored;
        if (!addBytes(stored.crc, samples.file(), sample.offset, sample.size)) {
            return breakOff("video", count);
        }
        stored.offset = sample.offset;
        stored.size = sample.size;
        stored.pts = sample.pts;
        stored.dts = sample.dts;
        stored.duration = sample.duration;
        stored.keyframe = sample.sync;
        writeSample(json, stored);
    }
    return {};
}

std::string writeVideoSamples(JsonWriter& json, const FilePath& path, const VideoTrackIndex& video,
                              std::optional<std::int64_t>& editOffset) {
    if (video.timescale == 0) return {};
    if (!video.fragmented) return writePlainTrack(json, path, editOffset);
    return writeFragmentedTrack(json, path, video.trackId, video.timescale, video.randomAccess,
                                "video");
}

std::string writeAudioSamples(JsonWriter& json, const FilePath& path, const AudioTrackInfo& audio) {
    if (!audio.valid) return {};
    return writeFragmentedTrack(json, path, audio.trackId, audio.timescale, audio.randomAccess,
                                "audio");
}

void writeKeyframe(JsonWriter& json, const KeyframeSample& keyframe) {
    Crc32 crc;
    crc.add(keyframe.data);
    json.beginObject();
    json.name("ok").boolean(keyframe.ok);
    json.name("timeSeconds").number(keyframe.timeSeconds);
    json.name("size").number(keyframe.data.size());
    json.name("crc32").number(crc.value());
    json.endObject();
}

void writeSeconds(JsonWriter& json, std::string_view name, const std::optional<double>& seconds) {
    if (seconds) json.name(name).number(*seconds);
}

void writeClaim(JsonWriter& json, const VideoClaim& claim) {
    json.beginObject();
    json.name("keyframes").beginArray();
    for (const double seconds : claim.keyframes) json.number(seconds);
    json.endArray();
    if (claim.delay > 0) json.name("delay").number(claim.delay);
    writeSeconds(json, "fragment", claim.fragment);
    writeSeconds(json, "length", claim.length);
    writeSeconds(json, "file", claim.file);
    if (claim.sound) {
        json.name("soundFrom").number(claim.sound->from);
        json.name("soundTo").number(claim.sound->to);
        if (claim.sound->delay > 0) json.name("soundDelay").number(claim.sound->delay);
    }
    json.endObject();
}

} // namespace

std::string describeFile(const Mp4Arguments& arguments, const InputFile& file, JsonWriter& json) {
    const FilePath path(arguments.file);
    const TopLevelWalk walk = walkTopLevel(file);
    const VideoTrackIndex video = LoadVideoTrackIndex(path);
    const AudioTrackInfo audio = LoadAudioTrackInfo(path);
    std::string problem = problemOf(walk);
    const auto note = [&](std::string another) {
        if (problem.empty()) problem = std::move(another);
    };

    json.beginObject();
    json.name("probe");
    writeProbe(json, walk.result, IsLargeFragmentedFile(path));
    json.onNewLine();
    json.name("video");
    writeVideo(json, video);
    json.onNewLine();
    json.name("audio");
    writeAudio(json, audio);
    if (arguments.samples) {
        std::optional<std::int64_t> editOffset;
        note(problemOfMoov(video, walk.offset > file.size));
        json.onNewLine();
        json.name("samples").beginArray();
        note(writeVideoSamples(json, path, video, editOffset));
        json.endArray();
        if (editOffset) json.name("editOffset").number(*editOffset);
        json.onNewLine();
        json.name("audioSamples").beginArray();
        note(writeAudioSamples(json, path, audio));
        json.endArray();
    }
    if (arguments.keyframeSeconds) {
        json.onNewLine();
        json.name("keyframe");
        writeKeyframe(json, ReadKeyframeSample(path, video, *arguments.keyframeSeconds));
    }
    if (arguments.claim) {
        json.onNewLine();
        json.name("claim");
        writeClaim(json, readVideoClaim(path));
    }
    json.endObject();
    return problem;
}

} // namespace velkantrix
