// hash64.h: FNV-1a with 64 bits, over whole numbers instead of bytes.
#pragma once

#include <cstdint>

namespace velkantrix {

class Hash64 {
public:
    explicit constexpr Hash64(std::uint64_t start) : value_(start) {}

    constexpr void add(std::uint64_t number) { value_ = (value_ ^ number) * 0x100000001b3ULL; }

    [[nodiscard]] constexpr std::uint64_t value() const { return value_; }

private:
    std::uint64_t value_;
};

} // namespace velkantrix
