// scanTopLevel; the index that is made of what it finds is in video_index_test.cpp.
#include "mp4/video_index.h"

#include <cstdint>

#include <gtest/gtest.h>

#include "tests/support/mp4_boxes.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

Bytes repeated(const Bytes& part, std::size_t count) {
    Bytes all;
    for (std::size_t i = 0; i < count; ++i) all.add(part);
    return all;
}

TopLevelScan scan(const Bytes& content) {
    const TempFile temp(content);
    return scanTopLevel(OpenForRandomAccess(temp.path()));
}

TEST(ScanTopLevel, APlainFile) {
    const TopLevelScan found = scan(join({ftyp(), box("moov", Bytes().fill(5)), box("mdat")}));
    ASSERT_TRUE(found.moov);
    EXPECT_EQ(found.moov->offset, ftyp().size() + 8);
    EXPECT_EQ(found.moov->size, 5u);
    EXPECT_FALSE(found.fragmented);
}

TEST(ScanTopLevel, AFileWithoutMoov) {
    for (const Bytes& content : {Bytes(), ftyp(), join({ftyp(), box("mdat")}), Bytes().fill(7)}) {
        EXPECT_FALSE(scan(content).moov);
        EXPECT_FALSE(scan(content).fragmented);
    }
    EXPECT_FALSE(scanTopLevel(InputFile()).moov);
}

TEST(ScanTopLevel, TheMoovBehindTheMediaIsFound) {
    const TopLevelScan found = scan(join({ftyp(), box("mdat", Bytes().fill(9)), box("moov")}));
    ASSERT_TRUE(found.moov);
    EXPECT_EQ(found.moov->offset, ftyp().size() + 17 + 8);
    EXPECT_EQ(found.moov->size, 0u);
}

TEST(ScanTopLevel, ALaterMoovReplacesAnEarlierOne) {
    const TopLevelScan found = scan(join(
        {box("moov", Bytes().fill(5)), box("mdat"), box("moov", Bytes().fill(6)), box("free")}));
    ASSERT_TRUE(found.moov);
    EXPECT_EQ(found.moov->offset, 13u + 8 + 8);
    EXPECT_EQ(found.moov->size, 6u);
}

TEST(ScanTopLevel, AMoofEndsTheScan) {
    const TopLevelScan found =
        scan(join({box("moov", Bytes().fill(5)), box("moof"), box("moov", Bytes().fill(6))}));
    EXPECT_TRUE(found.fragmented);
    ASSERT_TRUE(found.moov);
    EXPECT_EQ(found.moov->size, 5u);
    EXPECT_FALSE(scan(join({ftyp(), box("moof"), box("moov")})).moov);
    EXPECT_TRUE(scan(join({ftyp(), box("moof"), box("moov")})).fragmented);
}

TEST(ScanTopLevel, LongSizesAreFollowed) {
    const TopLevelScan found = scan(join(
        {longBox("mdat", Bytes().fill(4)), longBox("moov", Bytes().fill(5)), longBox("moof")}));
    ASSERT_TRUE(found.moov);
    EXPECT_EQ(found.moov->offset, 20u + 16);
    EXPECT_EQ(found.moov->size, 5u);
    EXPECT_TRUE(found.fragmented);
}

TEST(ScanTopLevel, AMoovOfSizeZeroRunsToTheEnd) {
    const TopLevelScan found = scan(join({ftyp(), openBox("moov", Bytes().fill(9))}));
    ASSERT_TRUE(found.moov);
    EXPECT_EQ(found.moov->size, 9u);
}

TEST(ScanTopLevel, ABadBoxEndsTheScan) {
    for (const Bytes& bad : {boxOfSize("free", 7), longBoxOfSize("free", 15), Bytes().fill(7),
                             Bytes().u32(1).text("free")}) {
        const TopLevelScan before = scan(join({box("moov"), bad}));
        EXPECT_TRUE(before.moov);
        EXPECT_FALSE(before.fragmented);
    }
    EXPECT_FALSE(scan(join({boxOfSize("free", 7), box("moov"), box("moof")})).moov);
    EXPECT_FALSE(scan(join({boxOfSize("free", 7), box("moov"), box("moof")})).fragmented);
    EXPECT_FALSE(scan(longBoxOfSize("moov", 15)).moov);
    // Behind its 7 bytes the moov would begin.
    EXPECT_FALSE(scan(join({boxOfSize("fre", 7), box("moov")})).moov);
}

TEST(ScanTopLevel, NoMoreThanSixtyFourBoxesAreLookedAt) {
    ASSERT_EQ(MAX_SCANNED_BOXES, 64u);
    EXPECT_TRUE(scan(join({repeated(box("free"), 63), box("moov")})).moov);
    EXPECT_FALSE(scan(join({repeated(box("free"), 64), box("moov")})).moov);
    EXPECT_TRUE(scan(join({box("moov"), repeated(box("free"), 62), box("moof")})).fragmented);
    EXPECT_FALSE(scan(join({box("moov"), repeated(box("free"), 63), box("moof")})).fragmented);
}

TEST(ScanTopLevel, ALongSizeWhoseSumRunsOverEndsTheScan) {
    // 24 - 16 bytes lead to the moof in the first box.
    const TopLevelScan found =
        scan(join({box("free", box("moof")), box("moov"), longBoxOfSize("mdat", UINT64_MAX - 15)}));
    EXPECT_TRUE(found.moov);
    EXPECT_FALSE(found.fragmented);
}

} // namespace
} // namespace velkantrix
