#include "mp4/keyframe_sample.h"

#include <algorithm>
#include <new>
#include <optional>

#include "mp4/avc.h"
#include "mp4/box_walk.h"
#include "mp4/fragment.h"
#include "mp4/fragment_reader.h"
#include "mp4/keyframe_look_back.h"

namespace velkantrix {
namespace {

struct SamplePlace {
    std::uint64_t offset = 0, size = 0; // in the file, bytes
    bool sync = true;                   // not said to be no keyframe

    [[nodiscard]] bool isReadable() const { return size > 0 && size <= MAX_KEYFRAME_BYTES; }
};

// The number-th child of a type, counted from 1; 0 counts as 1.
std::optional<ByteView> numberedChild(ByteView container, BoxType wanted, std::uint32_t number) {
    std::optional<ByteView> found;
    std::uint32_t before = std::max(number, 1u) - 1;
    WalkChildren(container, [&](BoxType type, ByteView payload) {
        if (type != wanted || found) return;
        if (before == 0) found = payload;
        --before;
    });
    return found;
}

std::optional<SamplePlace> placeInRun(ByteView payload, const TrackFragmentHeader& header,
                                      std::uint64_t base, std::uint32_t sampleNumber) {
    if (payload.size() < 8) return std::nullopt;
    const TrackRun run = readTrackRun(payload);
    const std::uint32_t sample = std::max(sampleNumber, 1u) - 1;
    if (sample >= run.sampleCount || sample >= run.recordsIn(payload)) return std::nullopt;
    SamplePlace place;
    place.offset = base + static_cast<std::uint64_t>(std::int64_t{run.dataOffset});
    place.sync = run.isSync(sample, payload, header);
    if (!run.sizeAt) {
        place.offset += std::uint64_t{sample} * header.size;
        place.size = header.size;
        return place;
    }
    for (std::uint32_t i = 0; i <= sample; ++i) {
        place.offset += place.size;
        place.size = payload.u32(run.recordsAt + i * run.recordBytes + *run.sizeAt);
    }
    return place;
}

struct TrackFragment {
    ByteView traf;
    TrackFragmentHeader header;
};

std::optional<TrackFragment> trackFragmentOf(std::optional<ByteView> traf) {
    if (!traf) return std::nullopt;
    return TrackFragment{*traf, readTrackFragmentHeader(*traf).value_or(TrackFragmentHeader())};
}

// The traf that the entry names. There are muxers that write 1 into every entry. A traf of another
// track can't hold the keyframe, and its bytes would be shown as if they did: then it is the first
// one of this track.
std::optional<TrackFragment> findTrackFragment(ByteView moofPayload, const RandomAccessEntry& entry,
                                               std::uint32_t trackId) {
    const auto named =
        trackFragmentOf(numberedChild(moofPayload, boxType("traf"), entry.trafNumber));
    if (!named || trackId == 0 || named->header.trackId == trackId) return named;
    std::optional<TrackFragment> first;
    WalkChildren(moofPayload, [&](BoxType type, ByteView payload) {
        if (first || type != boxType("traf")) return;
        const auto fragment = trackFragmentOf(payload);
        if (fragment->header.trackId == trackId) first = fragment;
    });
    return first;
}

// Of a fragmented file the table only says in which traf and trun of which moof the sample is.
std::optional<SamplePlace> placeInMoof(const InputFile& file, const FileBox& box,
                                       const RandomAccessEntry& entry, std::uint32_t trackId) {
    // Neither a long header nor a box to the end of the file (given 0, it has no bytes) is taken
    // here: on purpose.
    if (box.type != boxType("moof") || box.header != SHORT_HEADER) return std::nullopt;
    if (!box.holdsItsHeader() || box.size > MAX_MOOF_BYTES) return std::nullopt;
    ByteBuffer moof;
    if (!readInto(moof, file, box.offset, box.size)) return std::nullopt;
    const auto fragment = findTrackFragment(moof.view().from(SHORT_HEADER), entry, trackId);
    if (!fragment) return std::nullopt;
    const auto trun = numberedChild(fragment->traf, boxType("trun"), entry.trunNumber);
    if (!trun) return std::nullopt;
    return placeInRun(*trun, fragment->header, fragment->header.baseDataOffset.value_or(box.offset),
                      entry.sampleNumber);
}

struct Keyframe {
    SamplePlace place;
    std::uint64_t time = 0; // the table's, ticks
};

std::optional<Keyframe> findKeyframe(const InputFile& file, const VideoTrackIndex& index,
                                     const RandomAccessEntry& entry) {
    if (!index.fragmented) return Keyframe{{entry.offset, entry.size}, entry.time};
    const auto box = readBoxHeader(file, entry.offset, 0);
    if (!box) return std::nullopt;
    const auto named = placeInMoof(file, *box, entry, index.trackId);
    if (!named) return std::nullopt;
    Keyframe keyframe{*named, entry.time};
    if (named->sync) return keyframe;
    lookBackFrom(entry, index.randomAccess, file, 0,
                 [&](const RandomAccessEntry& earlier, const FileBox& moof) {
                     const auto place = placeInMoof(file, moof, earlier, index.trackId);
                     if (!place || !place->sync || !place->isReadable()) return false;
                     keyframe = {*place, earlier.time};
                     return true;
                 });
    return keyframe;
}

KeyframeSample readKeyframe(const FilePath& path, const VideoTrackIndex& index, double seconds) {
    KeyframeSample sample;
    const RandomAccessEntry* entry = FindKeyframeAtOrBefore(index, seconds);
    if (entry == nullptr) return sample;
    const InputFile file = OpenForRandomAccess(path);
    if (!file) return sample;
    const auto keyframe = findKeyframe(file, index, *entry);
    if (!keyframe || !keyframe->place.isReadable()) return sample;
    ByteBuffer bytes;
    if (!readInto(bytes, file, keyframe->place.offset, keyframe->place.size)) return sample;
    std::vector<std::uint8_t> parameterSets;
    std::uint32_t nalLengthSize = 0;
    if (!AvcConfigToAnnexB(index.avcConfig, parameterSets, nalLengthSize)) return sample;
    convertToAnnexB(bytes.view(), nalLengthSize, parameterSets, sample.data);
    sample.timeSeconds = static_cast<double>(keyframe->time) / index.timescale;
    sample.ok = sample.data.size() > parameterSets.size();
    sample.sync = sample.ok && keyframe->place.sync;
    if (!sample.ok) sample.data.clear();
    return sample;
}

} // namespace

KeyframeSample ReadKeyframeSample(const FilePath& path, const VideoTrackIndex& index,
                                  double seconds) {
    try {
        return readKeyframe(path, index, seconds);
    } catch (const std::bad_alloc&) { return {}; }
}

} // namespace velkantrix
