#include "playback/exact_search.h"

#include <gtest/gtest.h>

#include <algorithm>
#include <limits>
#include <optional>
#include <set>
#include <vector>

#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

using Feed = ExactSearch::Feed;

TEST(ExactSearch, ThreeBeyondAreEnoughWhenTheWantedOneIsThere) {
    ExactSearch search(25);
    EXPECT_EQ(search.fed(20, 10), Feed::More);
    EXPECT_TRUE(search.covered());
    EXPECT_EQ(search.fed(50, 10), Feed::More);
    EXPECT_EQ(search.fed(30, 10), Feed::More);
    EXPECT_EQ(search.fed(40, 10), Feed::Drain);
}

TEST(ExactSearch, ThreeBeyondAreNotEnoughWithoutIt) {
    ExactSearch search(35);
    EXPECT_EQ(search.fed(0, 10), Feed::More);
    for (const Ticks beyond : {80, 60, 40, 50}) EXPECT_EQ(search.fed(beyond, 10), Feed::More);
    EXPECT_FALSE(search.covered());
    EXPECT_EQ(search.fed(20, 10), Feed::More);
    EXPECT_EQ(search.fed(30, 10), Feed::Drain);
}

TEST(ExactSearch, SeventeenBeyondAreAlwaysEnough) {
    ExactSearch search(5);
    EXPECT_EQ(search.fed(0, 1), Feed::More);
    for (int i = 0; i < 16; ++i) EXPECT_EQ(search.fed(100 + i, 1), Feed::More) << i;
    EXPECT_EQ(search.fed(200, 1), Feed::Drain);
}

TEST(ExactSearch, APictureIsShownUpToItsEndAndFromItsVeryBeginning) {
    ExactSearch atEnd(30);
    EXPECT_EQ(atEnd.fed(20, 10), Feed::More);
    EXPECT_FALSE(atEnd.covered());
    ExactSearch atBeginning(20);
    EXPECT_EQ(atBeginning.fed(20, 10), Feed::More);
    EXPECT_TRUE(atBeginning.covered());
}

TEST(ExactSearch, TheLatestAtOrBeforeTheTargetIsKept) {
    ExactSearch search(25);
    EXPECT_TRUE(search.keeps(0));
    EXPECT_TRUE(search.keeps(20));
    EXPECT_FALSE(search.keeps(10));
    EXPECT_FALSE(search.keeps(20));
    EXPECT_FALSE(search.keeps(30));
}

TEST(ExactSearch, BeforeTheFirstPictureTheFirstIsKept) {
    ExactSearch search(5);
    EXPECT_TRUE(search.keeps(40));
    EXPECT_TRUE(search.keeps(20));
    EXPECT_FALSE(search.keeps(30));
    EXPECT_TRUE(search.keeps(1)) << "one at or before the target is better";
    EXPECT_FALSE(search.keeps(20));
    EXPECT_FALSE(search.found()) << "nothing was fed";
}

TEST(ExactSearch, ItIsFoundOnceTheWantedOneIsOutAndNoMoreIsFed) {
    ExactSearch search(25);
    EXPECT_EQ(search.fed(20, 10), Feed::More);
    EXPECT_TRUE(search.keeps(20));
    EXPECT_FALSE(search.found()) << "a later one may yet be fed";
    for (const Ticks beyond : {30, 40}) EXPECT_EQ(search.fed(beyond, 10), Feed::More);
    EXPECT_EQ(search.fed(50, 10), Feed::Drain);
    EXPECT_TRUE(search.found());
}

TEST(ExactSearch, APictureBeyondTheTargetDoesNotEndItBeforeTheWantedOneIsOut) {
    constexpr Ticks FRAME = 400'000;
    ExactSearch search(2 * FRAME + 1);
    for (const Ticks place : {0, 3, 1, 2})
        EXPECT_EQ(search.fed(place * FRAME, FRAME), Feed::More) << place;
    search.allFed();
    EXPECT_TRUE(search.keeps(0));
    EXPECT_FALSE(search.keeps(3 * FRAME));
    EXPECT_FALSE(search.found());
    EXPECT_TRUE(search.keeps(FRAME));
    EXPECT_FALSE(search.found());
    EXPECT_TRUE(search.keeps(2 * FRAME));
    EXPECT_TRUE(search.found());
}

