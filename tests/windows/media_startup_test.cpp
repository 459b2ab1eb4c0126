#include "platform/media_startup.h"

#include <mfapi.h>

#include <array>
#include <barrier>
#include <cstddef>
#include <thread>

#include <gtest/gtest.h>

#include "base/com_ptr.h"

namespace velkantrix {
namespace {

bool mediaWorks() {
    DWORD queue = 0;
    const bool works = SUCCEEDED(MFAllocateWorkQueue(&queue));
    if (works) MFUnlockWorkQueue(queue);
    return works;
}

TEST(StartMedia, StartsOnceAndStopsOnce) {
    EXPECT_EQ(startMedia(), S_OK);
    EXPECT_EQ(startMedia(), S_OK);
    EXPECT_TRUE(mediaWorks());
    stopMedia();
    EXPECT_FALSE(mediaWorks()); // one stop undoes any number of starts
    stopMedia();
}

TEST(StartMedia, ManyThreadsAtOnceStartItOnce) {
    std::array<std::thread, 8> threads;
    std::array<HRESULT, 8> results;
    results.fill(E_PENDING);
    std::barrier together(static_cast<std::ptrdiff_t>(threads.size()));
    for (std::size_t i = 0; i < threads.size(); ++i) {
        threads[i] = std::thread([&, i] {
            together.arrive_and_wait();
            results[i] = startMedia();
        });
    }
    for (std::thread& thread : threads) thread.join();
    for (const HRESULT result : results) EXPECT_EQ(result, S_OK);
    EXPECT_TRUE(mediaWorks());
    stopMedia();
    EXPECT_FALSE(mediaWorks());
}

TEST(StartMedia, StartsAgainAfterAStop) {
    EXPECT_EQ(startMedia(), S_OK);
    EXPECT_TRUE(mediaWorks());
    stopMedia();
}

} // namespace
} // namespace velkantrix
