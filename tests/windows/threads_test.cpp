#include "platform/threads.h"

#include <windows.h>

#include <atomic>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

constexpr int THREADS = 3000;
constexpr ULONGLONG LONGEST_WAIT = 20'000; // milliseconds

std::atomic<int> ran{0};

// Short ones, which may end before they are let go of.
TEST(StartDetached, EveryThreadRuns) {
    for (int i = 0; i < THREADS; ++i) startDetached([] { ++ran; });
    const ULONGLONG begun = GetTickCount64();
    while (ran < THREADS && GetTickCount64() - begun < LONGEST_WAIT) Sleep(1);
    EXPECT_EQ(ran, THREADS);
}

} // namespace
} // namespace velkantrix
