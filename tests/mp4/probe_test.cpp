#include "mp4/probe.h"

#include <cstdint>
#include <filesystem>

#include <gtest/gtest.h>

#include "tests/support/mp4_boxes.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

ProbeResult probe(const Bytes& content) {
    const TempFile temp(content);
    return ProbeFile(temp.path());
}

TopLevelWalk walk(const Bytes& content) {
    const TempFile temp(content);
    return walkTopLevel(OpenForRandomAccess(temp.path()));
}

Bytes repeated(const Bytes& part, std::size_t count) {
    Bytes all;
    for (std::size_t i = 0; i < count; ++i) all.add(part);
    return all;
}

TEST(ProbeFile, APlainFile) {
    EXPECT_EQ(probe(join({ftyp(), box("moov"), box("mdat", Bytes{1, 2, 3})})),
              (ProbeResult{true, false, 0, true}));
}

TEST(ProbeFile, EveryTopLevelMoofIsCounted) {
    EXPECT_EQ(probe(join({ftyp(), box("moov"), box("moof"), box("mdat"), box("moof", Bytes{1}),
                          box("mdat"), box("mfra")})),
              (ProbeResult{true, true, 2, true}));
}

TEST(ProbeFile, AMoofInsideOfAnotherBoxIsNotCounted) {
    EXPECT_EQ(probe(join({ftyp(), box("moov", box("moof"))})), (ProbeResult{true, false, 0, true}));
}

TEST(ProbeFile, AnotherFirstBoxIsWalkedAllTheSame) {
    EXPECT_EQ(probe(join({box("free"), ftyp(), box("moof")})), (ProbeResult{false, true, 1, true}));
    EXPECT_EQ(probe(join({box("moof"), box("moof")})), (ProbeResult{false, true, 2, true}));
    EXPECT_EQ(probe(box("ftyP")), (ProbeResult{false, false, 0, true}));
}

TEST(ProbeFile, WhatCanNotBeOpenedIsAllFalse) {
    EXPECT_EQ(ProbeFile(TempFile::unusedPath()), ProbeResult{});
    EXPECT_EQ(ProbeFile(std::filesystem::temp_directory_path()), ProbeResult{});
    EXPECT_EQ(ProbeFile({}), ProbeResult{});
}

TEST(ProbeFile, AFileWithoutAWholeHeaderIsAllFalse) {
    EXPECT_EQ(probe({}), ProbeResult{});
    EXPECT_EQ(probe(Bytes().u32(7).text("fty")), ProbeResult{});
    EXPECT_EQ(probe(box("ftyp")), (ProbeResult{true, false, 0, true}));
}

TEST(ProbeFile, ANameOutsideOfAsciiIsFound) {
    const TempFile temp(ftyp(), u8" \u00E4\u65E5.mp4");
    EXPECT_TRUE(ProbeFile(temp.path()).startsWithFtyp);
}

TEST(ProbeFile, ASizeOfZeroReachesTheEnd) {
    EXPECT_EQ(probe(join({ftyp(), openBox("mdat", box("moof"))})),
              (ProbeResult{true, false, 0, true}));
    EXPECT_EQ(probe(join({ftyp(), openBox("moof")})), (ProbeResult{true, true, 1, true}));
}

TEST(ProbeFile, ALastBoxThatRunsOverTheEndReachesIt) {
    EXPECT_EQ(probe(join({ftyp(), boxOfSize("mdat", 9)})), (ProbeResult{true, false, 0, true}));
    EXPECT_EQ(probe(join({ftyp(), boxOfSize("moof", 0xFFFFFFFF)})),
              (ProbeResult{true, true, 1, true}));
    EXPECT_EQ(probe(join({ftyp(), longBoxOfSize("mdat", UINT64_MAX)})),
              (ProbeResult{true, false, 0, true}));
}

TEST(ProbeFile, FewerThanEightBytesBehindTheLastBoxAreNotTheEnd) {
    for (const std::size_t rest : {1u, 7u}) {
        EXPECT_EQ(probe(join({ftyp(), box("mdat"), Bytes().fill(rest)})),
                  (ProbeResult{true, false, 0, false}))
            << rest;
    }
    EXPECT_TRUE(probe(join({ftyp(), box("mdat"), Bytes().fill(8)})).reachedEnd); // of size 0
}

