#include "platform/file_mark.h"

#include <gmock/gmock.h>

#include "platform/file_errors.h"
#include "platform/handles.h"
#include "platform/swap_files.h"
#include "tests/windows/replaced_import.h"
#include "tests/windows/test_files.h"

extern "C" {
extern decltype(&FlushFileBuffers) __imp_FlushFileBuffers;
extern decltype(&Sleep) __imp_Sleep;
}

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;

class FileMarkTest : public FolderTest {
protected:
    void SetUp() override { writeBytes(path, {'a', 'b'}); }
    const std::wstring path = inFolder(L"a.mp4.velkantrix-tmp");
    std::wstring mark;

    [[nodiscard]] DWORD finish() { return finish(path); }
    [[nodiscard]] DWORD finish(const std::wstring& file) {
        return finishFile(file, mark, [] { return false; });
    }
};

BOOL WINAPI brokenFlush(HANDLE) {
    SetLastError(ERROR_IO_DEVICE);
    return FALSE;
}

TEST_F(FileMarkTest, AFinishedFileIsKnownAgain) {
    EXPECT_EQ(finish(), ERROR_SUCCESS);
    EXPECT_NE(mark, L"");
    EXPECT_EQ(markOf(path), mark);
    const std::wstring moved = inFolder(L"a.mp4");
    EXPECT_EQ(moveFileOver(path, moved), ERROR_SUCCESS);
    EXPECT_EQ(markOf(moved), mark);
    EXPECT_EQ(markOf(path), L"");
}

TEST_F(FileMarkTest, AnotherFileByItsNameIsNotTakenForIt) {
    EXPECT_EQ(finish(), ERROR_SUCCESS);
    EXPECT_TRUE(MoveFileW(path.c_str(), inFolder(L"elsewhere").c_str()));
    writeBytes(path, {'a', 'b'});
    EXPECT_NE(markOf(path), mark);
    EXPECT_EQ(deleteMarkedFile(path, mark), DWORD{ERROR_FILE_INVALID});
    EXPECT_EQ(bytesOf(path), (std::vector<char>{'a', 'b'}));
}

TEST_F(FileMarkTest, AFileThatWasWrittenToSinceIsNotTakenForIt) {
    EXPECT_EQ(finish(), ERROR_SUCCESS);
    writeBytes(path, {'a', 'b', 'c'});
    EXPECT_NE(deleteMarkedFile(path, mark), ERROR_SUCCESS);
    EXPECT_EQ(bytesOf(path).size(), 3u);
}

// As ReplaceFileW does with what it brings over from the file that it replaces.
TEST_F(FileMarkTest, AnotherTimeAndAStreamLeaveItKnown) {
    EXPECT_EQ(finish(), ERROR_SUCCESS);
    const UniqueFile file(
        CreateFileW(path.c_str(), FILE_WRITE_ATTRIBUTES, 0, nullptr, OPEN_EXISTING, 0, nullptr));
    const FILETIME longAgo = {.dwLowDateTime = 0, .dwHighDateTime = 30'000'000};
    ASSERT_TRUE(SetFileTime(file.get(), &longAgo, nullptr, &longAgo));
    EXPECT_EQ(markOf(path), mark);
}

TEST_F(FileMarkTest, ItsOwnFileIsDeleted) {
    EXPECT_EQ(finish(), ERROR_SUCCESS);
    EXPECT_EQ(deleteMarkedFile(path, mark), ERROR_SUCCESS);
    EXPECT_THAT(filesInFolder(), IsEmpty());
    EXPECT_EQ(deleteMarkedFile(path, mark), ERROR_SUCCESS) << "nothing stands there";
}

