#include "mp4/fragment.h"

#include <algorithm>
#include <limits>

#include "mp4/box_walk.h"

namespace velkantrix {
namespace {

constexpr std::uint32_t BASE_DATA_OFFSET = 0x1, DESCRIPTION_INDEX = 0x2, DEFAULT_DURATION = 0x8,
                        DEFAULT_SIZE = 0x10, DEFAULT_FLAGS = 0x20; // tfhd
constexpr std::uint32_t DATA_OFFSET = 0x1, FIRST_FLAGS = 0x4, DURATION = 0x100, SIZE = 0x200,
                        FLAGS = 0x400, COMPOSITION = 0x800; // trun
constexpr std::uint32_t NON_SYNC_SAMPLE = 0x10000;          // a sample's flags

std::uint64_t saturatingSum(std::uint64_t a, std::uint64_t b) {
    return a > std::numeric_limits<std::uint64_t>::max() - b
               ? std::numeric_limits<std::uint64_t>::max()
               : a + b;
}

// Offsets and times wrap around like the 64-bit fields they are made of.
std::uint64_t moved(std::uint64_t value, std::int32_t by) {
    return value + static_cast<std::uint64_t>(static_cast<std::int64_t>(by));
}

std::uint64_t decodeTimeOf(ByteView tfdt) {
    return tfdt.u8(0) == 1 ? tfdt.u64(4) : tfdt.u32(4);
}

class TrackFragmentParser {
public:
    TrackFragmentParser(const TrackFragmentHeader& header, std::uint64_t decodeTime,
                        FragmentTrack& track)
        : header_(header),
          track_(track),
          base_(header.baseDataOffset.value_or(track.fragmentOffset)),
          dts_(decodeTime) {}

    void parseRun(ByteView payload) {
        const TrackRun run = readTrackRun(payload);
        // Without a data offset, too, it starts at the base offset and not behind the run before
        // it: on purpose.
        SampleRecord sample;
        sample.offset = moved(base_, run.dataOffset);
        if (run.recordBytes == 0) {
            parseEqual(run, payload, sample);
        } else {
            parseRecords(run, payload, sample);
        }
    }

    [[nodiscard]] std::uint64_t decodeTime() const { return dts_; }

private:
    void parseRecords(const TrackRun& run, ByteView payload, SampleRecord sample) {
        const auto field = [&](std::optional<std::size_t> at, std::size_t record,
                               std::uint32_t otherwise) {
            return at ? payload.u32(record + *at) : otherwise;
        };
        const std::uint32_t count = run.recordsIn(payload);
        if (count < run.sampleCount || run.hasRoomForMore(payload)) track_.incomplete = true;
        for (std::uint32_t i = 0; i < count; ++i) {
            const std::size_t record = run.recordsAt + i * run.recordBytes;
            sample.size = field(run.sizeAt, record, header_.size);
            if (sample.size == 0) {
                if (losesSamples(run, payload, i)) track_.incomplete = true;
                return;
            }
            sample.duration = field(run.durationAt, record, header_.duration);
            sample.sync = run.isSync(i, payload, header_);
            sample.dts = dts_;
            sample.pts =
                moved(dts_, static_cast<std::int32_t>(field(run.compositionAt, record, 0)));
            track_.samples.append(sample);
            sample.offset += sample.size;
            dts_ += sample.duration;
        }
    }

    // Whether something is lost when a run ends at a record without size. Samples without bytes are
    // no loss. Those behind them are, and so are those whose size isn't given at all, and zeros
    // where a record was.
    static bool losesSamples(const TrackRun& run, ByteView payload, std::uint32_t first) {
        if (!run.sizeAt) return true;
        for (std::uint32_t i = first; i < run.recordsIn(payload); ++i) {
            const ByteView record =
                payload.part(run.recordsAt + i * run.recordBytes, run.recordBytes);
            if (record.u32(*run.sizeAt) != 0) return true;
            const bool blank = std::all_of(record.begin(), record.end(),
                                           [](std::uint8_t byte) { return byte == 0; });
            if (blank && run.recordBytes > 4) return true;
        }
        return false;
    }