TEST(ProbeFile, ALongSizeIsFollowed) {
    EXPECT_EQ(probe(join({longBox("ftyp", Bytes{1, 2}), longBox("mdat", Bytes().fill(30)),
                          longBox("moof"), box("moof")})),
              (ProbeResult{true, true, 2, true}));
}

TEST(ProbeFile, ALongSizeWhoseSumRunsOverReachesTheEnd) {
    // 16 - 8 bytes lead to the moof in the first box.
    EXPECT_EQ(probe(join({box("free", box("moof")), longBoxOfSize("mdat", UINT64_MAX - 7)})),
              (ProbeResult{false, false, 0, true}));
}

TEST(ProbeFile, ALongSizeThatIsNotWholeEndsTheWalk) {
    for (const std::size_t there : {0u, 7u}) {
        const ProbeResult result = probe(join({ftyp(), Bytes().u32(1).text("mdat").fill(there)}));
        EXPECT_EQ(result, (ProbeResult{true, false, 0, false})) << there;
    }
}

TEST(ProbeFile, ALongSizeAboveFourGigabytesIsFollowed) {
    constexpr std::uint64_t MEDIA = (std::uint64_t{1} << 32) + 40;
    // Cut to 32 bits the size would lead to the first moof; the file ends behind it otherwise.
    TempFile temp(join({ftyp(), longBoxOfSize("mdat", MEDIA, Bytes().fill(24)), box("moof")}));
    temp.resize(ftyp().size() + MEDIA);
    EXPECT_EQ(ProbeFile(temp.path()), (ProbeResult{true, false, 0, true}));
}

TEST(ProbeFile, ASizeBelowTheHeaderEndsTheWalk) {
    for (const std::uint32_t size : {2u, 7u}) {
        EXPECT_EQ(probe(join({ftyp(), boxOfSize("free", size), box("moof")})),
                  (ProbeResult{true, false, 0, false}))
            << size;
    }
    for (const std::uint32_t size : {0u, 8u, 15u}) {
        EXPECT_EQ(probe(join({ftyp(), longBoxOfSize("free", size), box("moof")})),
                  (ProbeResult{true, false, 0, false}))
            << size;
    }
    EXPECT_TRUE(probe(join({ftyp(), longBoxOfSize("free", 16), box("moof")})).hasMoof);
}

TEST(ProbeFile, AMoofIsCountedBeforeItsSizeIsJudged) {
    EXPECT_EQ(probe(join({ftyp(), boxOfSize("moof", 7)})), (ProbeResult{true, true, 1, false}));
    EXPECT_EQ(probe(boxOfSize("ftyp", 7)), (ProbeResult{true, false, 0, false}));
}

TEST(ProbeFile, NoMoreThanItsBoxesAreWalked) {
    ASSERT_EQ(MAX_PROBED_BOXES, 2100u);
    EXPECT_EQ(probe(repeated(box("moof"), 2099)), (ProbeResult{false, true, 2099, true}));
    EXPECT_EQ(probe(repeated(box("moof"), 2100)), (ProbeResult{false, true, 2100, true}));
    EXPECT_EQ(probe(repeated(box("moof"), 2101)), (ProbeResult{false, true, 2100, false}));
}

// Also, the file may be removed then, which Windows doesn't do while a handle is open.
TEST(ProbeFile, TheFileIsClosedOnEveryWayOut) {
    for (const Bytes& content : {Bytes(), ftyp(), boxOfSize("free", 7), repeated(box("free"), 2101),
                                 Bytes().u32(1).text("mdat")}) {
        const TempFile temp(content);
        (void)ProbeFile(temp.path());
        std::error_code error;
        EXPECT_TRUE(std::filesystem::remove(temp.path(), error)) << error.message();
    }
}

