#include "export/writer_backlog.h"

#include <algorithm>

namespace velkantrix {

void WriterBacklog::wrote(Ticks time, std::uint64_t size) {
    waiting_.push_back({time, size});
    waitingSize_ += size;
}

void WriterBacklog::forgetEncoded(const EncoderProgress& progress) {
    if (progress.encoded == 0) return; // it has no last time yet
    while (!waiting_.empty() && waiting_.front().time <= progress.lastEncoded) {
        waitingSize_ -= waiting_.front().size;
        waiting_.pop_front();
    }
}

bool WriterBacklog::isFull() const {
    return waiting_.size() >= MOST || (waiting_.size() >= FEWEST && waitingSize_ >= room_);
}

void WriterBacklog::makeRoom() {
    const std::uint64_t more = room_ + FEWEST * waiting_.back().size;
    room_ = std::max(room_, std::min(more, MOST_ROOM));
}

bool WriterBacklog::mustWait(const std::optional<EncoderProgress>& progress, Ticks now) {
    lostPatience_ = false;
    if (progress) forgetEncoded(*progress);
    if (progress && letThrough_ && progress->encoded != encoded_) {
        letThrough_ = false;
        if (progress->encoded > encoded_ && isFull()) makeRoom();
    }
    if (!progress || !isFull()) {
        stillFrom_.reset();
        return false;
    }
    if (!stillFrom_ || progress->encoded != encoded_) {
        stillFrom_ = now;
        encoded_ = progress->encoded;
    }
    if (subtractTicks(now, *stillFrom_) < PATIENCE) return true;
    stillFrom_.reset();
    lostPatience_ = true;
    letThrough_ = progress->encoded != 0;
    if (progress->encoded == 0) {
        const std::uint64_t most = std::max(MOST_ROOM, LOOK_AHEAD * waiting_.back().size);
        room_ = std::max(room_, std::min(room_ * 2, most));
    }
    return false;
}

} // namespace velkantrix
