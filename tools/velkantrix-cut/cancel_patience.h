// cancel_patience.h: when asking again to cancel means that the program is to be ended.
#pragma once

#include <atomic>
#include <cstdint>

namespace velkantrix {

// Each console event has a thread of its own, and two may come at once: both are then the first.
class CancelPatience {
public:
    static constexpr std::uint64_t PATIENCE_MS = 5'000;

    // The user asks. Before the program is told to cancel.
    void ask(std::uint64_t nowMs) {
        std::uint64_t none = 0;
        firstAsked_.compare_exchange_strong(none, nowMs == 0 ? 1 : nowMs);
    }

    // Whether the program has had its time. `nowMs` was read after ask() has returned.
    [[nodiscard]] bool isOver(std::uint64_t nowMs) const {
        const std::uint64_t first = firstAsked_;
        return nowMs > first && nowMs - first >= PATIENCE_MS;
    }

private:
    std::atomic<std::uint64_t> firstAsked_ = 0; // 0: not yet. Written once, by whoever asks first
};

} // namespace velkantrix
