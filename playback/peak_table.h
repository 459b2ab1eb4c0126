// peak_table.h: how loud a source is, in 4096 equal parts of its length: what its waveform is drawn
// from.
//
// One thread fills a table while another takes what is complete of it. Buckets are mostly passed in
// their order, and `audioPeaksValid` is raised behind them. What is below it can still be raised:
// the last bucket by sound that is longer than the source, any by sound whose times go back. So
// entries are read and written as atomics, only by the functions here, and the changes of what is
// complete are counted.
#pragma once

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <span>
#include <vector>

#include "base/ticks.h"

namespace velkantrix {

inline constexpr std::int32_t PEAK_BUCKETS = 4096; // over the whole source

struct PeakTable {
    // Of each bucket the largest absolute sample, 0 to 1.
    std::vector<float> audioPeaks = std::vector<float>(PEAK_BUCKETS);
    // How many buckets, from the start, are complete. Written by the filling thread.
    std::atomic<std::int32_t> audioPeaksValid{0};
    // How often there were more complete ones, or louder ones. Written by the filling thread.
    std::atomic<std::uint32_t> changes{0};
};

// The complete entries, in the place of what `peaks` held.
void takePeaks(PeakTable& table, std::vector<float>& peaks);

// The table's changes so far. What is taken after they were asked for has all of them, and maybe
// later ones, whose number comes then: whoever keeps a picture of the peaks asks first.
inline std::uint32_t changesOf(const PeakTable& table) {
    return table.changes.load(std::memory_order_acquire);
}

// Interleaved samples of 16 bits.
struct PcmFormat {
    std::uint32_t rate = 0;     // frames a second
    std::uint32_t channels = 0; // samples in each frame
    bool operator==(const PcmFormat&) const = default;
};

// The format that sound is read by: a channel count that no sound has counts as 2. Without a rate
// or a channel nothing can be made of it: both are 0 then.
PcmFormat usableFormat(PcmFormat stated);

// Fills a table from the blocks of one stream, in their order. One thread.
class PeakFiller {
public:
    // `format` is usable, `duration` (seconds, of the source) above 0. The table outlives this.
    PeakFiller(PeakTable& table, PcmFormat format, double duration);

    // The next block is presented at `time`. Sound that begins late, or has a gap, is silent up to
    // there, which is complete once another time agrees, or the sound ends. Times that are off by
    // no more than a tenth of a second count for nothing, so that where a clock runs short up to
    // that much is drawn as silence; any other difference moves the block to its time, so that what
    // one wrong time spoils the next mends.
    void continueAt(Ticks time);

    // The next block has that format, which is usable.
    void changeFormat(PcmFormat format);

    // The next block, of that length, can't be read: a silent place, as others are short of memory
    // or damaged. False once there are too many in a row for that.
    [[nodiscard]] bool passOver(Ticks duration);

    // Whole frames; every fourth of them is looked at. What is left of one at the end is dropped,
    // and so is what lies before the source's start.
    void add(std::span<const std::byte> block);

    // The stream has ended: silence up to the source's end.
    void finish();

private:
    [[nodiscard]] double bucketsBefore(std::int64_t frame) const;
    [[nodiscard]] std::int32_t bucketOf(std::int64_t frame) const;
    [[nodiscard]] std::int64_t endOfBucket(std::int64_t frame, std::int64_t end) const;
    [[nodiscard]] std::int32_t peakOfFrame(const std::byte* frame) const;
    void raise(std::int32_t bucket, std::int32_t peak);
    void raiseValid(std::int32_t valid);
    void raiseValidToHere();

    PeakTable& table_;
    PcmFormat format_;
    double duration_;
    std::int64_t frames_ = 0;  // from the source's start to the next block; below 0 before it
    std::int64_t sureTo_ = 0;  // as far as times agree: what is complete goes no further
    bool unsureOfGap_ = false; // the last block lies behind a gap that its time alone tells of
    int unreadable_ = 0;       // the last blocks, in a row
};

} // namespace velkantrix
