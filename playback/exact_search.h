// exact_search.h: which of a decoder's pictures is the one that is shown at a given time, and when
// enough has been fed to know.
//
// Samples are fed in decode order from a sync sample on. H.264 shows at most 16 pictures out of
// order (ISO/IEC 14496-10, max_num_reorder_frames): behind 17 samples beyond the target none comes
// that is at or before it. Mostly that is clear much earlier: when a sample is there that says that
// it is shown at the target.
//
// Times are ticks.
#pragma once

#include <cstdint>
#include <optional>

#include "base/ticks.h"

namespace velkantrix {

inline constexpr std::uint32_t ALWAYS_ENOUGH_BEYOND = 17; // samples

// Decoders hand times through, some by way of a coarser unit. Less than any frame lasts.
inline constexpr Ticks SAME_TIME = 5'000;

class ExactSearch {
public:
    enum class Feed { More, Drain };

    explicit ExactSearch(Ticks target) : target_(target) {}

    // A sample was fed. Drain: no more is needed, and none is fed any more.
    [[nodiscard]] Feed fed(Ticks pts, Ticks duration);

    // There is nothing more to feed.
    void allFed() { feedingEnded_ = true; }

    // A picture came out. True when it is the best so far and takes the place of the one kept
    // before. Where nothing is shown at the target yet, that is the first picture.
    [[nodiscard]] bool keeps(Ticks time);

    // The one kept is the one, whatever may still come. Once the drained decoder gives nothing more
    // it is, too: then the picture asked for can't be had.
    [[nodiscard]] bool found() const;

    // The picture that is shown at the target has been fed, as far as the samples say.
    [[nodiscard]] bool covered() const { return wanted_ && addTicks(*wanted_, lasts_) > target_; }

private:
    Ticks target_;
    std::uint32_t beyond_ = 0;    // samples fed that are shown beyond the target
    std::optional<Ticks> wanted_; // of those fed, the latest at or before the target
    Ticks lasts_ = 0;             // how long it is shown
    bool feedingEnded_ = false;
    std::optional<Ticks> kept_;
};

} // namespace velkantrix