    void parseEqual(const TrackRun& run, ByteView payload, SampleRecord first) {
        first.size = header_.size;
        if (first.size == 0) {
            if (run.sampleCount > 0) track_.incomplete = true;
            return;
        }
        const std::uint64_t count = run.sampleCount;
        first.duration = header_.duration;
        first.dts = first.pts = dts_;
        first.sync = run.isSync(0, payload, header_);
        track_.samples.appendEqual(first, count, run.isSync(1, payload, header_));
        dts_ += count * header_.duration;
    }

    const TrackFragmentHeader header_;
    FragmentTrack& track_;
    const std::uint64_t base_;
    std::uint64_t dts_;
};

void parseTrackFragment(ByteView traf, FragmentTrack& track) {
    const auto header = readTrackFragmentHeader(traf);
    if (!header) track.incomplete = true; // it may be the track's
    if (!header || header->trackId != track.trackId) return;
    track.found = true;
    std::uint64_t decodeTime = track.nextDecodeTime;
    WalkChildren(traf, [&](BoxType type, ByteView payload) {
        if (type == boxType("tfdt") && payload.size() >= 8) decodeTime = decodeTimeOf(payload);
    });
    TrackFragmentParser parser(*header, decodeTime, track);
    const bool whole = WalkChildren(traf, [&](BoxType type, ByteView payload) {
        if (type != boxType("trun")) return;
        if (payload.size() >= 8) {
            parser.parseRun(payload);
        } else {
            track.incomplete = true;
        }
    });
    if (!whole) track.incomplete = true;
    track.nextDecodeTime = parser.decodeTime();
}

// As many as the truns' bytes have records, whatever they state.
void reserveFor(ByteView moofPayload, FragmentTrack& track) {
    std::size_t records = 0;
    WalkChildren(moofPayload, [&](BoxType trafType, ByteView traf) {
        if (trafType != boxType("traf")) return;
        const auto header = readTrackFragmentHeader(traf);
        if (!header || header->trackId != track.trackId) return;
        WalkChildren(traf, [&](BoxType type, ByteView payload) {
            if (type != boxType("trun") || payload.size() < 8) return;
            const TrackRun run = readTrackRun(payload);
            records += run.recordBytes == 0 ? 1 : run.recordsIn(payload);
        });
    });
    track.samples.reserve(records);
}

} // namespace

void ParseFragment(ByteView moofPayload, FragmentTrack& track) {
    reserveFor(moofPayload, track);
    const bool whole = WalkChildren(moofPayload, [&](BoxType type, ByteView payload) {
        if (type == boxType("traf")) parseTrackFragment(payload, track);
    });
    if (!whole) track.incomplete = true;
}

SampleRecord FragmentSamples::operator[](std::uint64_t i) const {
    const auto run = std::upper_bound(runs_.begin(), runs_.end(), i,
                                      [](std::uint64_t n, const Run& r) { return n < r.end; });
    const std::uint64_t inRun = i - (run->end - run->count);
    if (!run->equal) return records_[run->record + static_cast<std::size_t>(inRun)];
    SampleRecord sample = records_[run->record];
    if (inRun == 0) return sample;
    sample.offset += inRun * sample.size;
    sample.pts += inRun * sample.duration;
    sample.dts += inRun * sample.duration;
    sample.sync = run->othersSync;
    return sample;
}

void FragmentSamples::reserve(std::size_t records) {
    records_.reserve(records_.size() + records);
}

void FragmentSamples::append(const SampleRecord& sample) {
    if (runs_.empty() || runs_.back().equal) runs_.push_back({size(), 0, records_.size()});
    records_.push_back(sample);
    ++runs_.back().end;
    ++runs_.back().count;
}

void FragmentSamples::appendEqual(const SampleRecord& first, std::uint64_t count, bool othersSync) {
    if (count == 0) return;
    runs_.push_back({size() + count, count, records_.size(), true, othersSync});
    records_.push_back(first);
}

FragmentSamples::Span FragmentSamples::span() const {
    Span span{std::numeric_limits<std::uint64_t>::max(), 0};
    const auto add = [&](std::uint64_t offset, std::uint64_t bytes) {
        span.first = std::min(span.first, offset);
        span.end = std::max(span.end, saturatingSum(offset, bytes));
    };
    for (const Run& run : runs_) {
        const SampleRecord* record = &records_[run.record];
        if (run.equal) {
            add(record->offset, run.count * record->size);
        } else {
            for (std::uint64_t i = 0; i < run.count; ++i, ++record)
                add(record->offset, record->size);
        }
    }
    return span;
}

std::int64_t FragmentSamples::latestEnd(std::int64_t rebase) const {
    std::int64_t latest = 0;
    const auto add = [&](const SampleRecord& sample, std::uint64_t durations) {
        const std::uint64_t end =
            sample.pts + durations * sample.duration + static_cast<std::uint64_t>(rebase);
        latest = std::max(latest, static_cast<std::int64_t>(end));
    };
    for (const Run& run : runs_) {
        const SampleRecord* record = &records_[run.record];
        if (run.equal) {
            add(*record, run.count);
        } else {
            for (std::uint64_t i = 0; i < run.count; ++i, ++record) add(*record, 1);
        }
    }
    return latest;
}

std::optional<TrackFragmentHeader> readTrackFragmentHeader(ByteView traf) {
    std::optional<TrackFragmentHeader> header;
    WalkChildren(traf, [&](BoxType type, ByteView payload) {
        if (type != boxType("tfhd") || payload.size() < 8) return;
        const std::uint32_t flags = payload.u32(0);
        std::size_t position = 8;
        header.emplace().trackId = payload.u32(4);
        if (flags & BASE_DATA_OFFSET) {
            if (payload.holds(position, 8)) header->baseDataOffset = payload.u64(position);
            position += 8;
        }
        const auto take = [&](std::uint32_t flag) {
            if (!(flags & flag)) return std::uint32_t{0};
            position += 4;
            return payload.u32(position - 4);
        };
        take(DESCRIPTION_INDEX);
        header->duration = take(DEFAULT_DURATION);
        header->size = take(DEFAULT_SIZE);
        header->flags = take(DEFAULT_FLAGS);
    });
    return header;
}

TrackRun readTrackRun(ByteView payload) {
    TrackRun run;
    const std::uint32_t flags = payload.u32(0);
    run.sampleCount = payload.u32(4);
    std::size_t position = 8;
    if (flags & DATA_OFFSET) {
        run.dataOffset = static_cast<std::int32_t>(payload.u32(position));
        position += 4;
    }
    if (flags & FIRST_FLAGS) {
        if (payload.holds(position, 4)) run.firstFlags = payload.u32(position);
        position += 4;
    }
    run.recordsAt = position;
    const auto place = [&](std::uint32_t flag, std::optional<std::size_t>& at) {
        if (!(flags & flag)) return;
        at = run.recordBytes;
        run.recordBytes += 4;
    };
    place(DURATION, run.durationAt);
    place(SIZE, run.sizeAt);
    place(FLAGS, run.flagsAt);
    place(COMPOSITION, run.compositionAt);
    return run;
}

bool TrackRun::hasRoomForMore(ByteView payload) const {
    return recordBytes != 0 && payload.from(recordsAt).size() / recordBytes > sampleCount;
}

bool TrackRun::isSync(std::uint32_t sample, ByteView payload,
                      const TrackFragmentHeader& header) const {
    std::uint32_t flags = header.flags;
    if (flagsAt) flags = payload.u32(recordsAt + sample * recordBytes + *flagsAt);
    if (sample == 0) flags = firstFlags.value_or(flags);
    return (flags & NON_SYNC_SAMPLE) == 0;
}

std::uint32_t TrackRun::recordsIn(ByteView payload) const {
    if (recordBytes == 0) return sampleCount;
    const std::size_t whole = payload.from(recordsAt).size() / recordBytes;
    return static_cast<std::uint32_t>(std::min<std::size_t>(sampleCount, whole));
}

} // namespace velkantrix
