// byte_view.h: a read-only look at bytes in memory, the only way in which file contents are read.
//
// All integers of the format are big-endian and stand at any address, so they are put together byte
// by byte. Nothing outside of the view can be read: a field that isn't wholly inside reads as 0.
#pragma once

#include <cstddef>
#include <cstdint>
#include <vector>

namespace velkantrix {

// Four bytes, wherever they are.
inline std::uint32_t loadU32(const std::uint8_t* bytes) {
    return std::uint32_t{bytes[0]} << 24 | std::uint32_t{bytes[1]} << 16 |
           std::uint32_t{bytes[2]} << 8 | bytes[3];
}

// Who made the view keeps the bytes.
class ByteView {
public:
    constexpr ByteView() = default;
    constexpr ByteView(const std::uint8_t* data, std::size_t size) : data_(data), size_(size) {}
    ByteView(const std::vector<std::uint8_t>& bytes) : data_(bytes.data()), size_(bytes.size()) {}

    [[nodiscard]] const std::uint8_t* data() const { return data_; }
    [[nodiscard]] std::size_t size() const { return size_; }
    [[nodiscard]] bool empty() const { return size_ == 0; }
    [[nodiscard]] const std::uint8_t* begin() const { return data_; }
    [[nodiscard]] const std::uint8_t* end() const { return data_ + size_; }

    [[nodiscard]] bool holds(std::size_t position, std::size_t length) const {
        return position <= size_ && length <= size_ - position;
    }

    [[nodiscard]] std::uint8_t u8(std::size_t position) const {
        return position < size_ ? data_[position] : std::uint8_t{0};
    }
    [[nodiscard]] std::uint16_t u16(std::size_t position) const {
        if (!holds(position, 2)) return 0;
        return static_cast<std::uint16_t>(data_[position] << 8 | data_[position + 1]);
    }
    [[nodiscard]] std::uint32_t u32(std::size_t position) const {
        return holds(position, 4) ? loadU32(data_ + position) : 0;
    }
    [[nodiscard]] std::uint64_t u64(std::size_t position) const {
        if (!holds(position, 8)) return 0;
        return std::uint64_t{loadU32(data_ + position)} << 32 | loadU32(data_ + position + 4);
    }

    // An unsigned field of 1 to 8 bytes.
    [[nodiscard]] std::uint64_t unsignedField(std::size_t position, std::size_t bytes) const {
        if (!holds(position, bytes)) return 0;
        std::uint64_t value = 0;
        for (std::size_t i = 0; i < bytes; ++i) value = value << 8 | data_[position + i];
        return value;
    }

    // The bytes from `position` on, none where that lies behind the end.
    [[nodiscard]] ByteView from(std::size_t position) const {
        return position <= size_ ? ByteView(data_ + position, size_ - position) : ByteView();
    }

    // Exactly these bytes, none where they aren't all inside.
    [[nodiscard]] ByteView part(std::size_t position, std::size_t length) const {
        return holds(position, length) ? ByteView(data_ + position, length) : ByteView();
    }

private:
    const std::uint8_t* data_ = nullptr;
    std::size_t size_ = 0;
};

} // namespace velkantrix
