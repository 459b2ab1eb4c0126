// byte_buffer.h: owned bytes that are about to be overwritten by a read, so that nobody clears them
// first; and room for a known number of bytes.
#pragma once

#include <cstddef>
#include <cstdint>
#include <memory>
#include <utility>
#include <vector>

#include "mp4/byte_view.h"

namespace velkantrix {

class ByteBuffer {
public:
    ByteBuffer() = default;
    ByteBuffer(ByteBuffer&& other) noexcept { *this = std::move(other); }
    ByteBuffer& operator=(ByteBuffer&& other) noexcept {
        bytes_ = std::move(other.bytes_);
        size_ = std::exchange(other.size_, 0);
        capacity_ = std::exchange(other.capacity_, 0);
        return *this;
    }

    // Makes room for `size` bytes of unknown content; what was held is lost. Room is kept, so that
    // one buffer serves many reads. Throws std::bad_alloc, and is empty then.
    void allocate(std::size_t size) {
        size_ = 0;
        if (size > capacity_) {
            bytes_.reset();
            capacity_ = 0;
            bytes_ = std::make_unique_for_overwrite<std::uint8_t[]>(size);
            capacity_ = size;
        }
        size_ = size;
    }

    void clear() { size_ = 0; }

    [[nodiscard]] std::uint8_t* data() { return bytes_.get(); }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] ByteView view() const { return {bytes_.get(), size_}; }

private:
    std::unique_ptr<std::uint8_t[]> bytes_;
    std::size_t size_ = 0;
    std::size_t capacity_ = 0;
};

// Empties a vector and gives it room for at least `bytes`: what it had is kept if that is enough,
// and gone before more is asked for if it isn't. Throws std::bad_alloc.
inline void emptyWithRoomFor(std::size_t bytes, std::vector<std::uint8_t>& vector) {
    if (bytes > vector.capacity()) vector = std::vector<std::uint8_t>();
    vector.clear();
    vector.reserve(bytes);
}

} // namespace velkantrix
