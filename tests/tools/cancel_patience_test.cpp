#include "tools/velkantrix-cut/cancel_patience.h"

#include <barrier>
#include <thread>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

constexpr std::uint64_t LATE = CancelPatience::PATIENCE_MS;

TEST(CancelPatience, CountsFromTheFirstTimeOn) {
    CancelPatience patience;
    patience.ask(1000);
    EXPECT_FALSE(patience.isOver(1000));
    patience.ask(3000);
    EXPECT_FALSE(patience.isOver(1000 + LATE - 1));
    EXPECT_TRUE(patience.isOver(1000 + LATE));
}

// On a machine that has just been started.
TEST(CancelPatience, TakesAnyClock) {
    CancelPatience patience;
    patience.ask(0);
    EXPECT_FALSE(patience.isOver(0));
    EXPECT_FALSE(patience.isOver(LATE));
    EXPECT_TRUE(patience.isOver(LATE + 1));
}

TEST(CancelPatience, TwoAtOnceAreBothTheFirst) {
    for (int round = 0; round < 200; round++) {
        CancelPatience patience;
        std::barrier both(2);
        std::atomic<int> over = 0;
        const auto ask = [&](std::uint64_t now) {
            both.arrive_and_wait();
            patience.ask(now);
            if (patience.isOver(now)) over++;
        };
        std::thread other(ask, 1'000'000);
        ask(1'000'010);
        other.join();
        EXPECT_EQ(over, 0);
    }
}

} // namespace
} // namespace velkantrix
