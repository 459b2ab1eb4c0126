#include "mp4/track_description.h"

#include <algorithm>
#include <new>
#include <optional>

#include "mp4/box_walk.h"
#include "mp4/edit_list.h"
#include "mp4/keyframe_table.h"
#include "mp4/track_boxes.h"

namespace velkantrix {
namespace {

constexpr std::size_t VISUAL_ENTRY_BYTES = 78; // of a sample entry's payload, before its boxes
constexpr std::size_t AUDIO_ENTRY_BYTES = 28;

// ---- esds -------------------------------------------------------------------

constexpr std::uint8_t ES_DESCRIPTOR = 3, DECODER_CONFIG = 4, DECODER_SPECIFIC_INFO = 5;
constexpr std::uint8_t HAS_URL = 0x40, HAS_OCR_STREAM = 0x20;
constexpr std::size_t DECODER_CONFIG_FIELDS = 13; // bytes between its length and what it contains

class DescriptorReader {
public:
    explicit DescriptorReader(ByteView bytes, std::size_t position)
        : bytes_(bytes), position_(position) {}

    // The byte at the position is of this tag, and inside.
    bool takeTag(std::uint8_t tag) {
        if (!bytes_.holds(position_, 1)) return false;
        return take() == tag;
    }

    // Groups of seven bits, the first ones first, in at most four bytes; those with the top bit set
    // are followed by another.
    std::uint32_t takeLength() {
        std::uint32_t length = 0;
        for (int i = 0; i < 4; ++i) {
            const std::uint8_t byte = bytes_.u8(position_++);
            length = length << 7 | (byte & 0x7Fu);
            if (!(byte & 0x80)) break;
        }
        return length;
    }

    std::uint8_t take() { return bytes_.u8(position_++); }
    void skip(std::size_t count) { position_ += count; }
    ByteView takeBytes(std::size_t count) { return bytes_.part(position_, count); }

private:
    ByteView bytes_;
    std::size_t position_;
};

struct DecoderDescription {
    ByteView config;
    std::uint8_t objectType = 0;
};

DecoderDescription readEsds(ByteView esds) {
    DescriptorReader reader(esds, 4); // behind version and flags
    if (!reader.takeTag(ES_DESCRIPTOR)) return {};
    reader.takeLength();
    reader.skip(2); // ES_ID
    const std::uint8_t flags = reader.take();
    if (flags & HAS_URL) reader.skip(reader.take());
    if (flags & HAS_OCR_STREAM) reader.skip(2);
    // The dependence flag, 0x80, is left out on purpose: such streams aren't played by us.
    if (!reader.takeTag(DECODER_CONFIG)) return {};
    reader.takeLength();
    const std::uint8_t objectType = reader.take();
    reader.skip(DECODER_CONFIG_FIELDS - 1);
    if (!reader.takeTag(DECODER_SPECIFIC_INFO)) return {};
    const std::uint32_t length = reader.takeLength();
    const ByteView config = reader.takeBytes(length);
    return config.empty() ? DecoderDescription() : DecoderDescription{config, objectType};
}

// ---- audio track ------------------------------------------------------------

struct AudioEntry {
    std::uint32_t sampleRate = 0;
    std::uint16_t channels = 0;
    ByteView config;
    std::uint8_t objectType = 0;
    bool isOnly = false; // there is no other one, of whatever coding
};

std::optional<AudioEntry> readAudioSampleEntry(ByteView stsd) {
    std::optional<AudioEntry> found;
    int described = 0;
    WalkChildren(stsd.from(8), [&](BoxType type, ByteView payload) {
        ++described;
        if (found || type != boxType("mp4a") || payload.size() < AUDIO_ENTRY_BYTES) return;
        AudioEntry entry;
        entry.channels = payload.u16(16);
        entry.sampleRate = payload.u32(24) >> 16;
        WalkChildren(payload.from(AUDIO_ENTRY_BYTES), [&](BoxType child, ByteView bytes) {
            if (child != boxType("esds")) return;
            const ByteView config = audioConfigOf(bytes);
            if (config.empty()) return;
            entry.config = config;
            entry.objectType = objectTypeOf(bytes);
        });
        found = entry;
    });
    if (found) found->isOnly = described == 1;
    return found;
}

struct AudioTrack {
    TrackBoxes boxes;
    AudioEntry entry;
};

// A track that lacks nothing but, perhaps, a table.
std::optional<AudioTrack> audioTrackIn(ByteView trak) {
    const TrackBoxes boxes = readTrackBoxes(trak);
    if (!boxes.isSound || boxes.trackId == 0 || boxes.soundTimescale == 0) return std::nullopt;
    const auto stsd = childOf(boxes.stbl.value_or(ByteView()), boxType("stsd"));
    if (!stsd) return std::nullopt;
    const auto entry = readAudioSampleEntry(*stsd);
    if (!entry || entry->config.empty()) return std::nullopt;
    return AudioTrack{boxes, *entry};
}

// A file's mfra, read when the first track asks for it. Its tables are looked through once for all
// tracks, of which a broken file may have thousands.
class AudioTables {
public:
    AudioTables(const InputFile& file, std::uint64_t fileSize) : file_(file), fileSize_(fileSize) {}

