// box_builder.h: bytes of MP4 files, put together in code; sizes may lie.
#pragma once

#include <cstddef>
#include <cstdint>
#include <initializer_list>
#include <string_view>
#include <vector>

namespace velkantrix {

// A growing row of bytes; integers go in big-endian.
class Bytes {
public:
    Bytes() = default;
    Bytes(std::initializer_list<int> values) {
        for (const int value : values) u8(static_cast<std::uint8_t>(value));
    }

    Bytes& u8(std::uint64_t value) { return number(value, 1); }
    Bytes& u16(std::uint64_t value) { return number(value, 2); }
    Bytes& u32(std::uint64_t value) { return number(value, 4); }
    Bytes& u64(std::uint64_t value) { return number(value, 8); }
    Bytes& number(std::uint64_t value, std::size_t bytes) {
        for (std::size_t i = bytes; i > 0; --i) {
            bytes_.push_back(static_cast<std::uint8_t>(value >> (8 * (i - 1))));
        }
        return *this;
    }
    Bytes& text(std::string_view characters) {
        bytes_.insert(bytes_.end(), characters.begin(), characters.end());
        return *this;
    }
    Bytes& fill(std::size_t count, std::uint8_t value = 0) {
        bytes_.insert(bytes_.end(), count, value);
        return *this;
    }
    Bytes& add(const Bytes& more) {
        bytes_.insert(bytes_.end(), more.bytes_.begin(), more.bytes_.end());
        return *this;
    }

    [[nodiscard]] std::size_t size() const { return bytes_.size(); }
    [[nodiscard]] const std::uint8_t* data() const { return bytes_.data(); }
    [[nodiscard]] const std::vector<std::uint8_t>& vector() const { return bytes_; }
    std::uint8_t& operator[](std::size_t i) { return bytes_[i]; }
    void resize(std::size_t size) { bytes_.resize(size); }

    bool operator==(const Bytes&) const = default;

private:
    std::vector<std::uint8_t> bytes_;
};

inline Bytes join(std::initializer_list<Bytes> parts) {
    Bytes all;
    for (const Bytes& part : parts) all.add(part);
    return all;
}

// A box that says of itself what is true.
inline Bytes box(std::string_view type, const Bytes& payload = {}) {
    return Bytes().u32(payload.size() + 8).text(type).add(payload);
}

// One whose 32-bit size field says `size`.
inline Bytes boxOfSize(std::string_view type, std::uint64_t size, const Bytes& payload = {}) {
    return Bytes().u32(size).text(type).add(payload);
}

// One with a 64-bit size.
inline Bytes longBox(std::string_view type, const Bytes& payload = {}) {
    return Bytes().u32(1).text(type).u64(payload.size() + 16).add(payload);
}

inline Bytes longBoxOfSize(std::string_view type, std::uint64_t size, const Bytes& payload = {}) {
    return Bytes().u32(1).text(type).u64(size).add(payload);
}

// One that runs to the end of what it lies in.
inline Bytes openBox(std::string_view type, const Bytes& payload = {}) {
    return boxOfSize(type, 0, payload);
}

// The payload of a box with a short header.
inline Bytes withoutHeader(const Bytes& box) {
    Bytes payload;
    for (std::size_t i = 8; i < box.size(); ++i) payload.u8(box.vector()[i]);
    return payload;
}

// A box whose payload starts with version and flags.
inline Bytes fullBox(std::string_view type, int version, std::uint32_t flags,
                     const Bytes& payload = {}) {
    return box(type, Bytes().u8(static_cast<std::uint8_t>(version)).number(flags, 3).add(payload));
}

} // namespace velkantrix
