#include "export/picture_pool.h"

#include <new>
#include <utility>

namespace velkantrix {
namespace {

constexpr std::align_val_t ALIGNMENT{64}; // of lines of the caches

} // namespace

void PicturePool::FreeBlock::operator()(std::uint8_t* block) const {
    ::operator delete(block, ALIGNMENT);
}

std::uint8_t* PicturePool::systemMemory(std::size_t size) {
    return static_cast<std::uint8_t*>(::operator new(size, ALIGNMENT, std::nothrow));
}

PicturePool::Block PicturePool::take() {
    {
        const Lock lock(lock_);
        if (idleCount_ > 0) return std::move(idle_[--idleCount_]);
    }
    return Block(allocate_(blockSize_));
}

void PicturePool::giveBack(Block block) {
    const Lock lock(lock_);
    if (idleCount_ < idle_.size()) idle_[idleCount_++] = std::move(block);
}

} // namespace velkantrix
