#include "playback/exact_search.h"

#include <algorithm>

namespace velkantrix {
namespace {

constexpr std::uint32_t ENOUGH_BEYOND = 3; // samples, when the one wanted is among those fed

} // namespace

ExactSearch::Feed ExactSearch::fed(Ticks pts, Ticks duration) {
    if (pts > target_) {
        ++beyond_;
    } else if (!wanted_ || pts >= *wanted_) {
        wanted_ = pts;
        lasts_ = std::max<Ticks>(duration, 0);
    }
    const bool enough = beyond_ >= ALWAYS_ENOUGH_BEYOND || (beyond_ >= ENOUGH_BEYOND && covered());
    if (enough) feedingEnded_ = true;
    return enough ? Feed::Drain : Feed::More;
}

bool ExactSearch::keeps(Ticks time) {
    // Rounded up beyond the target it is still the one that is wanted.
    if (wanted_ && time > target_ && subtractTicks(time, *wanted_) < SAME_TIME) time = *wanted_;
    // A picture beyond the target only stands in for one that doesn't come.
    const bool standsIn = kept_ && *kept_ > target_;
    const bool better = time <= target_ ? !kept_ || standsIn || time > *kept_
                                        : !kept_ || (standsIn && time < *kept_);
    if (better) kept_ = time;
    return better;
}

bool ExactSearch::found() const {
    return feedingEnded_ && wanted_ && kept_ && *kept_ <= target_ &&
           *kept_ >= subtractTicks(*wanted_, SAME_TIME);
}

} // namespace velkantrix
