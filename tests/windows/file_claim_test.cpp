#include "platform/file_claim.h"

#include <cwchar>

#include "base/hash64.h"
#include "platform/files.h"

#include "tests/windows/test_files.h"

namespace velkantrix {
namespace {

FileClaim claimed(const std::wstring& path) {
    FileClaim claim;
    const DWORD error = claimFile(path, claim);
    EXPECT_EQ(error, claim ? DWORD{ERROR_SUCCESS} : DWORD{ERROR_ALREADY_EXISTS});
    return claim;
}

class FileClaimTest : public FolderTest {
protected:
    void SetUp() override { writeBytes(path, {'a'}); }
    const std::wstring path = inFolder(L"Holiday.mp4");
};

TEST_F(FileClaimTest, OneHasAFileUntilItLetsGo) {
    FileClaim first = claimed(path);
    EXPECT_TRUE(first);
    EXPECT_FALSE(claimed(path));
    first.reset();
    EXPECT_TRUE(claimed(path));
}

TEST_F(FileClaimTest, AFileIsClaimedByEveryName) {
    const std::wstring link = inFolder(L"link.mp4");
    ASSERT_TRUE(CreateHardLinkW(link.c_str(), path.c_str(), nullptr));
    const FileClaim first = claimed(path);
    EXPECT_FALSE(claimed(inFolder(L"HOLIDAY.MP4")));
    EXPECT_FALSE(claimed(link));
    EXPECT_FALSE(claimed(L"\\\\?\\" + path));
}

TEST_F(FileClaimTest, AnotherFileIsFree) {
    const FileClaim first = claimed(path);
    writeBytes(inFolder(L"other.mp4"), {'a'});
    EXPECT_TRUE(claimed(inFolder(L"other.mp4")));
}

TEST_F(FileClaimTest, WhatIsNotThereIsClaimedByItsName) {
    const FileClaim first = claimed(inFolder(L"none.mp4"));
    EXPECT_TRUE(first);
    EXPECT_FALSE(claimed(inFolder(L"NONE.mp4")));
    EXPECT_TRUE(claimed(inFolder(L"none2.mp4")));
}

TEST_F(FileClaimTest, KeepsNobodyFromTheFile) {
    const FileClaim first = claimed(path);
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

// Nobody has the file then, and to wait would help nothing.
TEST_F(FileClaimTest, WhatKeepsItFromBeingClaimedIsToldApartFromAnothersClaim) {
    Hash64 hash(0xcbf29ce484222325ULL);
    for (const wchar_t unit : identityText(path)) hash.add(unit);
    wchar_t name[64];
    std::swprintf(name, 64, L"Global\\Velkantrix-file-%016llX",
                  static_cast<unsigned long long>(hash.value()));
    const FileClaim event(CreateEventW(nullptr, TRUE, FALSE, name));
    ASSERT_TRUE(event);
    FileClaim claim;
    EXPECT_EQ(claimFile(path, claim), DWORD{ERROR_INVALID_HANDLE});
    EXPECT_FALSE(claim);
}

} // namespace
} // namespace velkantrix
