// fragment.h: the samples that one moof describes (ISO/IEC 14496-12, 8.8).
#pragma once

#include <cstdint>
#include <optional>
#include <vector>

#include "mp4/byte_view.h"

namespace velkantrix {

struct SampleRecord {
    std::uint64_t offset = 0;   // in the file, bytes
    std::uint32_t size = 0;     // bytes
    std::uint64_t pts = 0;      // composition time, ticks of the track's time scale
    std::uint64_t dts = 0;      // decode time, ticks
    std::uint32_t duration = 0; // ticks
    bool sync = false;          // keyframe

    bool operator==(const SampleRecord&) const = default;
};

// A list of samples. A trun without fields for each sample describes up to 2^32 equal ones in a few
// bytes; it takes a few bytes here too. So size() is what a file claims: nothing may be done for
// each sample that doesn't end where the file does.
class FragmentSamples {
public:
    [[nodiscard]] std::uint64_t size() const { return runs_.empty() ? 0 : runs_.back().end; }
    [[nodiscard]] bool empty() const { return runs_.empty(); }

    // Sample i, which must be below size().
    [[nodiscard]] SampleRecord operator[](std::uint64_t i) const;

    // Makes room for so many more that differ, exactly: growing by doubling would take three times
    // that. Of equal ones each row counts as one.
    void reserve(std::size_t records);
    void append(const SampleRecord& sample);
    // `count` samples, each right behind the one before it in the file and in time, which differ
    // from the first in nothing else but that they are keyframes or not.
    void appendEqual(const SampleRecord& first, std::uint64_t count, bool othersSync);

    // The bytes of the file between the start of the first sample and the end of the last one, by
    // their places. An end beyond the largest number is that number.
    struct Span {
        std::uint64_t first = 0, end = 0;
    };
    [[nodiscard]] Span span() const;

    // The largest pts + duration + rebase, ticks; at least 0.
    [[nodiscard]] std::int64_t latestEnd(std::int64_t rebase) const;

private:
    // Samples end - count to end - 1: records_[record] and those behind it, or as many equal ones.
    struct Run {
        std::uint64_t end = 0, count = 0;
        std::size_t record = 0; // of equal ones: the first
        bool equal = false, othersSync = false;
    };

    std::vector<SampleRecord> records_;
    std::vector<Run> runs_;
};

// What parsing a moof needs to know of its track, and what it finds out.
struct FragmentTrack {
    std::uint32_t trackId = 0;
    std::uint64_t fragmentOffset = 0; // of the moof in the file, bytes
    std::uint64_t nextDecodeTime = 0; // ticks; of fragments that don't say theirs; carried on
    FragmentSamples samples;          // in the moof's order
    bool found = false;               // the moof has a traf of the track
    bool incomplete = false;          // and states samples of it that it doesn't describe
};

// Appends the samples of the trafs of the track. Takes time and memory in proportion to the
// payload: at most 10 bytes for each of its own. Throws std::bad_alloc.
void ParseFragment(ByteView moofPayload, FragmentTrack& track);

// A tfhd. Fields that aren't there are 0.
struct TrackFragmentHeader {
    std::uint32_t trackId = 0;
    std::optional<std::uint64_t> baseDataOffset; // in the file, bytes
    std::uint32_t duration = 0, size = 0,
                  flags = 0; // each sample's, unless its trun says otherwise
};

// Of a traf's tfhds the last one that is long enough counts; nothing when there is none.
std::optional<TrackFragmentHeader> readTrackFragmentHeader(ByteView traf);

// A trun's fields in front of its records, and where in the payload the parts of a record are.
struct TrackRun {
    std::uint32_t sampleCount = 0;
    std::int32_t dataOffset = 0; // bytes; 0 when absent
    std::optional<std::uint32_t> firstFlags;
    std::size_t recordsAt = 0, recordBytes = 0;
    std::optional<std::size_t> durationAt, sizeAt, flagsAt, compositionAt; // in a record

    // How many of the stated records lie wholly in the payload; all of them when they are empty.
    [[nodiscard]] std::uint32_t recordsIn(ByteView payload) const;
    // The payload has bytes for more records than are stated.
    [[nodiscard]] bool hasRoomForMore(ByteView payload) const;
    // Whether a sample, one of recordsIn, is a keyframe. What neither the run nor the header says
    // of it counts as yes.
    [[nodiscard]] bool isSync(std::uint32_t sample, ByteView payload,
                              const TrackFragmentHeader& header) const;
};

// Of a payload of at least 8 bytes.
TrackRun readTrackRun(ByteView payload);

} // namespace velkantrix