TEST(ExactSearch, DecodersMayRoundTimes) {
    ExactSearch search(1'000'000);
    EXPECT_EQ(search.fed(900'000, 200'000), Feed::More);
    search.allFed();
    EXPECT_TRUE(search.keeps(899'990));
    EXPECT_TRUE(search.found());
}

TEST(ExactSearch, TheWantedOneMayBeRoundedUpBeyondTheTarget) {
    ExactSearch search(1'000'000);
    EXPECT_EQ(search.fed(600'000, 400'000), Feed::More);
    EXPECT_EQ(search.fed(1'000'000, 400'000), Feed::More);
    search.allFed();
    EXPECT_TRUE(search.keeps(600'000));
    EXPECT_TRUE(search.keeps(1'000'004)) << "it takes the place of the one before";
    EXPECT_TRUE(search.found());
    EXPECT_FALSE(search.keeps(1'400'000));
}

TEST(ExactSearch, TimesAtTheEndsOfTheRangeAreTimes) {
    constexpr Ticks LEAST = std::numeric_limits<Ticks>::min();
    constexpr Ticks MOST = std::numeric_limits<Ticks>::max();
    ExactSearch search(MOST);
    EXPECT_EQ(search.fed(LEAST, MOST), Feed::More);
    EXPECT_EQ(search.fed(MOST, MOST), Feed::More);
    EXPECT_FALSE(search.covered()) << "it ends where the range does";
    ExactSearch early(LEAST);
    EXPECT_EQ(early.fed(LEAST, -5), Feed::More);
    EXPECT_FALSE(early.covered());
    EXPECT_TRUE(early.keeps(LEAST));
    early.allFed();
    EXPECT_TRUE(early.found());
}

// ---- against looking through all there is ------------------------------------------------------

struct Picture {
    Ticks pts = 0;
    Ticks duration = 0;
    bool decodable = true;
};

// Pictures in decode order, of which at most `reorder` are decoded before one that is shown before
// them (ISO/IEC 14496-10, C.4.5.3).
class RandomStream {
public:
    RandomStream(RandomChoices& choices, std::size_t count, std::uint32_t reorder)
        : choices_(choices) {
        std::vector<Picture> shown = inOrderOfShowing(count);
        const std::size_t leading = std::min<std::size_t>(
            choices.percent(30) ? choices.below(reorder + 1) : 0, shown.size() - 1);
        order(shown, reorder, leading);
        if (choices.percent(50)) dropLeading();
    }

    std::vector<Picture> decoded; // in decode order

private:
    std::vector<Picture> inOrderOfShowing(std::size_t count) {
        std::vector<Picture> shown;
        Ticks time = SAME_TIME * 2 * choices_.below(40);
        const bool even = choices_.percent(50);
        for (std::size_t i = 0; i < count; ++i) {
            const Ticks step = SAME_TIME * 2 * (even ? 20 : choices_.between(1, 60));
            const bool gap = choices_.percent(10);
            shown.push_back({time, gap ? step / choices_.between(2, 5) : step});
            if (choices_.percent(3)) shown.back().duration = 0; // not stated
            time += step;
        }
        return shown;
    }

    // Any order in which nothing is overtaken by more than `reorder`, beginning with the sync
    // sample.
    void order(std::vector<Picture> left, std::uint32_t reorder, std::size_t first) {
        std::vector<std::uint32_t> overtaken(left.size(), 0);
        take(left, overtaken, first);
        while (!left.empty()) {
            std::size_t most = 0; // the last one that may come next
            while (most + 1 < left.size() && overtaken[most] < reorder) ++most;
            const bool deep = choices_.percent(50);
            take(left, overtaken,
                 deep ? most : choices_.below(static_cast<std::uint32_t>(most) + 1));
        }
    }

    void take(std::vector<Picture>& left, std::vector<std::uint32_t>& overtaken, std::size_t i) {
        decoded.push_back(left[i]);
        for (std::size_t before = 0; before < i; ++before) ++overtaken[before];
        left.erase(left.begin() + static_cast<std::ptrdiff_t>(i));
        overtaken.erase(overtaken.begin() + static_cast<std::ptrdiff_t>(i));
    }

    // Those that are shown before the sync sample lean on what was in front of it.
    void dropLeading() {
        for (Picture& picture : decoded)
            if (picture.pts < decoded.front().pts) picture.decodable = false;
    }

    RandomChoices& choices_;
};

// A decoder that gives pictures in the order of showing, once so many have come, or one that gives
// them as they come.
class FakeDecoder {
public:
    FakeDecoder(std::size_t depth, bool lowLatency) : depth_(depth), lowLatency_(lowLatency) {}

    void feed(const Picture& picture) {
        if (!picture.decodable) return;
        if (lowLatency_)
            ready_.push_back(picture.pts);
        else
            held_.insert(picture.pts);
        while (held_.size() > depth_) giveFirst();
    }
    void drain() {
        while (!held_.empty()) giveFirst();
    }
    std::vector<Ticks> take() { return std::exchange(ready_, {}); }

private:
    void giveFirst() {
        ready_.push_back(*held_.begin());
        held_.erase(held_.begin());
    }

    std::size_t depth_;
    bool lowLatency_;
    std::set<Ticks> held_;
    std::vector<Ticks> ready_;
};

// As the decoder thread uses it.
std::optional<Ticks> searched(const std::vector<Picture>& stream, Ticks target,
                              FakeDecoder decoder) {
    ExactSearch search(target);
    std::optional<Ticks> kept;
    std::size_t next = 0;
    bool draining = false;
    while (true) {
        if (!draining) {
            draining = next == stream.size();
            if (draining) {
                search.allFed();
            } else {
                decoder.feed(stream[next]);
                draining = search.fed(stream[next].pts, stream[next].duration) == Feed::Drain;
                ++next;
            }
            if (draining && search.found()) return kept;
            if (draining) decoder.drain();
        }
        for (const Ticks time : decoder.take()) {
            if (search.keeps(time)) kept = time;
            if (search.found()) return kept;
        }
        if (draining) return kept;
    }
}

std::optional<Ticks> expected(const std::vector<Picture>& stream, Ticks target) {
    std::optional<Ticks> best;
    for (const Picture& picture : stream) {
        if (!picture.decodable) continue;
        const bool early = picture.pts <= target;
        if (!best || (early && (*best > target || picture.pts > *best)) ||
            (!early && *best > target && picture.pts < *best))
            best = picture.pts;
    }
    return best;
}

TEST(ExactSearch, FindsWhatLookingThroughAllFinds) {
    const std::uint64_t rounds = propertyRounds(20'000);
    RandomChoices choices(4);
    for (std::uint64_t round = 0; round < rounds; ++round) {
        const std::uint32_t reorder = choices.below(17);
        const RandomStream stream(choices, choices.between(1, 60), reorder);
        const bool lowLatency = choices.percent(50);
        for (int i = 0; i < 3; ++i) {
            const Picture& near =
                stream.decoded[choices.below(static_cast<std::uint32_t>(stream.decoded.size()))];
            const Ticks target =
                near.pts + SAME_TIME * 2 * choices.below(4) - (i == 2 ? 2 * SAME_TIME : 0);
            ASSERT_EQ(searched(stream.decoded, target, FakeDecoder(reorder, lowLatency)),
                      expected(stream.decoded, target))
                << "round " << round << ", target " << target << ", low latency " << lowLatency;
        }
    }
}

} // namespace
} // namespace velkantrix
