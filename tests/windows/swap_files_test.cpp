#include "platform/swap_files.h"

#include <gmock/gmock.h>

#include "platform/handles.h"
#include "tests/windows/replaced_import.h"
#include "tests/windows/test_files.h"

extern "C" {
extern decltype(&GetFileAttributesW) __imp_GetFileAttributesW;
extern decltype(&CreateFileW) __imp_CreateFileW;
extern decltype(&GetFileInformationByHandleEx) __imp_GetFileInformationByHandleEx;
}

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::UnorderedElementsAre;

const std::vector<char> OLD{'o', 'l', 'd'};
const std::vector<char> NEW{'n', 'e', 'w', '!'};

class SwapFilesTest : public FolderTest {
protected:
    void SetUp() override {
        writeBytes(original, OLD);
        writeBytes(temporary, NEW);
    }

    void expectBothAsTheyWere() const {
        EXPECT_EQ(bytesOf(original), OLD);
        EXPECT_EQ(bytesOf(temporary), NEW);
        EXPECT_THAT(filesInFolder(), UnorderedElementsAre(L"a.mp4", L"a.mp4.velkantrix-tmp"));
    }

    static UniqueFile hold(const std::wstring& path, DWORD share = FILE_SHARE_READ) {
        return UniqueFile(
            CreateFileW(path.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr));
    }

    const std::wstring original = inFolder(L"a.mp4");
    const std::wstring temporary = inFolder(L"a.mp4.velkantrix-tmp");
};

using ClearLeftover = SwapFilesTest;
using LookAtFile = SwapFilesTest;

TEST_F(SwapFilesTest, BothWaysPutOneFileInTheOthersPlace) {
    EXPECT_EQ(replaceWholeFile(original, temporary), ERROR_SUCCESS);
    EXPECT_EQ(bytesOf(original), NEW);
    EXPECT_THAT(filesInFolder(), ElementsAre(L"a.mp4"));
    writeBytes(temporary, OLD);
    EXPECT_EQ(moveFileOver(temporary, original), ERROR_SUCCESS);
    EXPECT_EQ(bytesOf(original), OLD);
    EXPECT_THAT(filesInFolder(), ElementsAre(L"a.mp4"));
}

