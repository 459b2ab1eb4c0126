#include "mp4/byte_view.h"

#include <cstdint>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/box_builder.h"

namespace velkantrix {
namespace {

constexpr std::size_t FARTHEST = std::numeric_limits<std::size_t>::max();

// Ten bytes, 0xF0 to 0xF9, with a byte that isn't part of the view on either side.
class TenBytes : public testing::Test {
protected:
    std::vector<std::uint8_t> bytes{0xEE, 0xF0, 0xF1, 0xF2, 0xF3, 0xF4,
                                    0xF5, 0xF6, 0xF7, 0xF8, 0xF9, 0xEE};
    ByteView view{bytes.data() + 1, 10};
};

TEST_F(TenBytes, IntegersAreBigEndianAtAnyAddress) {
    EXPECT_EQ(view.u8(1), 0xF1);
    EXPECT_EQ(view.u16(1), 0xF1F2);
    EXPECT_EQ(view.u32(1), 0xF1F2F3F4u);
    EXPECT_EQ(view.u64(1), 0xF1F2F3F4F5F6F7F8u);
    EXPECT_EQ(view.u16(2), 0xF2F3);
    EXPECT_EQ(view.u32(3), 0xF3F4F5F6u);
}

TEST_F(TenBytes, AFieldThatEndsWithTheViewIsRead) {
    EXPECT_EQ(view.u8(9), 0xF9);
    EXPECT_EQ(view.u16(8), 0xF8F9);
    EXPECT_EQ(view.u32(6), 0xF6F7F8F9u);
    EXPECT_EQ(view.u64(2), 0xF2F3F4F5F6F7F8F9u);
    EXPECT_EQ(view.unsignedField(7, 3), 0xF7F8F9u);
}

TEST_F(TenBytes, AFieldThatIsNotWhollyInsideReadsAsZero) {
    EXPECT_EQ(view.u8(10), 0);
    EXPECT_EQ(view.u16(9), 0);
    EXPECT_EQ(view.u32(7), 0u);
    EXPECT_EQ(view.u64(3), 0u);
    EXPECT_EQ(view.unsignedField(8, 3), 0u);
}

TEST_F(TenBytes, PositionsNearTheLargestNumberReadAsZero) {
    for (const std::size_t back : {0u, 1u, 3u, 7u}) {
        const std::size_t position = FARTHEST - back;
        EXPECT_EQ(view.u8(position), 0) << back;
        EXPECT_EQ(view.u16(position), 0) << back;
        EXPECT_EQ(view.u32(position), 0u) << back;
        EXPECT_EQ(view.u64(position), 0u) << back;
        EXPECT_EQ(view.unsignedField(position, 4), 0u) << back;
    }
}

TEST_F(TenBytes, AFieldOfAnyWidth) {
    EXPECT_EQ(view.unsignedField(1, 0), 0u);
    EXPECT_EQ(view.unsignedField(1, 1), 0xF1u);
    EXPECT_EQ(view.unsignedField(1, 2), 0xF1F2u);
    EXPECT_EQ(view.unsignedField(1, 3), 0xF1F2F3u);
    EXPECT_EQ(view.unsignedField(1, 8), 0xF1F2F3F4F5F6F7F8u);
}

TEST_F(TenBytes, HoldsWhatLiesWhollyInside) {
    struct Row {
        std::size_t position, length;
        bool held;
    };
    for (const Row& row :
         {Row{0, 10, true}, Row{0, 11, false}, Row{10, 0, true}, Row{11, 0, false}, Row{3, 7, true},
          Row{3, 8, false}, Row{FARTHEST, 1, false}, Row{1, FARTHEST, false},
          Row{FARTHEST, FARTHEST, false}, Row{FARTHEST, 0, false}}) {
        EXPECT_EQ(view.holds(row.position, row.length), row.held)
            << row.position << " " << row.length;
    }
}

TEST_F(TenBytes, TheRestFromAPosition) {
    EXPECT_EQ(view.from(4).size(), 6u);
    EXPECT_EQ(view.from(4).u16(0), 0xF4F5);
    EXPECT_EQ(view.from(0).size(), 10u);
    EXPECT_TRUE(view.from(10).empty());
    EXPECT_TRUE(view.from(11).empty());
    EXPECT_TRUE(view.from(FARTHEST).empty());
}

TEST_F(TenBytes, APartIsWholeOrEmpty) {
    EXPECT_EQ(view.part(4, 6).size(), 6u);
    EXPECT_EQ(view.part(4, 2).u16(0), 0xF4F5);
    EXPECT_EQ(view.part(4, 2).u32(0), 0u); // its bytes end there
    EXPECT_TRUE(view.part(4, 7).empty());
    EXPECT_TRUE(view.part(4, FARTHEST).empty());
    EXPECT_TRUE(view.part(10, 0).empty());
}

TEST_F(TenBytes, EveryByteIsGoneThrough) {
    EXPECT_EQ(std::vector<std::uint8_t>(view.begin(), view.end()),
              std::vector<std::uint8_t>(bytes.begin() + 1, bytes.end() - 1));
    EXPECT_EQ(view.data(), bytes.data() + 1);
}

TEST(ByteView, OfNothingIsEmptyAndReadsAsZero) {
    const ByteView view;
    EXPECT_TRUE(view.empty());
    EXPECT_EQ(view.u8(0), 0);
    EXPECT_EQ(view.u64(0), 0u);
    EXPECT_TRUE(view.from(0).empty());
    EXPECT_TRUE(view.part(0, 0).empty());
    EXPECT_EQ(view.begin(), view.end());
}

TEST(ByteView, OfAVectorCoversAllOfIt) {
    const Bytes bytes{1, 2, 3};
    const ByteView view(bytes.vector());
    EXPECT_FALSE(view.empty());
    EXPECT_EQ(view.size(), 3u);
    EXPECT_EQ(view.u16(1), 0x0203);
}

} // namespace
} // namespace velkantrix
