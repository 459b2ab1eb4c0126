// picture_pool.h: memory for pictures that a re-encode changes.
//
// A picture's memory is large enough for systems to map it anew and unmap it each time, which costs
// more than the change itself. So it is used again, the last given back first.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <memory>

#include "base/mutex.h"

namespace velkantrix {

// Shared by the export, which takes, and by the pictures that are in use: the encoder's threads
// give back. It may outlive the export.
class PicturePool {
public:
    struct FreeBlock {
        void operator()(std::uint8_t* block) const;
    };
    using Block = std::unique_ptr<std::uint8_t[], FreeBlock>;
    using Allocate = std::uint8_t* (*)(std::size_t size); // nullptr: there is no memory

    // All blocks have this size, in bytes.
    explicit PicturePool(std::size_t blockSize, Allocate allocate = systemMemory)
        : blockSize_(blockSize), allocate_(allocate) {}

    // None when there is no memory. What is in it is anything.
    [[nodiscard]] Block take();

    // Keeps some for later.
    void giveBack(Block block);

    [[nodiscard]] std::size_t blockSize() const { return blockSize_; }

    static constexpr std::size_t MOST_IDLE = 8;

    static std::uint8_t* systemMemory(std::size_t size);

private:
    const std::size_t blockSize_;
    const Allocate allocate_;
    Mutex lock_;
    std::array<Block, MOST_IDLE> idle_ GUARDED_BY(lock_); // giving back needs no memory
    std::size_t idleCount_ GUARDED_BY(lock_) = 0;
};

} // namespace velkantrix
