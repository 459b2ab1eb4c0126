#include "tools/velkantrix-mp4/crc32.h"

#include <string_view>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

ByteView bytesOf(std::string_view text) {
    return {reinterpret_cast<const std::uint8_t*>(text.data()), text.size()};
}

std::uint32_t crcOf(std::string_view text) {
    Crc32 crc;
    crc.add(bytesOf(text));
    return crc.value();
}

TEST(Crc32, OfTheUsualCheckIsTheKnownValue) {
    EXPECT_EQ(crcOf("123456789"), 0xCBF43926u);
}

TEST(Crc32, OfNothingIsZero) {
    EXPECT_EQ(Crc32().value(), 0u);
    EXPECT_EQ(crcOf(""), 0u);
}

TEST(Crc32, SeesLeadingZeros) {
    EXPECT_EQ(crcOf(std::string_view("\0", 1)), 0xD202EF8Du);
    EXPECT_EQ(crcOf(std::string_view("\0\0", 2)), 0x41D912FFu);
}

TEST(Crc32, IsTheSameHoweverTheBytesAreSplit) {
    const std::string_view text = "123456789";
    for (std::size_t at = 0; at <= text.size(); ++at) {
        Crc32 crc;
        crc.add(bytesOf(text.substr(0, at)));
        crc.add(bytesOf(text.substr(at)));
        EXPECT_EQ(crc.value(), 0xCBF43926u) << at;
    }
}

} // namespace
} // namespace velkantrix
