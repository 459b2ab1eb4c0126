#include "platform/file_claim.h"

#include "tests/windows/test_files.h"

namespace velkantrix {
namespace {

class FileClaimTest : public FolderTest {
protected:
    void SetUp() override { writeBytes(path, {'a'}); }
    const std::wstring path = inFolder(L"Holiday.mp4");
};

TEST_F(FileClaimTest, OneHasAFileUntilItLetsGo) {
    FileClaim first = claimFile(path);
    EXPECT_TRUE(first);
    EXPECT_FALSE(claimFile(path));
    first.reset();
    EXPECT_TRUE(claimFile(path));
}

TEST_F(FileClaimTest, AFileIsClaimedByEveryName) {
    const std::wstring link = inFolder(L"link.mp4");
    ASSERT_TRUE(CreateHardLinkW(link.c_str(), path.c_str(), nullptr));
    const FileClaim first = claimFile(path);
    EXPECT_FALSE(claimFile(inFolder(L"HOLIDAY.MP4")));
    EXPECT_FALSE(claimFile(link));
    EXPECT_FALSE(claimFile(L"\\\\?\\" + path));
}

TEST_F(FileClaimTest, AnotherFileIsFree) {
    const FileClaim first = claimFile(path);
    writeBytes(inFolder(L"other.mp4"), {'a'});
    EXPECT_TRUE(claimFile(inFolder(L"other.mp4")));
}

TEST_F(FileClaimTest, WhatIsNotThereIsClaimedByItsName) {
    const FileClaim first = claimFile(inFolder(L"none.mp4"));
    EXPECT_TRUE(first);
    EXPECT_FALSE(claimFile(inFolder(L"NONE.mp4")));
    EXPECT_TRUE(claimFile(inFolder(L"none2.mp4")));
}

TEST_F(FileClaimTest, KeepsNobodyFromTheFile) {
    const FileClaim first = claimFile(path);
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

} // namespace
} // namespace velkantrix
