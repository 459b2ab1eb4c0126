#include "mp4/box_walk.h"

#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mp4/input_file.h"
#include "tests/support/box_builder.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

std::string nameOf(BoxType type) {
    std::string name;
    for (int shift = 24; shift >= 0; shift -= 8) name += static_cast<char>(type >> shift & 0xFF);
    return name;
}

// "type:payload bytes" of each box.
std::vector<std::string> walk(const Bytes& bytes) {
    std::vector<std::string> seen;
    WalkChildren(ByteView(bytes.vector()), [&](BoxType type, ByteView payload) {
        seen.push_back(nameOf(type) + ":" + std::to_string(payload.size()));
    });
    return seen;
}

using Seen = std::vector<std::string>;

TEST(WalkChildren, NothingIsDoneBelowEightBytes) {
    EXPECT_EQ(walk(Bytes()), Seen{});
    EXPECT_EQ(walk(Bytes{0, 0, 0, 0, 'f', 'r', 'e'}), Seen{});
    EXPECT_EQ(walk(box("free")), Seen{"free:0"});
}

TEST(WalkChildren, EveryBoxIsHandedOutInOrder) {
    EXPECT_EQ(walk(join({box("aaaa", Bytes{1}), box("bbbb"), box("aaaa", Bytes{1, 2})})),
              (Seen{"aaaa:1", "bbbb:0", "aaaa:2"}));
}

TEST(WalkChildren, ALongSizeIsFollowed) {
    EXPECT_EQ(walk(join({longBox("long", Bytes{1, 2, 3}), box("next")})),
              (Seen{"long:3", "next:0"}));
}

TEST(WalkChildren, ALongSizeWithoutRoomForItEndsTheWalk) {
    Bytes cut = longBox("long");
    cut.resize(15);
    EXPECT_EQ(walk(join({box("free"), cut})), Seen{"free:0"});
}

TEST(WalkChildren, SizeZeroRunsToTheEnd) {
    EXPECT_EQ(walk(join({box("free"), openBox("last", Bytes{1, 2, 3})})),
              (Seen{"free:0", "last:3"}));
}

TEST(WalkChildren, ASizeBelowTheHeaderEndsTheWalk) {
    for (const std::uint32_t size : {2u, 7u}) {
        EXPECT_EQ(walk(join({box("free"), boxOfSize("evil", size), box("lost")})), Seen{"free:0"})
            << size;
    }
    for (const std::uint32_t size : {0u, 8u, 15u}) {
        EXPECT_EQ(walk(join({box("free"), longBoxOfSize("evil", size), box("lost")})),
                  Seen{"free:0"})
            << size;
    }
    EXPECT_EQ(walk(longBoxOfSize("good", 16)), Seen{"good:0"});
}

TEST(WalkChildren, ABoxThatOverrunsIsNotReported) {
    EXPECT_EQ(walk(join({box("free"), boxOfSize("over", 9)})), Seen{"free:0"});
    EXPECT_EQ(walk(longBoxOfSize("over", UINT64_MAX)), Seen{});
    EXPECT_EQ(walk(longBoxOfSize("over", UINT64_MAX - 7, Bytes().fill(20))), Seen{});
}

TEST(WalkChildren, FewerThanEightBytesAtTheEndAreIgnored) {
    EXPECT_EQ(walk(join({box("free"), Bytes().fill(7)})), Seen{"free:0"});
}

bool isRegular(const Bytes& bytes) {
    return WalkChildren(ByteView(bytes.vector()), [](BoxType, ByteView) {});
}

TEST(WalkChildren, SaysWhetherEveryBoxWasRegular) {
    EXPECT_TRUE(isRegular(Bytes()));
    EXPECT_TRUE(isRegular(join({box("free"), longBox("free", Bytes{1})})));
    EXPECT_TRUE(isRegular(join({box("free"), Bytes().fill(7)}))) << "too short for a box";
    Bytes cut = longBox("long");
    cut.resize(15);
    for (const Bytes& irregular :
         {boxOfSize("evil", 7), boxOfSize("over", 9), longBoxOfSize("evil", 15),
          longBoxOfSize("over", 17), openBox("last", Bytes{1}), cut}) {
        EXPECT_FALSE(isRegular(irregular));
        EXPECT_FALSE(isRegular(join({box("free"), irregular})));
    }
}

std::optional<FileBox> headerOf(const Bytes& content, std::uint64_t offset = 0) {
    const TempFile temp(content);
    const InputFile file = OpenForRandomAccess(temp.path());
    return readBoxHeader(file, offset, file.size);
}

TEST(ReadBoxHeader, AShortHeader) {
    const auto found = headerOf(join({box("free"), box("mdat", Bytes{1, 2})}), 8);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->type, boxType("mdat"));
    EXPECT_EQ(found->offset, 8u);
    EXPECT_EQ(found->size, 10u);
    EXPECT_EQ(found->payloadOffset(), 16u);
    EXPECT_EQ(found->payloadSize(), 2u);
    EXPECT_EQ(found->end(), 18u);
}

TEST(ReadBoxHeader, ALongHeader) {
    const auto found = headerOf(longBox("mdat", Bytes{1, 2}));
    ASSERT_TRUE(found);
    EXPECT_EQ(found->header, 16u);
    EXPECT_EQ(found->payloadSize(), 2u);
}

TEST(ReadBoxHeader, SizeZeroRunsToTheEndOfTheFile) {
    const auto found = headerOf(join({box("free"), openBox("mdat", Bytes{1, 2, 3})}), 8);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->size, 11u);
}

TEST(ReadBoxHeader, AHeaderThatIsNotWholeIsNone) {
    EXPECT_FALSE(headerOf(Bytes().fill(7)));
    EXPECT_FALSE(headerOf(Bytes().u32(1).text("mdat").fill(7)));
    EXPECT_FALSE(headerOf(box("free"), 8));
    EXPECT_FALSE(headerOf(box("free"), UINT64_MAX));
}

TEST(ReadBoxHeader, AnEndBeyondAllNumbersIsTheLargest) {
    const auto found = headerOf(join({box("free"), longBoxOfSize("mdat", UINT64_MAX - 3)}), 8);
    ASSERT_TRUE(found);
    EXPECT_EQ(found->end(), UINT64_MAX);
}

} // namespace
} // namespace velkantrix
