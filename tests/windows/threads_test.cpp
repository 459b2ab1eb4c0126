#include "platform/threads.h"

#include <windows.h>

#include <process.h>

#include <atomic>
#include <cstdint>
#include <memory>

#include <gtest/gtest.h>

#include "tests/windows/replaced_import.h"

extern "C" decltype(&_beginthreadex) __imp__beginthreadex;

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

TEST(StartThread, IsWaitedForAsLongAsItTakesOrIsAskedFor) {
    std::atomic<bool> lifted{false};
    const UniqueThread thread = startThread([&] {
        while (!lifted) Sleep(1);
    });
    ASSERT_TRUE(thread);
    EXPECT_FALSE(waitForEnd(thread, 0));
    EXPECT_FALSE(waitForEnd(thread, 20));
    lifted = true;
    EXPECT_TRUE(waitForEnd(thread, INFINITE));
    EXPECT_TRUE(waitForEnd(thread, 0));
    EXPECT_TRUE(waitForEnd({}, INFINITE)); // there is none
}

TEST(StartThread, OneThatCantBeStartedIsNone) {
    bool begun = false;
    const auto counter = std::make_shared<int>();
    {
        const ReplacedImport<decltype(&_beginthreadex)> replaced(
            __imp__beginthreadex,
            [](void*, unsigned, _beginthreadex_proc_type, void*, unsigned,
               unsigned*) -> std::uintptr_t { return 0; });
        EXPECT_FALSE(startThread([&begun, counter] { begun = true; }));
    }
    EXPECT_FALSE(begun);
    EXPECT_EQ(counter.use_count(), 1); // what it was to do is let go
}

} // namespace
} // namespace velkantrix
