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
constexpr std::size_t MOST_KEPT = 64; // of moofs at either end, some of which aren't of the track

// In seconds. An edit list's delay isn't counted: not every reader keeps to it.
double presented(std::uint64_t time, std::int64_t editOffset, std::uint32_t timescale) {
    const double ticks =
        static_cast<double>(time) + static_cast<double>(std::min<std::int64_t>(0, editOffset));
    return std::max(0.0, ticks / timescale);
}

double presented(const VideoTrackIndex& index, std::uint64_t time) {
    return presented(time, index.editOffset, index.timescale);
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
    std::vector<FileBox> first, last; // ascending; of a short file the same
};

Moofs findMoofs(const InputFile& file, const std::function<bool()>& cancelled) {
    Moofs moofs;
    std::uint64_t offset = 0;
    for (std::uint32_t boxes = 0; boxes < MOST_BOXES && offset < file.size; boxes++) {
        if (cancelled && cancelled()) break;
        const auto box = readBoxHeader(file, offset, file.size);
        if (!box || !box->holdsItsHeader()) break;
        if (box->type == boxType("moof") && file.reaches(box->offset, box->size)) {
            if (moofs.first.size() < MOST_KEPT) moofs.first.push_back(*box);
            if (moofs.last.size() == 2 * MOST_KEPT)
                moofs.last.erase(moofs.last.begin(), moofs.last.begin() + MOST_KEPT);
            moofs.last.push_back(*box);
        }
        offset = box->end();
    }
    return moofs;
}

// Of a track's first and last sample, in ticks; counted from 0 where the fragment doesn't say its
// time.
struct FragmentTimes {
    std::uint64_t first = 0;
    std::uint64_t last = 0;
};

// A fragment whose own bytes are missing is none.
std::optional<FragmentTimes> fragmentTimes(const InputFile& file, const FileBox& moof,
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
    return FragmentTimes{track.samples[0].dts, track.samples[track.samples.size() - 1].dts};
}

// Of all fragments. The last one is 0 where none of the last fragments says its time.
FragmentTimes timesOf(const InputFile& file, const Moofs& moofs, std::uint32_t trackId) {
    FragmentTimes times;
    std::optional<FragmentTimes> first;
    for (auto moof = moofs.first.begin(); moof != moofs.first.end() && !first; ++moof)
        first = fragmentTimes(file, *moof, trackId);
    times.first = first.value_or(FragmentTimes()).first;
    for (auto moof = moofs.last.rbegin(); moof != moofs.last.rend() && times.last == 0; ++moof)
        times.last = fragmentTimes(file, *moof, trackId).value_or(FragmentTimes()).last;
    return times;
}

// By the file's own table, where that has the track.
std::optional<FragmentTimes> tabledTimes(const InputFile& file, std::uint32_t trackId) {
    RandomAccessTable entries;
    if (!ReadAudioRandomAccess(file, file.size, trackId, entries)) return std::nullopt;
    const auto [first, last] = std::ranges::minmax_element(entries, {}, &RandomAccessEntry::time);
    return FragmentTimes{.first = first->time, .last = last->time};
}

// A reader may count from where the sound begins, or from where the pictures do: never later than
// by either.
std::optional<SoundClaim> claimOf(const FragmentTimes& times, const TrackHead& track,
                                  std::optional<double> videoBegins) {
    if (times.last == 0 || track.timescale == 0) return std::nullopt;
    const std::int64_t offset = editListOffset(track.edits, track.movieTimescale, track.timescale);
    const double begins = static_cast<double>(times.first) / track.timescale;
    const double delay = static_cast<double>(std::max<std::int64_t>(0, offset)) / track.timescale;
    SoundClaim sound{.from = begins + delay, .to = presented(times.last, offset, track.timescale)};
    if (!videoBegins) return sound;
    sound.delay = *videoBegins;
    sound.from = std::max(0.0, sound.from - *videoBegins);
    sound.to = std::max(0.0, sound.to - std::max(begins, *videoBegins));
    return sound;
}

std::optional<TrackHead> firstSound(const InputFile& file) {
    for (const TrackHead& track : readTrackHeads(file).value_or(std::vector<TrackHead>()))
        if (track.handler == boxType("soun")) return track;
    return std::nullopt;
}

// Where a table names the keyframes or the sound's, the last one of those is near enough.
void addFragments(const InputFile& file, const VideoTrackIndex& index, VideoClaim& claim,
                  const std::function<bool()>& cancelled) {
    const std::optional<TrackHead> track = firstSound(file);
    std::optional<FragmentTimes> sound;
    if (track) sound = tabledTimes(file, track->trackId);
    const bool walks = claim.keyframes.empty() || (track && !sound);
    const Moofs moofs = walks ? findMoofs(file, cancelled) : Moofs();
    std::uint64_t first = firstTime(index);
    if (claim.keyframes.empty()) {
        const FragmentTimes video = timesOf(file, moofs, index.trackId);
        first = countsFromFirst(index) ? video.first : 0;
        claim.fragment = presented(index, video.last - std::min(first, video.last));
    }
    if (!track) return;
    std::optional<double> begins;
    if (countsFromFirst(index)) begins = static_cast<double>(first) / index.timescale;
    claim.sound = claimOf(sound ? *sound : timesOf(file, moofs, track->trackId), *track, begins);
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
        if (track.movieTimescale > 0 && track.movieDuration)
            claim.file = static_cast<double>(*track.movieDuration) / track.movieTimescale;
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
    const std::int64_t edited = std::max<std::int64_t>(0, index.editOffset);
    claim.delay = (static_cast<double>(first) + static_cast<double>(edited)) / index.timescale;
    for (const RandomAccessEntry& entry : index.randomAccess)
        claim.keyframes.push_back(presented(index, entry.time - std::min(first, entry.time)));
    const InputFile file = OpenForRandomAccess(path);
    if (!file) return claim;
    claim.fragmented = index.fragmented;
    if (index.fragmented)
        addFragments(file, index, claim, cancelled);
    else
        addLengths(file, claim);
    return claim;
}

} // namespace

VideoClaim readVideoClaim(const FilePath& path, const std::function<bool()>& cancelled) {
    try {
        return readClaim(path, cancelled);
    } catch (const std::bad_alloc&) { return {}; }
}

} // namespace velkantrix
