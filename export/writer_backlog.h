// writer_backlog.h: whether an export has to wait for its encoder.
//
// The writer takes samples as fast as they come and keeps those that its encoder hasn't come to.
// Decoded pictures are large: what waits must not grow with the length of the video.
#pragma once

#include <cstddef>
#include <cstdint>
#include <deque>
#include <optional>

#include "base/ticks.h"

namespace velkantrix {

// How far the encoder of a stream has come.
struct EncoderProgress {
    std::uint64_t encoded = 0; // samples; it may drop pictures, and cut sound otherwise
    Ticks lastEncoded = 0;     // the time of the last one, where there is one
};

// One per stream, used by the export's thread. What waits is what was written with a later time
// than the encoder has come to: that needs no rate, and holds for samples of any length and size.
class WriterBacklog {
public:
    // A sample of so many bytes was written.
    void wrote(Ticks time, std::uint64_t size);

    // Whether the next sample has to wait, at the time `now` of any clock. To be asked again, until
    // it need not. When it isn't known how far the encoder is, nothing waits.
    //
    // An encoder may want more samples before it gives any back than are let through; that looks
    // like one that has stopped. As long as it has given none, twice as much may wait from each
    // PATIENCE on that passes, up to MOST_ROOM or LOOK_AHEAD samples. Later only a single sample
    // gets through: what makes an encoder stop then may be a disk, or its end, which is told to who
    // writes. But one that goes on when it has got that sample, and stops again, looks further
    // ahead than there is room: then as much as FEWEST samples take is added, up to MOST_ROOM.
    [[nodiscard]] bool mustWait(const std::optional<EncoderProgress>& progress, Ticks now);

    // The last answer was no only because nothing was encoded for PATIENCE.
    [[nodiscard]] bool lostPatience() const { return lostPatience_; }

    static constexpr Ticks PATIENCE = TICKS_PER_SECOND;
    static constexpr std::uint64_t ROOM = 256u << 20; // bytes, at first
    static constexpr std::uint64_t MOST_ROOM = 2 * ROOM;
    // However large they are: what encoders look ahead, and what keeps them busy while the reader
    // seeks. However small they are: each takes memory beside its bytes.
    static constexpr std::size_t FEWEST = 16, MOST = 1u << 16;
    // As many as an encoder may want before it gives the first one.
    static constexpr std::uint64_t LOOK_AHEAD = 64;

private:
    struct Waiting {
        Ticks time = 0;
        std::uint64_t size = 0;
    };

    void forgetEncoded(const EncoderProgress& progress);
    [[nodiscard]] bool isFull() const;
    void makeRoom();

    std::deque<Waiting> waiting_; // in the order of their times, which is that of writing
    std::uint64_t waitingSize_ = 0;
    std::uint64_t room_ = ROOM;
    std::uint64_t encoded_ = 0;      // when it was last seen to change
    std::optional<Ticks> stillFrom_; // of the wait that is on: since when nothing was encoded
    bool letThrough_ = false;        // a sample, by patience, since `encoded_` changed
    bool lostPatience_ = false;
};

} // namespace velkantrix
