#include "export/writer_backlog.h"

#include <algorithm>

namespace velkantrix {
namespace {

constexpr std::uint64_t ROOM = 256u << 20; // bytes
// What encoders look ahead, and what keeps them busy while the reader seeks.
constexpr std::uint64_t FEWEST = 16, MOST = 4096;

} // namespace

WriterBacklog::WriterBacklog(std::uint64_t sampleSize)
    : mostWaiting_(std::clamp(ROOM / std::max<std::uint64_t>(1, sampleSize), FEWEST, MOST)) {}

bool WriterBacklog::mustWait(const std::optional<WriterCounts>& counts, Ticks now) {
    const bool full = counts && counts->received > counts->encoded &&
                      counts->received - counts->encoded >= mostWaiting_;
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