TEST_F(SwapFilesTest, AnOriginalThatIsHeldOpenStays) {
    const UniqueFile held = hold(original);
    ASSERT_TRUE(held);
    EXPECT_EQ(replaceWholeFile(original, temporary), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_NE(moveFileOver(temporary, original), ERROR_SUCCESS);
    expectBothAsTheyWere();
}

TEST_F(SwapFilesTest, ATemporaryFileThatIsHeldOpenStays) {
    const UniqueFile held = hold(temporary);
    ASSERT_TRUE(held);
    EXPECT_NE(replaceWholeFile(original, temporary), ERROR_SUCCESS);
    EXPECT_NE(moveFileOver(temporary, original), ERROR_SUCCESS);
    expectBothAsTheyWere();
}

TEST_F(SwapFilesTest, AReadOnlyOriginalStays) {
    SetFileAttributesW(original.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_TRUE(lookAtFile(original).readOnly);
    EXPECT_NE(replaceWholeFile(original, temporary), ERROR_SUCCESS);
    EXPECT_NE(moveFileOver(temporary, original), ERROR_SUCCESS);
    SetFileAttributesW(original.c_str(), FILE_ATTRIBUTE_NORMAL);
    expectBothAsTheyWere();
}

TEST_F(SwapFilesTest, WithoutATemporaryFileTheOriginalStays) {
    EXPECT_TRUE(DeleteFileW(temporary.c_str()));
    EXPECT_EQ(replaceWholeFile(original, temporary), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(moveFileOver(temporary, original), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(bytesOf(original), OLD);
}

TEST_F(SwapFilesTest, WithoutAnOriginalOnlyTheSecondWayGoes) {
    EXPECT_TRUE(DeleteFileW(original.c_str()));
    EXPECT_EQ(replaceWholeFile(original, temporary), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(bytesOf(temporary), NEW);
    EXPECT_EQ(moveFileOver(temporary, original), ERROR_SUCCESS);
    EXPECT_EQ(bytesOf(original), NEW);
}

TEST_F(SwapFilesTest, AFolderInTheOriginalsPlaceStays) {
    EXPECT_TRUE(DeleteFileW(original.c_str()));
    ASSERT_TRUE(CreateDirectoryW(original.c_str(), nullptr));
    EXPECT_EQ(lookAtFile(original).found, FileLook::Found::Nothing);
    EXPECT_NE(replaceWholeFile(original, temporary), ERROR_SUCCESS);
    EXPECT_NE(moveFileOver(temporary, original), ERROR_SUCCESS);
    EXPECT_EQ(bytesOf(temporary), NEW);
    EXPECT_TRUE(RemoveDirectoryW(original.c_str()));
}

TEST_F(SwapFilesTest, AnotherNameOfTheOriginalKeepsTheOldFile) {
    const std::wstring link = inFolder(L"link.mp4");
    ASSERT_TRUE(CreateHardLinkW(link.c_str(), original.c_str(), nullptr));
    EXPECT_EQ(replaceWholeFile(original, temporary), ERROR_SUCCESS);
    EXPECT_EQ(bytesOf(original), NEW);
    EXPECT_EQ(bytesOf(link), OLD);
}

TEST_F(SwapFilesTest, NamesOfThreeHundredCharacters) {
    const std::wstring folder = L"\\\\?\\" + inFolder(std::wstring(200, L'd'));
    const std::wstring plain = inFolder(std::wstring(200, L'd')) + L"\\" + std::wstring(200, L'x');
    ASSERT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
    for (const auto way : {replaceWholeFile, +[](const std::wstring& to, const std::wstring& from) {
                               return moveFileOver(from, to);
                           }}) {
        writeBytes(L"\\\\?\\" + plain, OLD);
        writeBytes(L"\\\\?\\" + plain + L".tmp", NEW);
        EXPECT_EQ(askMayReplace(plain, 15), ERROR_SUCCESS);
        EXPECT_EQ(way(plain, plain + L".tmp"), ERROR_SUCCESS);
        EXPECT_EQ(lookAtFile(plain).stamp.size, NEW.size());
        EXPECT_EQ(lookAtFile(plain + L".tmp").found, FileLook::Found::Nothing);
    }
    EXPECT_TRUE(DeleteFileW((L"\\\\?\\" + plain).c_str()));
    EXPECT_TRUE(RemoveDirectoryW(folder.c_str()));
}

TEST_F(SwapFilesTest, MayReplaceWhatThisProgramHoldsOpenItself) {
    const UniqueFile held = hold(original);
    EXPECT_EQ(askMayReplace(original, 15), ERROR_SUCCESS);
    expectBothAsTheyWere();
}

TEST_F(SwapFilesTest, MayReplaceNothingInAFolderThatIsNotThere) {
    EXPECT_EQ(askMayReplace(inFolder(L"none\\a.mp4"), 15), DWORD{ERROR_PATH_NOT_FOUND});
}

TEST_F(SwapFilesTest, MayReplaceNothingWhoseNewFileWouldHaveTooLongAName) {
    const std::wstring longest = inFolder(std::wstring(245, L'n'));
    writeBytes(L"\\\\?\\" + longest, OLD);
    EXPECT_EQ(askMayReplace(longest, 10), ERROR_SUCCESS);
    EXPECT_NE(askMayReplace(longest, 15), ERROR_SUCCESS);
    EXPECT_TRUE(DeleteFileW((L"\\\\?\\" + longest).c_str()));
    expectBothAsTheyWere();
}

TEST_F(SwapFilesTest, AFreeNameIsTakenOnlyWhereNothingStands) {
    EXPECT_NE(moveFileToFreeName(temporary, original), ERROR_SUCCESS);
    expectBothAsTheyWere();
    EXPECT_TRUE(DeleteFileW(original.c_str()));
    EXPECT_EQ(moveFileToFreeName(temporary, original), ERROR_SUCCESS);
    EXPECT_EQ(bytesOf(original), NEW);
}

DWORD WINAPI attributesOfLink(LPCWSTR) {
    return FILE_ATTRIBUTE_REPARSE_POINT;
}

// Of what reparse points there are: links, and files that a server keeps.
DWORD theTag = 0;
BOOL WINAPI tellTag(HANDLE, FILE_INFO_BY_HANDLE_CLASS kind, LPVOID info, DWORD size) {
    if (kind != FileAttributeTagInfo || size != sizeof(FILE_ATTRIBUTE_TAG_INFO)) return FALSE;
    *static_cast<FILE_ATTRIBUTE_TAG_INFO*>(info) = {FILE_ATTRIBUTE_REPARSE_POINT, theTag};
    return TRUE;
}

// The system that these tests run on has no links of its own: it is made to see some.
TEST_F(SwapFilesTest, OnlyALinkIsFollowedAndToTheUsualNameOfItsFile) {
    const std::wstring asGiven = inFolder(L".\\A.mp4");
    const ReplacedImport<decltype(&GetFileAttributesW)> attributes(__imp_GetFileAttributesW,
                                                                   attributesOfLink);
    const ReplacedImport<decltype(&GetFileInformationByHandleEx)> tag(
        __imp_GetFileInformationByHandleEx, tellTag);
    theTag = IO_REPARSE_TAG_SYMLINK;
    EXPECT_EQ(pathBehindLink(asGiven), original);
    EXPECT_EQ(pathBehindLink(inFolder(L"none.mp4")), std::nullopt) << "it leads nowhere";
    theTag = 0x9000001A; // of a file in the cloud
    EXPECT_EQ(pathBehindLink(asGiven), asGiven);
}

TEST_F(SwapFilesTest, APathThatIsNoLinkStaysAsItIs) {
    EXPECT_EQ(pathBehindLink(original), original);
    EXPECT_EQ(pathBehindLink(inFolder(L"none.mp4")), inFolder(L"none.mp4"));
    EXPECT_EQ(pathBehindLink(L""), L"");
}

TEST_F(SwapFilesTest, FreeBytesAreThoseOfTheFolder) {
    EXPECT_GT(freeBytesFor(inFolder(L".")).value_or(0), 0u);
    EXPECT_FALSE(freeBytesFor(inFolder(L"none")));
}

TEST_F(LookAtFile, HasSizeAndTime) {
    const FileStamp stamp = lookAtFile(original).stamp;
    EXPECT_EQ(stamp.size, 3u);
    EXPECT_GT(stamp.time, 0u);
    EXPECT_EQ(lookAtFile(original).stamp, stamp);
    EXPECT_EQ(lookAtFile(original).found, FileLook::Found::File);
    writeBytes(original, NEW);
    EXPECT_NE(lookAtFile(original).stamp, stamp);
    EXPECT_EQ(lookAtFile(inFolder(L"none.mp4")).found, FileLook::Found::Nothing);
    EXPECT_EQ(lookAtFile(inFolder(L"none\\a.mp4")).found, FileLook::Found::Nothing);
}

HANDLE WINAPI serverIsAway(LPCWSTR, DWORD, DWORD, LPSECURITY_ATTRIBUTES, DWORD, DWORD, HANDLE) {
    SetLastError(ERROR_NETNAME_DELETED);
    return INVALID_HANDLE_VALUE;
}

TEST_F(LookAtFile, WhatCannotBeExaminedIsUnknown) {
    const ReplacedImport<decltype(&CreateFileW)> replaced(__imp_CreateFileW, serverIsAway);
    const FileLook look = lookAtFile(original);
    EXPECT_EQ(look.found, FileLook::Found::Unknown);
    EXPECT_EQ(look.error, DWORD{ERROR_NETNAME_DELETED});
}

TEST_F(ClearLeftover, TakesAPlainFileAway) {
    EXPECT_EQ(clearLeftover(temporary), ERROR_SUCCESS);
    EXPECT_THAT(filesInFolder(), ElementsAre(L"a.mp4"));
    EXPECT_EQ(clearLeftover(temporary), ERROR_SUCCESS) << "nothing is there";
    EXPECT_EQ(clearLeftover(inFolder(L"none\\a.tmp")), ERROR_SUCCESS);
}

TEST_F(ClearLeftover, LeavesWhatSomebodyHasOpen) {
    for (const DWORD share :
         {DWORD{0}, DWORD{FILE_SHARE_READ}, DWORD{FILE_SHARE_READ | FILE_SHARE_DELETE}}) {
        const UniqueFile held = hold(temporary, share);
        EXPECT_EQ(clearLeftover(temporary), DWORD{ERROR_SHARING_VIOLATION}) << share;
    }
    expectBothAsTheyWere();
}

TEST_F(ClearLeftover, LeavesAFolder) {
    EXPECT_TRUE(DeleteFileW(temporary.c_str()));
    ASSERT_TRUE(CreateDirectoryW(temporary.c_str(), nullptr));
    EXPECT_NE(clearLeftover(temporary), ERROR_SUCCESS);
    EXPECT_TRUE(RemoveDirectoryW(temporary.c_str()));
}

TEST_F(ClearLeftover, LeavesAnotherNameOfAFile) {
    EXPECT_TRUE(DeleteFileW(temporary.c_str()));
    ASSERT_TRUE(CreateHardLinkW(temporary.c_str(), original.c_str(), nullptr));
    EXPECT_EQ(clearLeftover(temporary), DWORD{ERROR_FILE_EXISTS});
    EXPECT_EQ(bytesOf(temporary), OLD);
}

} // namespace
} // namespace velkantrix
