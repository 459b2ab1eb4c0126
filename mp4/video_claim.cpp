#include "mp4/video_claim.h"

#include <algorithm>
#include <cstdint>
#include <new>
#include <optional>
#include <utility>
#include <vector>

#include "mp4/box_walk.h"
#include "mp4/byte_buffer.h"
#include "mp4/edit_list.h"
#include "mp4/fragment.h"
#include "mp4/fragment_reader.h"
#include "mp4/input_file.h"
#include "mp4/track_heads.h"
#include "mp4/video_index.h"

namespace velkantrix {
namespace {

constexpr std::uint32_t MOST_BOXES = 4'000'000;
constexpr std::size_t MOST_KEPT = 64; // of the last moofs, of which some have no pictures

// In seconds. An edit list's delay isn't counted: not every reader keeps to it.
double presented(const VideoTrackIndex& index, std::uint64_t time) {
    const double ticks = static_cast<double>(time) +
                         static_cast<double>(std::min<std::int64_t>(0, index.editOffset));
    return std::max(0.0, ticks / index.timescale);
}

// Fragments of a broadcast count on from long before the file. Readers may count from its start.
// But where the moov has samples, too, the fragments go on from those.
bool countsFromFirst(const VideoTrackIndex& index) {
    return index.fragmented && !index.hasSamplesInMoov;
}

std::uint64_t firstTime(const VideoTrackIndex& index) {
    const bool counts = countsFromFirst(index) && !index.randomAccess.empty();
    return counts ? index.randomAccess.front().time : 0;
}

struct Moofs {
    std::optional<FileBox> first;
    std::vector<FileBox> last; // ascending
};

Moofs findMoofs(const InputFile& file, const std::function<bool()>& cancelled) {
    Moofs moofs;
    std::uint64_t offset = 0;
    for (std::uint32_t boxes = 0; boxes < MOST_BOXES && offset < file.size; boxes++) {
        if (cancelled && cancelled()) break;
        const auto box = readBoxHeader(file, offset, file.size);
        if (!box || !box->holdsItsHeader()) break;
        if (box->type == boxType("moof") && file.reaches(box->offset, box->size)) {
            if (!moofs.first) moofs.first = box;
            if (moofs.last.size() == 2 * MOST_KEPT)
                moofs.last.erase(moofs.last.begin(), moofs.last.begin() + MOST_KEPT);
            moofs.last.push_back(*box);
        }
        offset = box->end();
    }
    return moofs;
}

// Of those that say their time; a fragment whose own bytes are missing is none.
std::optional<std::uint64_t> decodeTimeOf(const InputFile& file, const FileBox& moof,
                                          std::uint32_t trackId) {
    ByteBuffer payload;
    if (moof.payloadSize() > MAX_MOOF_BYTES ||
        !readInto(payload, file, moof.payloadOffset(), moof.payloadSize()))
        return std::nullopt;
    FragmentTrack track;
    track.trackId = trackId;
    track.fragmentOffset = moof.offset;
    ParseFragment(payload.view(), track);
    if (track.samples.empty() || track.samples.span().end > file.size) return std::nullopt;
    const std::uint64_t time = track.samples[0].dts;
    return time > 0 ? std::optional(time) : std::nullopt; // 0 is also what isn't said
}

// Less the first one's, where that counts. 0 where none of the last ones says its time.
double lastFragment(const InputFile& file, const VideoTrackIndex& index,
                    const std::function<bool()>& cancelled) {
    const Moofs moofs = findMoofs(file, cancelled);
    std::optional<std::uint64_t> last;
    for (auto moof = moofs.last.rbegin(); moof != moofs.last.rend() && !last; ++moof)
        last = decodeTimeOf(file, *moof, index.trackId);
    if (!last) return 0;
    std::uint64_t first = 0;
    if (countsFromFirst(index) && moofs.first)
        first = decodeTimeOf(file, *moofs.first, index.trackId).value_or(0);
    return presented(index, *last - std::min(first, *last));
}

// In seconds, as far as its edits present it; absent where it isn't known.
std::optional<double> lengthOf(const TrackHead& track) {
    if (track.timescale == 0 || track.duration.value_or(0) == 0) return std::nullopt;
    const std::uint64_t ticks =
        presentedTicks(track.edits, track.movieTimescale, track.timescale, *track.duration);
    return static_cast<double>(ticks) / track.timescale;
}

// Which of several tracks is read isn't known here.
void addSound(const TrackHead& track, std::optional<SoundClaim>& sound) {
    const double to = lengthOf(track).value_or(0);
    if (!sound) sound = {.from = 0, .to = to};
    sound->to = std::min(sound->to, to);
    if (track.timescale == 0) return;
    const std::int64_t offset = editListOffset(track.edits, track.movieTimescale, track.timescale);
    sound->from = std::max(sound->from, static_cast<double>(offset) / track.timescale);
}

// Keyframes may lie behind the last edit; of several edits, only the first one's stand where they
// are looked for.
void addVideo(const TrackHead& track, VideoClaim& claim) {
    claim.length = lengthOf(track);
    if (claim.length && !track.edits.empty())
        std::erase_if(claim.keyframes, [&](double time) { return time > *claim.length; });
}

void addLengths(const InputFile& file, VideoClaim& claim) {
    bool isFirst = true;
    for (const TrackHead& track : readTrackHeads(file).value_or(std::vector<TrackHead>())) {
        if (track.handler == boxType("soun")) addSound(track, claim.sound);
        if (track.handler == boxType("vide") && std::exchange(isFirst, false))
            addVideo(track, claim);
    }
}

VideoClaim readClaim(const FilePath& path, const std::function<bool()>& cancelled) {
    VideoClaim claim;
    const VideoTrackIndex index = LoadVideoTrackIndex(path);
    if (index.timescale == 0) return claim;
    claim.keyframes.reserve(index.randomAccess.size());
    const std::uint64_t first = firstTime(index);
    for (const RandomAccessEntry& entry : index.randomAccess)
        claim.keyframes.push_back(presented(index, entry.time - std::min(first, entry.time)));
    const InputFile file = OpenForRandomAccess(path);
    if (!file) return claim;
    // Where a table names the keyframes, its last one is near enough.
    if (index.fragmented && claim.keyframes.empty())
        claim.fragment = lastFragment(file, index, cancelled);
    if (!index.fragmented) addLengths(file, claim);
    return claim;
}

} // namespace

VideoClaim readVideoClaim(const FilePath& path, const std::function<bool()>& cancelled) {
    try {
        return readClaim(path, cancelled);
    } catch (const std::bad_alloc&) { return {}; }
}

} // namespace velkantrix
