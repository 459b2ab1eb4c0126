#include "mp4/fragment_reader.h"

#include <algorithm>
#include <new>
#include <utility>

#include "mp4/avc.h"
#include "mp4/box_walk.h"
#include "mp4/keyframe_look_back.h"
#include "mp4/sample_budget.h"

namespace velkantrix {

bool FragmentReader::Open(const FilePath& path) {
    if (file_) return false;
    index_ = LoadVideoTrackIndex(path);
    if (!index_.valid || !index_.fragmented || index_.avcConfig.empty()) return false;
    try {
        if (!AvcConfigToAnnexB(index_.avcConfig, parameterSets_, nalLengthSize_)) return false;
    } catch (const std::bad_alloc&) { return false; }
    annexB_ = true;
    return finishOpening(path);
}

bool FragmentReader::OpenWithTable(const FilePath& path, std::uint32_t trackId,
                                   std::uint32_t timescale, RandomAccessTable entries) {
    if (file_ || entries.empty() || timescale == 0) return false;
    index_ = {};
    index_.valid = true;
    index_.fragmented = true;
    index_.trackId = trackId;
    index_.timescale = timescale;
    index_.randomAccess = std::move(entries);
    annexB_ = false;
    return finishOpening(path);
}

bool FragmentReader::finishOpening(const FilePath& path) {
    knownFragments_.clear();
    InputFile file = OpenForRandomAccess(path);
    const auto length = fileSizeFromAttributes(path);
    if (!file || !length) return false;
    file_ = std::move(file);
    fileLength_ = *length;
    try {
        knownFragments_.reserve(index_.randomAccess.size());
        for (const RandomAccessEntry& entry : index_.randomAccess) {
            knownFragments_.push_back(entry.offset);
        }
    } catch (const std::bad_alloc&) {
        file_ = {};
        return false;
    }
    std::sort(knownFragments_.begin(), knownFragments_.end());
    unload();
    computeDuration();
    unload();
    return true;
}

bool FragmentReader::Seek(double seconds) {
    return seekTo(FindKeyframeAtOrBefore(index_, seconds));
}

bool FragmentReader::seekToFirstEntry() {
    return seekTo(index_.randomAccess.empty() ? nullptr : &index_.randomAccess.front());
}

bool FragmentReader::seekTo(const RandomAccessEntry* entry) {
    needParameterSets_ = true;
    if (entry == nullptr) return false;
    allowAllOfFile();
    const std::uint64_t nextDecodeTime = track_.nextDecodeTime;
    if (!begin(*entry, nextDecodeTime)) return false;
    if (!annexB_ || track_.samples[cursor_].sync) return true;
    lookBackFrom(*entry, index_.randomAccess, file_, fileLength_,
                 [&](const RandomAccessEntry& earlier, const FileBox& box) {
                     return beginIn(box, earlier, nextDecodeTime, true);
                 });
    return true;
}

bool FragmentReader::goToEntry(const RandomAccessEntry& entry) {
    needParameterSets_ = true;
    allowAllOfFile();
    return begin(entry, track_.nextDecodeTime);
}

bool FragmentReader::begin(const RandomAccessEntry& entry, std::uint64_t nextDecodeTime) {
    const auto box = readBoxHeader(file_, entry.offset, fileLength_);
    return box && box->type == boxType("moof") && beginIn(*box, entry, nextDecodeTime, false);
}

// Changes nothing unless it succeeds.
bool FragmentReader::beginIn(const FileBox& box, const RandomAccessEntry& entry,
                             std::uint64_t nextDecodeTime, bool onlyIfSync) {
    FragmentTrack track;
    if (parseFragment(box, nextDecodeTime, track) != Load::Done) return false;
    const std::uint64_t number = entry.sampleNumber;
    const std::uint64_t first = number >= 1 && number <= track.samples.size() ? number - 1 : 0;
    const SampleRecord sample = track.samples[first];
    if (onlyIfSync && !sample.sync) return false;
    incomplete_ = track.incomplete;
    passed_ = box.offset; // nothing in front of it is missed
    outcome_ = ReadOutcome::Nothing;
    take(std::move(track), box, nextDecodeTime);
    cursor_ = first;
    rebase_ = static_cast<std::int64_t>(entry.time - sample.pts);
    return true;
}

FragmentReader::Place FragmentReader::place() const {
    return {.fragment = track_.fragmentOffset,
            .decodeTimeInFront = decodeTimeInFront_,
            .passed = passed_,
            .cursor = cursor_,
            .rebase = rebase_,
            .incomplete = incomplete_};
}

bool FragmentReader::returnTo(const Place& place) {
    if (!file_) return false;
    if (place.fragment != track_.fragmentOffset) {
        const auto box = readBoxHeader(file_, place.fragment, fileLength_);
        FragmentTrack track;
        if (!box || box->type != boxType("moof")) return false;
        if (parseFragment(*box, place.decodeTimeInFront, track) != Load::Done) return false;
        take(std::move(track), *box, place.decodeTimeInFront);
    }
    allowAllOfFile();
    needParameterSets_ = true;
    searchEnd_.reset();
    outcome_ = ReadOutcome::Nothing;
    passed_ = place.passed;
    incomplete_ = place.incomplete;
    cursor_ = place.cursor;
    rebase_ = place.rebase;
    return true;
}

bool FragmentReader::ReadNextSample(ReaderSample& sample) {
    sample.data.clear();
    sample.hasPayload = false;
    try {
        return readNext(sample);
    } catch (const std::bad_alloc&) {
        sample.data.clear();
        return fail(ReadOutcome::Failed);
    }
}

bool FragmentReader::readNext(ReaderSample& sample) {
    while (cursor_ >= track_.samples.size()) {
        if (!NextFragment()) return false;
    }
    const SampleRecord record = track_.samples[cursor_++];
    if (record.size > sampleBytesLeft_) return fail(ReadOutcome::Failed);
    sampleBytesLeft_ -= record.size;
    const auto bytes = readSample(record);
    if (!bytes) return fail(ReadOutcome::Failed);
    ByteView inFront;
    if (!annexB_) {
        emptyWithRoomFor(bytes->size(), sample.data);
        sample.data.assign(bytes->begin(), bytes->end());
    } else {
        if (record.sync && needParameterSets_) inFront = parameterSets_;
        convertToAnnexB(*bytes, nalLengthSize_, inFront, sample.data);
        if (record.sync) needParameterSets_ = false; // not before: there may be no memory for them
    }
    const auto rebase = static_cast<std::uint64_t>(rebase_);
    sample.pts = static_cast<std::int64_t>(record.pts + rebase);
    sample.dts = static_cast<std::int64_t>(record.dts + rebase);
    sample.duration = record.duration;
    sample.keyframe = record.sync;
    // Keyframes are measured against the parameter sets even where those aren't in front: on
    // purpose.
    const std::size_t least = annexB_ && record.sync ? parameterSets_.size() : 0;
    sample.hasPayload = sample.data.size() > least;
    outcome_ = sample.data.size() > inFront.size() ? ReadOutcome::Sample : ReadOutcome::Empty;
    return sample.hasPayload;
}

bool FragmentReader::fail(ReadOutcome outcome) {
    if (outcome == ReadOutcome::Failed) incomplete_ = true;
    outcome_ = outcome;
    return false;
}

bool FragmentReader::tableBeginsWithTrack() {
    if (knownFragments_.empty()) return false;
    std::uint64_t offset = 0;
    for (std::uint32_t boxes = 0; boxes < MAX_SEARCHED_BOXES; ++boxes) {
        if (offset >= knownFragments_.front()) return true;
        const auto box = readBoxHeader(file_, offset, fileLength_);
        if (!box || !box->holdsItsHeader()) return false;
        if (box->type == boxType("moof")) {
            FragmentTrack track;
            if (parseFragment(*box, 0, track) == Load::Failed || track.found) return false;
        }
        offset = box->end();
    }
    return false;
}

FragmentReader::Load FragmentReader::parseFragment(const FileBox& box, std::uint64_t nextDecodeTime,
                                                   FragmentTrack& track) {
    if (!box.holdsItsHeader() || box.size > MAX_MOOF_BYTES) return Load::Failed;
    try {
        if (!readInto(moof_, file_, box.offset, box.size)) return Load::Failed;
        track.trackId = index_.trackId;
        track.fragmentOffset = box.offset;
        track.nextDecodeTime = nextDecodeTime;
        // Behind a long header, too, it is read as if behind a short one: on purpose. Nothing comes
        // out then.
        ParseFragment(moof_.view().from(SHORT_HEADER), track);
    } catch (const std::bad_alloc&) { return Load::Failed; }
    if (box.header != SHORT_HEADER) track.incomplete = true;
    return track.samples.empty() ? Load::NoSamples : Load::Done;
}

// The next fragment on the way.
FragmentReader::Load FragmentReader::loadFragment(const FileBox& box) {
    FragmentTrack track;
    const std::uint64_t decodeTimeInFront = track_.nextDecodeTime;
    const Load load = parseFragment(box, decodeTimeInFront, track);
    if (load == Load::Failed) return load;
    if (track.incomplete) incomplete_ = true;
    track_.nextDecodeTime = track.nextDecodeTime;
    if (track.found) pass(box.offset);
    if (load == Load::Done) take(std::move(track), box, decodeTimeInFront);
    return load;
}

void FragmentReader::take(FragmentTrack&& track, const FileBox& box,
                          std::uint64_t decodeTimeInFront) {
    track_ = std::move(track);
    decodeTimeInFront_ = decodeTimeInFront;
    fragmentSize_ = box.size;
    cursor_ = 0;
    searchEnd_.reset();
    prefetch_.clear();
    prefetchTried_ = false;
}

bool FragmentReader::NextFragment() {
    if (track_.fragmentOffset == 0) return fail(ReadOutcome::Failed);
    if (!searchEnd_) {
        std::uint32_t boxesLeft = MAX_SEARCHED_BOXES;
        searchEnd_ = searchNextFragment(boxesLeft);
    }
    if (!searchEnd_) return true;
    const bool isEnd = *searchEnd_ == ReadOutcome::End && !incomplete_;
    return fail(isEnd ? ReadOutcome::End : ReadOutcome::Failed);
}

std::optional<ReadOutcome> FragmentReader::searchNextFragment(std::uint32_t& boxesLeft) {
    std::uint64_t offset = track_.fragmentOffset + fragmentSize_;
    while (true) {
        if (offset == fileLength_) return outcomeAtFileEnd();
        if (boxesLeft == 0) return ReadOutcome::Failed;
        --boxesLeft;
        const auto box = readBoxHeader(file_, offset, fileLength_);
        if (!box || !box->holdsItsHeader()) return ReadOutcome::Failed;
        if (box->type == boxType("moof")) {
            const Load load = loadFragment(*box);
            if (load == Load::Done) return std::nullopt;
            if (load == Load::Failed) incomplete_ = true;
        } else if (box->openEnded && box->type != boxType("mdat")) {
            incomplete_ = true; // zeros, where an unfinished download or a broken disk has nothing
        }
        offset = box->end();
    }
}

// Goes on to a fragment of the track. Those that the table knows in between can't be seen any more.
void FragmentReader::pass(std::uint64_t offset) {
    const auto next = std::upper_bound(knownFragments_.begin(), knownFragments_.end(), passed_);
    if (next != knownFragments_.end() && *next < offset) incomplete_ = true;
    passed_ = offset;
}

ReadOutcome FragmentReader::outcomeAtFileEnd() const {
    const bool more = !knownFragments_.empty() && knownFragments_.back() > passed_;
    return more || incomplete_ ? ReadOutcome::Failed : ReadOutcome::End;
}

// Samples too far apart are read one by one instead, as are those that reach beyond the file or for
// which there is no memory.
void FragmentReader::prefetch() {
    prefetchTried_ = true;
    const FragmentSamples::Span span = track_.samples.span();
    if (span.first >= span.end || span.end > fileLength_) return;
    const std::uint64_t length = span.end - span.first;
    if (length > MAX_PREFETCH_BYTES || length > prefetchBytesLeft_) return;
    prefetchBytesLeft_ -= length;
    prefetchBase_ = span.first;
    try {
        if (!readInto(prefetch_, file_, span.first, length)) prefetch_.clear();
    } catch (const std::bad_alloc&) {
        prefetch_.clear(); // one by one they may fit
    }
}

std::optional<ByteView> FragmentReader::readSample(const SampleRecord& record) {
    if (!prefetchTried_) prefetch();
    if (record.offset >= prefetchBase_ && record.offset - prefetchBase_ <= prefetch_.size()) {
        const auto at = static_cast<std::size_t>(record.offset - prefetchBase_);
        if (prefetch_.view().holds(at, record.size)) return prefetch_.view().part(at, record.size);
    }
    if (!readInto(single_, file_, record.offset, record.size)) return std::nullopt;
    return single_.view();
}

void FragmentReader::allowAllOfFile() {
    sampleBytesLeft_ = mostSampleBytesBetweenSeeks(file_);
    prefetchBytesLeft_ = fileLength_;
}

void FragmentReader::unload() {
    track_ = {};
    cursor_ = 0;
    rebase_ = 0;
    incomplete_ = false;
    outcome_ = ReadOutcome::Nothing;
}

void FragmentReader::computeDuration() {
    durationSeconds_ = 0;
    if (index_.randomAccess.empty() || index_.timescale == 0) return;
    const RandomAccessEntry& last = index_.randomAccess.back();
    allowAllOfFile();
    if (!begin(last, 0)) {
        durationSeconds_ = static_cast<double>(last.time) / index_.timescale;
        return;
    }
    std::int64_t latest = track_.samples.latestEnd(rebase_);
    std::uint32_t boxesLeft = MAX_DURATION_BOXES;
    for (std::uint32_t fragments = 1; fragments < MAX_DURATION_FRAGMENTS; ++fragments) {
        const std::uint32_t allowed = std::min(boxesLeft, MAX_SEARCHED_BOXES);
        std::uint32_t left = allowed;
        if (searchNextFragment(left)) break;
        boxesLeft -= allowed - left;
        latest = std::max(latest, track_.samples.latestEnd(rebase_));
    }
    durationSeconds_ = static_cast<double>(latest) / index_.timescale;
}

} // namespace velkantrix
