// read_budget.h: how long a pass over a stream may be.
#pragma once

#include <cstdint>

namespace velkantrix {

// A source that never ends must not keep an export running for ever: a pass may read so many
// samples and no more. (At 60 pictures a second it is 92 hours.)
class ReadBudget {
public:
    static constexpr std::int64_t READS_PER_PASS = 20'000'000;

    explicit ReadBudget(std::int64_t reads = READS_PER_PASS) : left_(reads) {}

    // False when nothing is left; otherwise takes one.
    [[nodiscard]] bool take() {
        if (left_ <= 0) return false;
        left_--;
        return true;
    }

private:
    std::int64_t left_;
};

} // namespace velkantrix
