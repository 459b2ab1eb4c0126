// writer_backlog.h: whether an export has to wait for its encoder.
//
// The writer takes samples as fast as they come and keeps those that its encoder hasn't come to.
// Decoded pictures are large: what waits must not grow with the length of the video.
#pragma once

#include <cstdint>
#include <optional>

#include "base/ticks.h"

namespace velkantrix {

// Of one stream, as the writer counts.
struct WriterCounts {
    std::uint64_t received = 0; // samples
    std::uint64_t encoded = 0;
    Ticks lastReceived = 0; // the times of the last ones
    Ticks lastEncoded = 0;
};

// One per stream, used by the export's thread.
class WriterBacklog {
public:
    // What samples usually are: their size in bytes, and how long they last.
    WriterBacklog(std::uint64_t sampleSize, Ticks sampleDuration);

    // Whether the next sample has to wait, at the time `now` of any clock. To be asked again, until
    // it need not. Without counts nothing waits. Numbers alone don't tell that an encoder is
    // behind: it may drop pictures, and makes sounds of another length than it is given. So it must
    // be behind in time as well.
    //
    // An encoder may want more samples before it gives any back than are let through; that looks
    // like one that has stopped. When nothing was encoded for PATIENCE, twice as many may wait from
    // then on.
    [[nodiscard]] bool mustWait(const std::optional<WriterCounts>& counts, Ticks now);

    static constexpr Ticks PATIENCE = TICKS_PER_SECOND;

    [[nodiscard]] std::uint64_t mostWaiting() const { return mostWaiting_; }

private:
    [[nodiscard]] bool isFull(const WriterCounts& counts) const;

    const Ticks sampleDuration_;
    std::uint64_t mostWaiting_;
    std::uint64_t encoded_ = 0;      // when it was last seen to change
    std::optional<Ticks> stillFrom_; // of the wait that is on: since when nothing was encoded
};

} // namespace velkantrix
