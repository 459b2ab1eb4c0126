#include "mp4/byte_buffer.h"

#include <algorithm>
#include <cstdint>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

TEST(ByteBuffer, IsEmptyAtFirst) {
    const ByteBuffer buffer;
    EXPECT_EQ(buffer.size(), 0u);
    EXPECT_TRUE(buffer.view().empty());
}

TEST(ByteBuffer, HoldsWhatWasWrittenIntoIt) {
    ByteBuffer buffer;
    buffer.allocate(3);
    std::fill_n(buffer.data(), 3, std::uint8_t{7});
    EXPECT_EQ(buffer.view().size(), 3u);
    EXPECT_EQ(buffer.view().unsignedField(0, 3), 0x070707u);
}

TEST(ByteBuffer, ASmallerSizeKeepsTheRoom) {
    ByteBuffer buffer;
    buffer.allocate(100);
    const std::uint8_t* const room = buffer.data();
    buffer.allocate(10);
    EXPECT_EQ(buffer.size(), 10u);
    EXPECT_EQ(buffer.view().size(), 10u);
    EXPECT_EQ(buffer.data(), room);
    buffer.allocate(100);
    EXPECT_EQ(buffer.data(), room);
}

TEST(ByteBuffer, ALargerSizeMakesRoom) {
    ByteBuffer buffer;
    buffer.allocate(10);
    buffer.allocate(100000);
    EXPECT_EQ(buffer.size(), 100000u);
    std::fill_n(buffer.data(), 100000, std::uint8_t{1}); // as much is really there
    EXPECT_EQ(buffer.view().u8(99999), 1);
}

TEST(ByteBuffer, ClearedIsEmptyAndKeepsTheRoom) {
    ByteBuffer buffer;
    buffer.allocate(100);
    const std::uint8_t* const room = buffer.data();
    buffer.clear();
    EXPECT_EQ(buffer.size(), 0u);
    EXPECT_TRUE(buffer.view().empty());
    buffer.allocate(100);
    EXPECT_EQ(buffer.data(), room);
}

TEST(ByteBuffer, OneThatWasMovedFromIsEmptyAndUsable) {
    ByteBuffer first;
    first.allocate(100);
    ByteBuffer second = std::move(first);
    EXPECT_EQ(second.size(), 100u);
    EXPECT_TRUE(first.view().empty()); // NOLINT(bugprone-use-after-move): that is what is tested
    first.allocate(10);
    ASSERT_NE(first.data(), nullptr);
    first.data()[9] = 1;
}

} // namespace
} // namespace velkantrix
