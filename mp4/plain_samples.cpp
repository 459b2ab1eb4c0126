#include "mp4/plain_samples.h"

#include <algorithm>
#include <new>
#include <optional>
#include <utility>

#include "mp4/box_walk.h"
#include "mp4/edit_list.h"
#include "mp4/sample_budget.h"
#include "mp4/track_boxes.h"
#include "mp4/video_index.h"

namespace velkantrix {
namespace {

std::int64_t decodeTime(const RunCursor& decode) {
    return static_cast<std::int64_t>(decode.sumBefore());
}

// Offsets are signed in both versions of the box: no file means 2^31 and more, and many mean less
// than 0.
std::int64_t compositionTime(const RunCursor& decode, const RunCursor& composition) {
    const auto offset = std::int64_t{static_cast<std::int32_t>(composition.value())};
    return static_cast<std::int64_t>(decode.sumBefore() + static_cast<std::uint64_t>(offset));
}

} // namespace

bool PlainSamples::open(const FilePath& path) {
    *this = {};
    bool loaded = false;
    try {
        loaded = load(path);
    } catch (const std::bad_alloc&) {
        loaded = false; // as unreadable as any other file then
    }
    if (!loaded) *this = {};
    return loaded;
}

bool PlainSamples::load(const FilePath& path) {
    file_ = OpenForRandomAccess(path);
    if (!file_) return false;
    const TopLevelScan scan = scanTopLevel(file_);
    if (scan.fragmented || !readMoov(moov_, file_, scan)) return false;
    const VideoTrackSearch search = findVideoTrack(moov_.view());
    const auto& track = search.track;
    if (!track || track->timescale == 0 || !track->stbl) return false;
    trackId_ = track->trackId;
    timescale_ = track->timescale;
    tables_ = findSampleTables(*track->stbl);
    if (!tables_.stts || !tables_.stsz || !tables_.stsc) return false;
    if (!tables_.stco && !tables_.co64) return false;
    sizes_ = SampleSizes(*tables_.stsz);
    // There are samples in fragments, of which none can be seen.
    const bool hasMore = childOf(moov_.view(), boxType("mvex")).has_value();
    if (sizes_.count() == 0 && hasMore) return false;
    isWhole_ = search.moovRegular && track->regular && tablesAgree(tables_) && !hasMore;
    allSync_ = !tables_.stss;
    if (!allSync_) {
        const SyncNumbers numbers(*tables_.stss, sizes_.count());
        syncNumbers_.reserve(numbers.countValid());
        for (std::uint32_t i = 0; i < numbers.size(); ++i) {
            if (numbers.valid(i)) syncNumbers_.push_back(numbers[i]);
        }
        std::sort(syncNumbers_.begin(), syncNumbers_.end());
    }
    if (track->elst) {
        editOffset_ = editListOffset(*track->elst, movieTimescale(moov_.view()), timescale_);
    }
    seekToStart();
    return true;
}

PlainSamples::Cursors PlainSamples::cursorsAtStart() const {
    return {RunCursor(tables_.stts.value_or(ByteView())),
            RunCursor(tables_.ctts.value_or(ByteView())), OffsetCursor(tables_, sizes_)};
}

WalkOutcome PlainSamples::next(PlainSample& sample) {
    if (!file_) return WalkOutcome::Failed;
    if (next_ >= sizes_.count()) return isWhole_ ? WalkOutcome::End : WalkOutcome::Failed;
    if (next_ >= sizes_.given()) return WalkOutcome::Failed;
    cursors_.decode.advanceTo(next_);
    cursors_.composition.advanceTo(next_);
    cursors_.offsets.advanceTo(next_);
    if (!cursors_.offsets.chunkIsGiven()) return WalkOutcome::Failed;
    const std::uint32_t size = sizes_.of(next_);
    if (!file_.reaches(cursors_.offsets.offset(), size)) return WalkOutcome::Failed;
    if (size > sampleBytesLeft_) return WalkOutcome::Failed;
    sampleBytesLeft_ -= size;
    sample.offset = cursors_.offsets.offset();
    sample.size = size;
    sample.dts = decodeTime(cursors_.decode);
    sample.pts = compositionTime(cursors_.decode, cursors_.composition);
    sample.duration = cursors_.decode.value();
    ++next_;
    while (nextSync_ < syncNumbers_.size() && syncNumbers_[nextSync_] < next_) ++nextSync_;
    sample.sync = allSync_ || (nextSync_ < syncNumbers_.size() && syncNumbers_[nextSync_] == next_);
    return WalkOutcome::Sample;
}

void PlainSamples::seekToStart() {
    goTo(0);
}

void PlainSamples::goTo(std::uint64_t sample) {
    next_ = sample;
    cursors_ = cursorsAtStart();
    nextSync_ = 0;
    sampleBytesLeft_ = mostSampleBytesBetweenSeeks(file_);
}

bool PlainSamples::seekToSync(std::int64_t pts) {
    const auto found = allSync_ ? lastAtOrBefore(pts) : lastSyncAtOrBefore(pts);
    if (found) goTo(*found);
    return found.has_value();
}

std::optional<std::uint64_t> PlainSamples::lastSyncAtOrBefore(std::int64_t pts) const {
    Cursors cursors = cursorsAtStart();
    std::optional<std::uint64_t> found;
    for (const std::uint32_t number : syncNumbers_) {
        cursors.decode.advanceTo(number - 1);
        cursors.composition.advanceTo(number - 1);
        const bool early = compositionTime(cursors.decode, cursors.composition) <= pts;
        if (early || !found) found = number - 1;
    }
    return found;
}

// Where both tables stay in one entry, times grow evenly: one step of this loop.
std::optional<std::uint64_t> PlainSamples::lastAtOrBefore(std::int64_t pts) const {
    const std::uint64_t samples = sizes_.given();
    if (samples == 0) return std::nullopt;
    Cursors cursors = cursorsAtStart();
    std::uint64_t found = 0;
    for (std::uint64_t first = 0; first < samples;) {
        cursors.decode.advanceTo(first);
        cursors.composition.advanceTo(first);
        const std::uint64_t end =
            std::min(cursors.decode.runEnd(samples), cursors.composition.runEnd(samples));
        const std::int64_t firstPts = compositionTime(cursors.decode, cursors.composition);
        if (firstPts <= pts) {
            const std::uint64_t ahead =
                static_cast<std::uint64_t>(pts) - static_cast<std::uint64_t>(firstPts);
            const std::uint32_t step = cursors.decode.value();
            found = step == 0 || ahead / step >= end - first ? end - 1 : first + ahead / step;
        }
        first = end;
    }
    return found;
}

} // namespace velkantrix
