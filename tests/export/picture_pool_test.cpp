#include "export/picture_pool.h"

#include <atomic>
#include <set>
#include <thread>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

std::atomic<int> allocations = 0;

std::uint8_t* counted(std::size_t size) {
    allocations++;
    return PicturePool::systemMemory(size);
}

TEST(PicturePool, UsesTheLastGivenBackFirst) {
    allocations = 0;
    PicturePool pool(1000, counted);
    PicturePool::Block first = pool.take(), second = pool.take();
    EXPECT_EQ(allocations, 2);
    const std::uint8_t* const older = first.get();
    const std::uint8_t* const newer = second.get();
    EXPECT_NE(older, newer);
    pool.giveBack(std::move(first));
    pool.giveBack(std::move(second));
    const PicturePool::Block third = pool.take(), fourth = pool.take();
    EXPECT_EQ(third.get(), newer);
    EXPECT_EQ(fourth.get(), older);
    EXPECT_EQ(allocations, 2);
}

TEST(PicturePool, BlocksHaveTheirSizeAndLieAtLinesOfTheCaches) {
    PicturePool pool(1001);
    EXPECT_EQ(pool.blockSize(), 1001u);
    const PicturePool::Block block = pool.take();
    EXPECT_EQ(reinterpret_cast<std::uintptr_t>(block.get()) % 64, 0u);
    std::fill_n(block.get(), 1001, std::uint8_t{1}); // or a sanitizer tells
}

TEST(PicturePool, KeepsSomeAndNoMore) {
    allocations = 0;
    PicturePool pool(1000, counted);
    std::vector<PicturePool::Block> taken;
    for (int i = 0; i < 20; i++) taken.push_back(pool.take());
    for (PicturePool::Block& block : taken) pool.giveBack(std::move(block));
    for (int i = 0; i < 20; i++) taken[static_cast<std::size_t>(i)] = pool.take();
    EXPECT_EQ(allocations, 20 + 20 - static_cast<int>(PicturePool::MOST_IDLE));
}

TEST(PicturePool, WithoutMemoryThereIsNone) {
    PicturePool pool(1000, [](std::size_t) -> std::uint8_t* { return nullptr; });
    EXPECT_FALSE(pool.take());
}

// As when an encoder's thread lets go of pictures while the next ones are made.
TEST(PicturePool, ThreadsMayGiveBackWhileOthersTake) {
    PicturePool pool(1000);
    std::thread others[2];
    for (std::thread& other : others) {
        other = std::thread([&] {
            for (int i = 0; i < 2000; i++) {
                PicturePool::Block block = pool.take();
                block[999] = static_cast<std::uint8_t>(i);
                pool.giveBack(std::move(block));
            }
        });
    }
    for (std::thread& other : others) other.join();
    EXPECT_TRUE(pool.take());
}

} // namespace
} // namespace velkantrix
