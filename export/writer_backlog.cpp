#include "export/writer_backlog.h"

#include <algorithm>

namespace velkantrix {
namespace {

constexpr std::uint64_t ROOM = 256u << 20; // bytes
// What encoders look ahead, and what keeps them busy while the reader seeks.
constexpr std::uint64_t FEWEST = 16, MOST = 4096;

} // namespace

WriterBacklog::WriterBacklog(std::uint64_t sampleSize, Ticks sampleDuration)
    : sampleDuration_(sampleDuration),
      mostWaiting_(std::clamp(ROOM / std::max<std::uint64_t>(1, sampleSize), FEWEST, MOST)) {}

bool WriterBacklog::isFull(const WriterCounts& counts) const {
    if (counts.received <= counts.encoded) return false;
    const std::uint64_t waiting = counts.received - counts.encoded;
    if (waiting < mostWaiting_) return false;
    // Where the rate varies, samples may be shorter than they usually are.
    const Ticks behind = subtractTicks(counts.lastReceived, counts.lastEncoded);
    return static_cast<double>(behind) >=
           static_cast<double>(mostWaiting_) / 4 * static_cast<double>(sampleDuration_);
}

bool WriterBacklog::mustWait(const std::optional<WriterCounts>& counts, Ticks now) {
    const bool full = counts && isFull(*counts);
    if (!full) {
        stillFrom_.reset();
        return false;
    }
    if (!stillFrom_ || counts->encoded != encoded_) {
        stillFrom_ = now;
        encoded_ = counts->encoded;
    }
    if (subtractTicks(now, *stillFrom_) < PATIENCE) return true;
    stillFrom_.reset();
    mostWaiting_ *= 2;
    return false;
}

} // namespace velkantrix
