#include "platform/files.h"

#include <thread>

#include "platform/handles.h"
#include "platform/hresult.h"
#include "tests/windows/test_files.h"

namespace velkantrix {
namespace {

class FilesTest : public FolderTest {
protected:
    void SetUp() override {
        source = inFolder(L"Holiday.mp4");
        other = inFolder(L"other.mp4");
        writeBytes(source, {'a', 'b', 'c'});
        writeBytes(other, {'a', 'b', 'c'});
    }
    std::wstring source, other;
};

TEST_F(FilesTest, AFileIsItselfByEveryName) {
    EXPECT_TRUE(sameFile(source, source));
    EXPECT_TRUE(sameFile(source, inFolder(L"HOLIDAY.MP4")));
    EXPECT_TRUE(sameFile(source, inFolder(L".\\Holiday.mp4")));
    EXPECT_TRUE(sameFile(source, inFolder(L"..\\FilesTest.AFileIsItselfByEveryName\\Holiday.mp4")));
    EXPECT_TRUE(sameFile(source, inFolder(L"Holiday.mp4.")));
    EXPECT_TRUE(sameFile(source, inFolder(L"Holiday.mp4. .")));
    EXPECT_TRUE(sameFile(source, L"\\\\?\\" + source));
    EXPECT_TRUE(sameFile(L"\\\\?\\" + source, source));
}

TEST_F(FilesTest, ARelativePathIsTakenFromTheCurrentFolder) {
    wchar_t before[MAX_PATH];
    GetCurrentDirectoryW(MAX_PATH, before);
    SetCurrentDirectoryW(inFolder(L".").c_str());
    EXPECT_TRUE(sameFile(L"holiday.mp4", source));
    EXPECT_FALSE(sameFile(L"other.mp4", source));
    SetCurrentDirectoryW(before);
}

TEST_F(FilesTest, AHardLinkIsTheSameFile) {
    const std::wstring link = inFolder(L"link.mp4");
    ASSERT_TRUE(CreateHardLinkW(link.c_str(), source.c_str(), nullptr)) << GetLastError();
    EXPECT_TRUE(sameFile(source, link));
    EXPECT_FALSE(sameFile(other, link));
}

// The rig shows one folder as two drives, as a mapped drive does.
TEST_F(FilesTest, AnotherDriveLetterIsTheSameFile) {
    writeBytes(L"M:\\Mapped.mp4", {'m'});
    writeBytes(L"M:\\other.mp4", {'o'});
    EXPECT_TRUE(sameFile(L"N:\\mapped.mp4", L"M:\\Mapped.mp4"));
    EXPECT_FALSE(sameFile(L"N:\\other.mp4", L"M:\\Mapped.mp4"));
    EXPECT_EQ(deleteFileUnlessSame(L"N:\\Mapped.mp4", L"M:\\Mapped.mp4"),
              HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
    EXPECT_TRUE(exists(L"M:\\Mapped.mp4"));
    EXPECT_TRUE(DeleteFileW(L"N:\\Mapped.mp4"));
    EXPECT_TRUE(DeleteFileW(L"M:\\other.mp4"));
}

TEST_F(FilesTest, AStreamOfAFileIsTheFile) {
    EXPECT_TRUE(sameFile(source + L":x", source));
    EXPECT_TRUE(sameFile(source, inFolder(L"HOLIDAY.mp4:x:$DATA")));
    EXPECT_TRUE(sameFile(source + L":x", source + L":y"));
    EXPECT_FALSE(sameFile(source + L":x", other));
    EXPECT_EQ(deleteFileUnlessSame(source + L":x", source),
              HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
}

// By its identity, through a second name, and by the long name itself.
TEST_F(FilesTest, APathLongerThanMostMayBeAFile) {
    const std::wstring folder = L"\\\\?\\" + inFolder(std::wstring(200, L'd'));
    const std::wstring path = folder + L"\\" + std::wstring(200, L'x');
    ASSERT_GT(path.size(), static_cast<size_t>(MAX_PATH));
    ASSERT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
    EXPECT_TRUE(CreateHardLinkW(path.c_str(), source.c_str(), nullptr)) << GetLastError();
    EXPECT_TRUE(sameFile(path, source));
    EXPECT_TRUE(sameFile(source, path));
    EXPECT_TRUE(sameFile(path, folder + L"\\" + std::wstring(200, L'X')));
    EXPECT_FALSE(sameFile(path, other));
    EXPECT_TRUE(DeleteFileW(path.c_str()));
    EXPECT_FALSE(sameFile(path, source));
    EXPECT_TRUE(RemoveDirectoryW(folder.c_str()));
}

TEST_F(FilesTest, OtherFilesAreNotTheSame) {
    EXPECT_FALSE(sameFile(source, other));
    EXPECT_FALSE(sameFile(source, inFolder(L"none.mp4")));
    EXPECT_FALSE(sameFile(inFolder(L"none1.mp4"), inFolder(L"none2.mp4")));
}

TEST_F(FilesTest, AFutureFileIsKnownByItsName) {
    EXPECT_TRUE(sameFile(inFolder(L"none.mp4"), inFolder(L"NONE.mp4")));
}

TEST_F(FilesTest, AnEmptyPathNamesNoFile) {
    EXPECT_FALSE(sameFile(L"", L""));
    EXPECT_FALSE(sameFile(source, L""));
    EXPECT_FALSE(sameFile(L"", source));
}

TEST_F(FilesTest, AbsolutePathsMayBeLong) {
    const std::wstring name(600, L'x');
    EXPECT_EQ(absolutePath(inFolder(name)), inFolder(name));
}

TEST_F(FilesTest, DeletesAFile) {
    EXPECT_EQ(deleteFileUnlessSame(other, source), S_OK);
    EXPECT_FALSE(exists(other));
}

TEST_F(FilesTest, AFolderIsNotDeletedNotEvenAnEmptyOne) {
    const std::wstring folder = inFolder(L"folder.mp4");
    ASSERT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
    EXPECT_EQ(deleteFileUnlessSame(folder, L""), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
    EXPECT_TRUE(exists(folder));
    RemoveDirectoryW(folder.c_str());
}

TEST_F(FilesTest, AFileThatIsNotThereIsDeleted) {
    EXPECT_EQ(deleteFileUnlessSame(inFolder(L"none.mp4"), source), S_OK);
    EXPECT_EQ(deleteFileUnlessSame(inFolder(L"none\\none.mp4"), source), S_OK);
}

TEST_F(FilesTest, NeverDeletesTheKeptFileByAnyName) {
    const std::wstring link = inFolder(L"link.mp4");
    ASSERT_TRUE(CreateHardLinkW(link.c_str(), source.c_str(), nullptr));
    for (const std::wstring& name :
         {source, link, inFolder(L"HOLIDAY.mp4"), L"\\\\?\\" + source, inFolder(L"Holiday.mp4.")}) {
        EXPECT_EQ(deleteFileUnlessSame(name, source), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
    }
    EXPECT_TRUE(exists(source));
    EXPECT_TRUE(exists(link));
}

TEST_F(FilesTest, DeletingAStreamNeverTakesItsFile) {
    // Where there are no streams the name is none, and nothing happens.
    ignoreResult(deleteFileUnlessSame(other + L":x", source), "it may be refused");
    EXPECT_TRUE(exists(other));
}

TEST_F(FilesTest, ReplacesAFile) {
    writeBytes(inFolder(L"new.mp4"), {'n'});
    EXPECT_EQ(replaceFileUnlessSame(inFolder(L"new.mp4"), other, source), S_OK);
    EXPECT_EQ(bytesOf(other), std::vector<char>{'n'});
    EXPECT_FALSE(exists(inFolder(L"new.mp4")));
}

TEST_F(FilesTest, NeverReplacesTheKeptFile) {
    writeBytes(inFolder(L"new.mp4"), {'n'});
    const std::wstring link = inFolder(L"link.mp4");
    ASSERT_TRUE(CreateHardLinkW(link.c_str(), source.c_str(), nullptr));
    for (const std::wstring& name : {source, link, L"\\\\?\\" + source}) {
        EXPECT_EQ(replaceFileUnlessSame(inFolder(L"new.mp4"), name, source),
                  HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
    }
    EXPECT_EQ(bytesOf(source), (std::vector<char>{'a', 'b', 'c'}));
    EXPECT_TRUE(exists(inFolder(L"new.mp4")));
}

TEST_F(FilesTest, MovesToAFreeNameOnly) {
    writeBytes(inFolder(L"new.mp4"), {'n'});
    EXPECT_EQ(moveToFreeName(inFolder(L"new.mp4"), other),
              HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS));
    EXPECT_NE(bytesOf(other), std::vector<char>{'n'});
    UniqueFile held(CreateFileW(inFolder(L"new.mp4").c_str(), GENERIC_READ, FILE_SHARE_READ,
                                nullptr, OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);
    std::thread holder([&] {
        Sleep(120);
        held.reset();
    });
    EXPECT_EQ(moveToFreeName(inFolder(L"new.mp4"), inFolder(L"free.mp4")), S_OK);
    holder.join();
    EXPECT_EQ(bytesOf(inFolder(L"free.mp4")), std::vector<char>{'n'});
}

TEST_F(FilesTest, WhetherAFileCanBeReplacedIsToldBefore) {
    EXPECT_EQ(askReplaceable(other), S_OK);
    EXPECT_EQ(askReplaceable(inFolder(L"none.mp4")), S_OK);
    EXPECT_TRUE(exists(other));
    UniqueFile held(CreateFileW(other.c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_DELETE,
                                nullptr, OPEN_EXISTING, 0, nullptr));
    EXPECT_EQ(askReplaceable(other), HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION));
    held.reset();
    SetFileAttributesW(other.c_str(), FILE_ATTRIBUTE_READONLY);
    EXPECT_EQ(askReplaceable(other), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
    SetFileAttributesW(other.c_str(), FILE_ATTRIBUTE_NORMAL);
    const std::wstring folder = inFolder(L"folder.mp4");
    ASSERT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
    EXPECT_EQ(askReplaceable(folder), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
    RemoveDirectoryW(folder.c_str());
}

TEST_F(FilesTest, AnUnusedNameLiesBesideTheFileAndIsShort) {
    const std::wstring first = unusedNameBeside(other);
    EXPECT_EQ(first.find(inFolder(L"~vx")), 0u);
    EXPECT_LT(first.size(), inFolder(L"a file name of 8.3").size() + 8);
    EXPECT_NE(unusedNameBeside(other), first) << "another thread may be about to use it";
    EXPECT_FALSE(exists(first));
}

// A name that the system refuses would seem to be taken for ever.
TEST_F(FilesTest, WhatCannotBeANameDoesNotExist) {
    EXPECT_FALSE(fileExists(inFolder(L"a?.mp4")));
    EXPECT_FALSE(fileExists(inFolder(L"a\tb.mp4")));
    EXPECT_FALSE(fileExists(inFolder(std::wstring(300, L'x'))));
    EXPECT_FALSE(fileExists(inFolder(L"none\\a.mp4")));
    EXPECT_TRUE(fileExists(other));
    EXPECT_FALSE(unusedNameBeside(inFolder(L"a?.mp4")).empty());
}

// It may be there again when it is to be written.
TEST_F(FilesTest, WhatCannotBeAskedForCountsAsThere) {
    const std::wstring away = L"\\\\no-such-host\\share\\a.mp4";
    ASSERT_EQ(GetFileAttributesW(away.c_str()), INVALID_FILE_ATTRIBUTES);
    EXPECT_TRUE(fileExists(away));
}

TEST_F(FilesTest, AnUnusedNameIsNobodysFile) {
    std::wstring taken = unusedNameBeside(other);
    const std::size_t number = taken.find_last_of(L'-') + 1;
    const int last = std::stoi(taken.substr(number));
    taken = taken.substr(0, number);
    writeBytes(taken + std::to_wstring(last + 1) + L".tmp", {'x'});
    EXPECT_EQ(unusedNameBeside(other), taken + std::to_wstring(last + 2) + L".tmp");
    EXPECT_TRUE(DeleteFileW((taken + std::to_wstring(last + 1) + L".tmp").c_str()));
}

// "C:name" is a name in that drive's own current folder.
TEST_F(FilesTest, AnUnusedNameLiesOnTheSameDrive) {
    for (const wchar_t* name : {L"C:a.mp4", L"a.mp4", L"C:\\a.mp4"}) {
        const std::wstring whole = absolutePath(name);
        const std::wstring folder = whole.substr(0, whole.size() - 5);
        EXPECT_EQ(unusedNameBeside(name).find(folder + L"~vx"), 0u)
            << testing::PrintToString(unusedNameBeside(name));
    }
}

TEST_F(FilesTest, GivesUpOnAFileThatStaysOpen) {
    const UniqueFile held(CreateFileW(other.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);
    EXPECT_EQ(deleteFileUnlessSame(other, source), HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION));
    EXPECT_TRUE(exists(other));
}

TEST_F(FilesTest, WaitsForAFileToReplaceThatIsOpenForAMoment) {
    for (const DWORD share : {DWORD{0}, DWORD{FILE_SHARE_READ}}) {
        writeBytes(inFolder(L"new.mp4"), {'n'});
        UniqueFile held(
            CreateFileW(other.c_str(), GENERIC_READ, share, nullptr, OPEN_EXISTING, 0, nullptr));
        ASSERT_TRUE(held);
        std::thread holder([&] {
            Sleep(120);
            held.reset();
        });
        EXPECT_EQ(replaceFileUnlessSame(inFolder(L"new.mp4"), other, source), S_OK);
        holder.join();
        EXPECT_EQ(bytesOf(other), std::vector<char>{'n'});
    }
}

// A scanner that lets go after a while. Here the time itself is what is tested.
TEST_F(FilesTest, WaitsForAFileThatIsOpenForAMoment) {
    UniqueFile held(CreateFileW(other.c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                OPEN_EXISTING, 0, nullptr));
    ASSERT_TRUE(held);
    std::thread holder([&] {
        Sleep(120);
        held.reset();
    });
    EXPECT_EQ(deleteFileUnlessSame(other, source), S_OK);
    EXPECT_FALSE(exists(other));
    holder.join();
}

} // namespace
} // namespace velkantrix
