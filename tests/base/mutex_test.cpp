#include "base/mutex.h"

#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

struct Counter {
    Mutex lock;
    int value GUARDED_BY(lock) = 0;

    void add(int times) {
        for (int i = 0; i < times; i++) {
            const Lock held(lock);
            value++;
        }
    }
    int read() {
        const Lock held(lock);
        return value;
    }
};

TEST(Lock, KeepsThreadsApart) {
    Counter counter;
    std::vector<std::thread> threads;
    threads.reserve(4);
    for (int i = 0; i < 4; i++) threads.emplace_back([&counter] { counter.add(10'000); });
    for (std::thread& thread : threads) thread.join();
    EXPECT_EQ(counter.read(), 40'000);
}

TEST(Lock, ReleasesAtTheEndOfItsScope) {
    Mutex mutex;
    { const Lock held(mutex); }
    const bool free = mutex.tryLock();
    EXPECT_TRUE(free);
    if (free) mutex.unlock();
}

TEST(Mutex, AHeldOneCannotBeTakenByAnotherThread) {
    Mutex mutex;
    const Lock held(mutex);
    bool taken = true;
    std::thread([&] {
        const bool mine = mutex.tryLock();
        taken = mine;
        if (mine) mutex.unlock();
    }).join();
    EXPECT_FALSE(taken);
}

} // namespace
} // namespace velkantrix