    [[nodiscard]] bool hasEntriesOf(std::uint32_t trackId) {
        if (!asked_ && readMfra(mfra_, file_, fileSize_)) {
            tracks_ = tracksWithRandomAccess(childrenOfMfra(mfra_));
        }
        asked_ = true;
        return std::binary_search(tracks_.begin(), tracks_.end(), trackId);
    }
    [[nodiscard]] RandomAccessTable entriesOf(std::uint32_t trackId) const {
        return audioRandomAccess(childrenOfMfra(mfra_), trackId).entries;
    }

private:
    const InputFile& file_;
    const std::uint64_t fileSize_;
    bool asked_ = false;
    ByteBuffer mfra_;
    std::vector<std::uint32_t> tracks_;
};

std::optional<AudioTrack> findAudioTrack(ByteView moov, AudioTables& tables) {
    std::optional<AudioTrack> found;
    WalkChildren(moov, [&](BoxType type, ByteView payload) {
        if (found || type != boxType("trak")) return;
        const auto track = audioTrackIn(payload);
        if (track && tables.hasEntriesOf(track->boxes.trackId)) found = track;
    });
    return found;
}

bool readAudioMoov(ByteBuffer& moov, const InputFile& file, std::uint64_t fileSize) {
    std::uint64_t offset = 0;
    for (std::uint32_t boxes = 0; boxes < MAX_AUDIO_SCANNED_BOXES; ++boxes) {
        const auto box = readBoxHeader(file, offset, fileSize);
        if (!box || !box->holdsItsHeader() || box->end() > fileSize) return false;
        if (box->type == boxType("moov") && box->payloadSize() <= MAX_AUDIO_MOOV_BYTES) {
            return readInto(moov, file, box->payloadOffset(), box->payloadSize());
        }
        offset = box->end();
    }
    return false;
}

bool statesSamples(const std::optional<ByteView>& stbl) {
    const auto sizes = childOf(stbl.value_or(ByteView()), boxType("stsz"));
    const auto compact = childOf(stbl.value_or(ByteView()), boxType("stz2"));
    return (sizes && sizes->u32(8) > 0) || (compact && compact->u32(8) > 0);
}

// Whether all boxes could be seen, and the first track of sound is the one that was taken, or there
// is none.
bool isFirstSound(ByteView moov, const std::optional<AudioTrack>& taken) {
    std::optional<std::uint32_t> first, wanted;
    if (taken) wanted = taken->boxes.trackId;
    bool traksRegular = true;
    const bool moovRegular = WalkChildren(moov, [&](BoxType type, ByteView payload) {
        if (type != boxType("trak")) return;
        const TrackBoxes boxes = readTrackBoxes(payload);
        if (!boxes.regular) traksRegular = false;
        if (boxes.isSound && !first) first = boxes.trackId;
    });
    return moovRegular && traksRegular && first == wanted;
}

FileSound loadSound(const FilePath& path) {
    FileSound sound;
    const InputFile file = OpenForRandomAccess(path);
    const auto fileSize = fileSizeFromAttributes(path);
    ByteBuffer moov;
    if (!file || !fileSize || !readAudioMoov(moov, file, *fileSize)) return sound;
    AudioTables tables(file, *fileSize);
    const auto found = findAudioTrack(moov.view(), tables);
    sound.isFirst = isFirstSound(moov.view(), found);
    if (!found) return sound;
    const auto& [boxes, entry] = *found;
    AudioTrackInfo& info = sound.track;
    info.valid = true;
    info.trackId = boxes.trackId;
    info.timescale = boxes.soundTimescale;
    info.sampleRate = entry.sampleRate != 0 ? entry.sampleRate : boxes.soundTimescale;
    info.channels = entry.channels != 0 ? entry.channels : std::uint16_t{2};
    info.audioConfig.assign(entry.config.begin(), entry.config.end());
    info.randomAccess = tables.entriesOf(boxes.trackId);
    sound.objectType = entry.objectType;
    sound.hasSamplesInMoov = statesSamples(boxes.stbl);
    sound.oneDescription = entry.isOnly;
    if (boxes.elst) {
        sound.editOffset =
            editListOffset(*boxes.elst, movieTimescale(moov.view()), boxes.soundTimescale);
    }
    return sound;
}

} // namespace

void readVideoTrack(ByteView moov, VideoTrackIndex& index) {
    const VideoTrackSearch search = findVideoTrack(moov);
    const auto& track = search.track;
    const bool regular = search.moovRegular && search.traksRegular;
    index.moov = regular ? MoovState::Whole : MoovState::Irregular;
    if (!track) return;
    index.trackId = track->trackId;
    index.timescale = track->timescale;
    index.shownAsCoded = !track->isTurned;
    index.hasSamplesInMoov = statesSamples(track->stbl);
    if (track->elst)
        index.editOffset = editListOffset(*track->elst, movieTimescale(moov), track->timescale);
    if (track->stbl) BuildKeyframeTable(*track->stbl, track->timescale, index);
}

void readVideoSampleEntry(ByteView entries, VideoTrackIndex& index) {
    bool found = false;
    int described = 0;
    WalkChildren(entries, [&](BoxType type, ByteView payload) {
        if (++described > 1) index.oneDescription = false;
        const bool isAvc = type == boxType("avc1") || type == boxType("avc3");
        if (found || !isAvc || payload.size() < VISUAL_ENTRY_BYTES) return;
        found = true;
        index.width = payload.u16(24);
        index.height = payload.u16(26);
        const ByteView children = payload.from(VISUAL_ENTRY_BYTES);
        std::size_t bytes = index.avcConfig.size();
        WalkChildren(children, [&](BoxType child, ByteView config) {
            if (child == boxType("avcC")) bytes += config.size();
            if (child == boxType("pasp") && config.u32(0) != config.u32(4))
                index.shownAsCoded = false;
        });
        index.avcConfig.reserve(bytes);
        WalkChildren(children, [&](BoxType child, ByteView config) {
            if (child != boxType("avcC")) return;
            index.avcConfig.insert(index.avcConfig.end(), config.begin(), config.end());
        });
    });
}

FileSound loadFileSound(const FilePath& path) {
    try {
        return loadSound(path);
    } catch (const std::bad_alloc&) {
        return {}; // a file that this machine can't hold the tables of
    }
}

AudioTrackInfo LoadAudioTrackInfo(const FilePath& path) {
    return loadFileSound(path).track;
}

ByteView audioConfigOf(ByteView esds) {
    return readEsds(esds).config;
}

std::uint8_t objectTypeOf(ByteView esds) {
    return readEsds(esds).objectType;
}

} // namespace velkantrix
