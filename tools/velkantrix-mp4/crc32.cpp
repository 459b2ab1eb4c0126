#include "tools/velkantrix-mp4/crc32.h"

#include <array>

namespace velkantrix {
namespace {

constexpr std::uint32_t POLYNOMIAL = 0xEDB88320; // lowest bit first

// What each value of the register's lowest byte adds when it is shifted out.
constexpr std::array<std::uint32_t, 256> TABLE = [] {
    std::array<std::uint32_t, 256> table{};
    for (std::uint32_t byte = 0; byte < 256; ++byte) {
        std::uint32_t value = byte;
        for (int bit = 0; bit < 8; ++bit) value = value >> 1 ^ (value & 1 ? POLYNOMIAL : 0);
        table[byte] = value;
    }
    return table;
}();

} // namespace

void Crc32::add(ByteView bytes) {
    for (const std::uint8_t byte : bytes)
        register_ = register_ >> 8 ^ TABLE[(register_ ^ byte) & 0xFF];
}

} // namespace velkantrix