TEST_F(FileMarkTest, AFileThatIsHeldOpenIsNotDeleted) {
    EXPECT_EQ(finish(), ERROR_SUCCESS);
    const UniqueFile held(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(deleteMarkedFile(path, mark), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_THAT(filesInFolder(), ElementsAre(L"a.mp4.velkantrix-tmp"));
}

BOOL WINAPI flushOntoAFullDisk(HANDLE) {
    SetLastError(ERROR_DISK_FULL);
    return FALSE;
}

TEST_F(FileMarkTest, WhatDoesNotGetOntoTheDiskIsTold) {
    struct Row {
        decltype(&FlushFileBuffers) flush;
        DWORD error;
    };
    for (const Row& row :
         {Row{brokenFlush, ERROR_IO_DEVICE}, Row{flushOntoAFullDisk, ERROR_DISK_FULL}}) {
        const ReplacedImport<decltype(&FlushFileBuffers)> replaced(__imp_FlushFileBuffers,
                                                                   row.flush);
        EXPECT_EQ(finish(), row.error);
        EXPECT_NE(mark, L"") << "or it couldn't be deleted";
    }
    EXPECT_EQ(deleteMarkedFile(path, mark), ERROR_SUCCESS);
}

// Stands for the waits: no time passes but what is asked for.
DWORD theWaited = 0, theRelease = INFINITE; // milliseconds
UniqueFile theHeld;

void WINAPI noteWait(DWORD milliseconds) {
    theWaited += milliseconds;
    if (theWaited >= theRelease) theHeld.reset();
}

class FileThatIsHeldOpen : public FileMarkTest {
protected:
    void SetUp() override {
        FileMarkTest::SetUp();
        theWaited = 0;
        theRelease = INFINITE;
        theHeld = UniqueFile(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                         OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(theHeld);
    }
    void TearDown() override {
        theHeld.reset();
        FileMarkTest::TearDown();
    }

    const ReplacedImport<decltype(&Sleep)> waits{__imp_Sleep, noteWait};
};

TEST_F(FileThatIsHeldOpen, IsWaitedForHalfAMinute) {
    EXPECT_EQ(finish(), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(theWaited, 30'000u);
    EXPECT_EQ(mark, markOf(path));
    EXPECT_NE(mark, L"") << "or it couldn't be deleted";
}

TEST_F(FileThatIsHeldOpen, IsFinishedWhenItIsLetGoOf) {
    theRelease = 29'950;
    EXPECT_EQ(finish(), ERROR_SUCCESS);
    EXPECT_EQ(theWaited, 29'950u);
    EXPECT_EQ(markOf(path), mark);
}

TEST_F(FileThatIsHeldOpen, IsToBeDeletedForHalfASecond) {
    const std::wstring known = markOf(path);
    EXPECT_EQ(deleteMarkedFile(path, known), DWORD{ERROR_SHARING_VIOLATION});
    EXPECT_EQ(theWaited, 500u);
    theRelease = 950;
    EXPECT_EQ(deleteMarkedFile(path, known), ERROR_SUCCESS);
    EXPECT_EQ(theWaited, 950u);
}

TEST_F(FileMarkTest, ACancelEndsTheWaitForWhoHasItOpen) {
    const UniqueFile held(CreateFileW(path.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    int asked = 0;
    EXPECT_EQ(finishFile(path, mark, [&asked] { return ++asked > 2; }), DWORD{ERROR_CANCELLED});
    EXPECT_EQ(asked, 3);
    EXPECT_EQ(mark, markOf(path));
    EXPECT_NE(mark, L"") << "or it couldn't be deleted";
}

TEST_F(FileMarkTest, ACancelBeforeFlushesNothing) {
    const ReplacedImport<decltype(&FlushFileBuffers)> replaced(__imp_FlushFileBuffers, brokenFlush);
    EXPECT_EQ(finishFile(path, mark, [] { return true; }), DWORD{ERROR_CANCELLED});
    EXPECT_NE(mark, L"");
}

TEST_F(FileMarkTest, AFileThatIsGoneIsTold) {
    EXPECT_EQ(finish(inFolder(L"none")), DWORD{ERROR_FILE_NOT_FOUND});
    EXPECT_EQ(mark, L"");
}

} // namespace
} // namespace velkantrix
