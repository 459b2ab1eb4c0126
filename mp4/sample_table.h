// sample_table.h: the tables that say where a plain file's samples are and when they are shown
// (ISO/IEC 14496-12, 8.6 and 8.7), walked forward without unfolding them.
//
// A table of a few bytes can stand for 2^32 samples or chunks. So every cursor here moves by whole
// table entries: going through a track costs what its tables are long, whatever counts they state.
// Samples are numbered from 0, chunks from 1.
#pragma once

#include <cstdint>
#include <optional>

#include "mp4/byte_view.h"

namespace velkantrix {

// Payloads of a stbl's children; of several of one type the last. Who made the stbl keeps the
// bytes.
struct SampleTables {
    std::optional<ByteView> stsd, stts, ctts, stss, stsz, stsc, stco, co64;
    bool regular = true; // the stbl's boxes fill it: none was missed behind a broken one
};

SampleTables findSampleTables(ByteView stbl);

// The tables describe all samples, and the same ones: none was missed, every one has as many
// entries as it states (less than a whole one may be left over), stts has as many samples as stsz
// and ctts no fewer, the last sample lies in the last chunk, and stss ascends and names samples of
// the track. Where not, samples are missing, or some have false times, places or keyframe marks.
// Takes time in proportion to the tables.
bool tablesAgree(const SampleTables& tables);

// stsz.
class SampleSizes {
public:
    SampleSizes() = default;
    explicit SampleSizes(ByteView stsz);

    [[nodiscard]] std::uint32_t count() const { return count_; } // as stated
    [[nodiscard]] bool uniform() const { return uniform_ != 0; }
    // Samples whose size is given: all of them when they share one, else those whose size is in the
    // box.
    [[nodiscard]] std::uint32_t given() const;

    // Bytes; 0 where the table has ended before.
    [[nodiscard]] std::uint32_t of(std::uint64_t sample) const {
        return uniform_ != 0 ? uniform_ : table_.u32(static_cast<std::size_t>(sample * 4));
    }

    // Bytes of the samples first to end - 1.
    [[nodiscard]] std::uint64_t sum(std::uint64_t first, std::uint64_t end) const;

private:
    ByteView table_;
    std::uint32_t uniform_ = 0, count_ = 0;
};

// stss: the numbers, from 1, of the sync samples.
class SyncNumbers {
public:
    SyncNumbers(ByteView stss, std::uint32_t samples);

    [[nodiscard]] std::uint32_t size() const { return size_; } // those in the box
    [[nodiscard]] std::uint32_t operator[](std::uint32_t i) const {
        return stss_.u32(8 + std::size_t{4} * i);
    }
    // Numbers of no sample are to be passed over.
    [[nodiscard]] bool valid(std::uint32_t i) const {
        return (*this)[i] >= 1 && (*this)[i] <= samples_;
    }
    [[nodiscard]] std::size_t countValid() const;

private:
    ByteView stss_;
    std::uint32_t samples_, size_;
};

// stts and ctts: entries of {number of samples, value}.
class RunCursor {
public:
    RunCursor() = default;
    explicit RunCursor(ByteView table);

    // Goes to a sample, forward only.
    void advanceTo(std::uint64_t sample) {
        sample_ = sample;
        while (sample >= end_ && next_ < entries_) enterNext();
    }

    // False behind the table's last sample; first() and sumBefore() then say what the table covers.
    [[nodiscard]] bool covers() const { return sample_ < end_; }
    [[nodiscard]] std::uint32_t value() const { return covers() ? value_ : 0; }
    [[nodiscard]] std::uint64_t coveredSamples() const { return end_; } // so far
    // Behind the last sample up to which the value stays the same, given that there are `samples`.
    [[nodiscard]] std::uint64_t runEnd(std::uint64_t samples) const {
        return covers() && end_ < samples ? end_ : samples;
    }
    // Sum of the values of all samples before this one that the table covers.
    [[nodiscard]] std::uint64_t sumBefore() const {
        return sum_ + ((covers() ? sample_ : end_) - first_) * value_;
    }

private:
    void enterNext();

    ByteView table_;
    std::uint32_t entries_ = 0, next_ = 0;
    std::uint64_t sample_ = 0;
    std::uint64_t first_ = 0, end_ = 0; // samples of the entered entry
    std::uint64_t sum_ = 0;             // before them
    std::uint32_t value_ = 0;
};

// stsc, stco or co64, and stsz: where in the file a sample is.
class OffsetCursor {
public:
    OffsetCursor() = default;
    OffsetCursor(const SampleTables& tables, const SampleSizes& sizes);

    // Goes to a sample, forward only.
    void advanceTo(std::uint64_t sample) {
        if (sample < chunkEnd_) {
            moveInChunk(sample);
        } else {
            enterChunkOf(sample);
        }
    }

    // False behind the last sample of the last chunk; the offset is 0 there.
    [[nodiscard]] bool covers() const { return covers_; }
    // True when the box holds the offset of this sample's chunk; where it doesn't that offset
    // counts as 0.
    [[nodiscard]] bool chunkIsGiven() const { return chunkIsGiven_; }
    [[nodiscard]] std::uint64_t offset() const { return offset_; }
    // No chunk is stated behind this sample's.
    [[nodiscard]] bool inLastChunk() const { return covers_ && chunk_ == chunks_; }

private:
    void enterNextEntry();
    void enterChunkOf(std::uint64_t sample);
    void moveInChunk(std::uint64_t sample);
    [[nodiscard]] std::uint32_t firstChunkOf(std::uint32_t entry) const;

    SampleSizes sizes_;
    ByteView stsc_, offsets_;
    std::size_t offsetBytes_ = 4;
    std::uint32_t chunks_ = 0;             // as stated
    std::uint32_t entries_ = 0, next_ = 0; // of stsc
    std::uint64_t firstChunk_ = 0;         // of the entered entry
    std::uint64_t samplesPerChunk_ = 0;
    std::uint64_t entryFirst_ = 0, entryEnd_ = 0; // samples
    std::uint64_t chunk_ = 0;
    std::uint64_t chunkEnd_ = 0; // behind the chunk's last sample
    std::uint64_t sample_ = 0, offset_ = 0;
    bool covers_ = false, chunkIsGiven_ = false;
};

} // namespace velkantrix