TEST(WalkTopLevel, TellsWhyAndWhereItEnded) {
    const TopLevelWalk whole = walk(join({ftyp(), box("mdat", Bytes{1})}));
    EXPECT_EQ(whole.end, WalkEnd::FileEnd);
    EXPECT_EQ(whole.offset, ftyp().size() + 9);

    const TopLevelWalk over = walk(boxOfSize("mdat", 100));
    EXPECT_EQ(over.end, WalkEnd::FileEnd);
    EXPECT_EQ(over.offset, 100u);

    const TopLevelWalk bad = walk(join({ftyp(), boxOfSize("evil", 7), box("moof")}));
    EXPECT_EQ(bad.end, WalkEnd::BadBox);
    EXPECT_EQ(bad.offset, ftyp().size());

    const TopLevelWalk cut = walk(join({ftyp(), Bytes().fill(7)}));
    EXPECT_EQ(cut.end, WalkEnd::Unreadable);
    EXPECT_EQ(cut.offset, ftyp().size());

    const TopLevelWalk many = walk(repeated(box("free"), 2101));
    EXPECT_EQ(many.end, WalkEnd::BoxLimit);
    EXPECT_EQ(many.offset, 2100u * 8);
}

TEST(WalkTopLevel, AFileThatIsNotOpenIsUnreadable) {
    const TopLevelWalk none = walkTopLevel(InputFile());
    EXPECT_EQ(none.end, WalkEnd::Unreadable);
    EXPECT_EQ(none.offset, 0u);
    EXPECT_EQ(none.result, ProbeResult{});
}

TEST(WalkTopLevel, AFileThatShrinksIsUnreadable) {
    TempFile temp(join({ftyp(), box("moof"), box("moof")}));
    const InputFile file = OpenForRandomAccess(temp.path());
    temp.resize(ftyp().size() + 8);
    const TopLevelWalk cut = walkTopLevel(file);
    EXPECT_EQ(cut.end, WalkEnd::Unreadable);
    EXPECT_EQ(cut.result, (ProbeResult{true, true, 1, false}));
}

constexpr std::uint64_t SIX_GIGABYTES = 6442450944;

// A file of `size` bytes, few of which take room, with `moofs` fragments.
bool isLarge(std::uint64_t size, std::size_t moofs) {
    TempFile temp(join({ftyp(), box("moov"), repeated(box("moof"), moofs), openBox("mdat")}));
    temp.resize(size);
    return IsLargeFragmentedFile(temp.path());
}

TEST(IsLargeFragmentedFile, SixGigabytesAndSixtyFourFragmentsAre) {
    EXPECT_FALSE(isLarge(SIX_GIGABYTES, 63));
    EXPECT_TRUE(isLarge(SIX_GIGABYTES, 64));
    EXPECT_TRUE(isLarge(SIX_GIGABYTES + 1, 65));
    EXPECT_FALSE(isLarge(SIX_GIGABYTES, 0));
}

TEST(IsLargeFragmentedFile, OneByteLessNeverIs) {
    EXPECT_FALSE(isLarge(SIX_GIGABYTES - 1, 64));
    EXPECT_FALSE(isLarge(SIX_GIGABYTES - 1, 2000));
}

TEST(IsLargeFragmentedFile, FragmentsBehindTheProbesBoxesDoNotCount) {
    for (const std::size_t others : {2036u, 2037u}) {
        TempFile temp(join({repeated(box("free"), others), repeated(box("moof"), 64)}));
        temp.resize(SIX_GIGABYTES);
        EXPECT_EQ(IsLargeFragmentedFile(temp.path()), others == 2036) << others;
    }
}

TEST(IsLargeFragmentedFile, NeitherFtypNorASoundEndIsAskedFor) {
    TempFile temp(join({repeated(box("moof"), 64), boxOfSize("evil", 7)}));
    temp.resize(SIX_GIGABYTES);
    EXPECT_TRUE(IsLargeFragmentedFile(temp.path()));
}

TEST(IsLargeFragmentedFile, WhatCanNotBeReadIsNot) {
    EXPECT_FALSE(IsLargeFragmentedFile(TempFile::unusedPath()));
    EXPECT_FALSE(IsLargeFragmentedFile(std::filesystem::temp_directory_path()));
    EXPECT_FALSE(IsLargeFragmentedFile({}));
    EXPECT_FALSE(isLarge(0, 64));
}

} // namespace
} // namespace velkantrix
