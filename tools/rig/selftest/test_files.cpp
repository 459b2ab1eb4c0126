// test_files.cpp: the sink writer and its file: sharing, missing folders, full and read-only disks.
// Where the disks for that couldn't be made, their tests are skipped; ctest says so, for they are a
// test of its own to it.
#include "media.h"
#include <cstdlib>

namespace {

std::wstring onDisk(const char* variable, const wchar_t* name) {
    const char* folder = getenv(variable);
    return folder ? windowsPath(folder) + L"\\" + name : L"";
}

HRESULT createWriter(const std::wstring& path, Com<IMFSinkWriter>& writer) {
    return MFCreateSinkWriterFromURL(path.c_str(), nullptr, nullptr, writer.put());
}

// A writer for copies of the fixture's coded pictures.
HRESULT beginCopy(const std::wstring& path, Com<IMFSinkWriter>& writer) {
    Com<IMFMediaType> type;
    DWORD stream = 0;
    HRESULT hr = openReader(fixture(L"plain.mp4"))->GetNativeMediaType(VIDEO, 0, type.put());
    if (SUCCEEDED(hr)) hr = createWriter(path, writer);
    if (SUCCEEDED(hr)) hr = writer->AddStream(type.get(), &stream);
    if (SUCCEEDED(hr)) hr = writer->SetInputMediaType(stream, type.get(), nullptr);
    return SUCCEEDED(hr) ? writer->BeginWriting() : hr;
}

AccessUnit bigUnit(int number) {
    AccessUnit unit;
    unit.data.assign(1 << 20, 0x55);
    const BYTE start[] = {0, 0, 0, 1, 0x65};
    std::copy(std::begin(start), std::end(start), unit.data.begin());
    unit.time = unit.decodeTime = timeOfFrame(number);
    unit.duration = timeOfFrame(1);
    unit.key = true;
    return unit;
}

class Files : public MediaTest {};
class Disks : public MediaTest {};

TEST_F(Files, AnOpenOutputCannotBeDeletedUntilItsWriterIsReleased) {
    auto path = output(L"held.mp4");
    Com<IMFSinkWriter> writer;
    ASSERT_OK(beginCopy(path, writer));
    for (auto& unit : loadAccessUnits()) ASSERT_OK(writer->WriteSample(0, sampleOf(unit).get()));
    EXPECT_FALSE(DeleteFileW(path.c_str()));
    EXPECT_EQ(GetLastError(), DWORD(ERROR_SHARING_VIOLATION));
    ASSERT_OK(writer->Finalize());
    EXPECT_FALSE(DeleteFileW(path.c_str()));
    writer.reset();
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

TEST_F(Files, AnUnfinishedOutputCanBeDeletedAfterRelease) {
    auto path = output(L"unfinished.mp4");
    Com<IMFSinkWriter> writer;
    ASSERT_OK(beginCopy(path, writer));
    ASSERT_OK(writer->WriteSample(0, sampleOf(bigUnit(0)).get()));
    writer.reset();
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

TEST_F(Files, AnOutputThatAnotherHoldsIsASharingViolation) {
    auto path = output(L"taken.mp4");
    HANDLE other = CreateFileW(path.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS, 0, nullptr);
    ASSERT_NE(other, INVALID_HANDLE_VALUE);
    Com<IMFSinkWriter> writer;
    EXPECT_EQ(createWriter(path, writer), HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION));
    CloseHandle(other);
    EXPECT_OK(createWriter(path, writer));
}

TEST_F(Files, AMissingFolderIsAPathNotFound) {
    Com<IMFSinkWriter> writer;
    EXPECT_EQ(createWriter(output(L"no such folder\\out.mp4"), writer),
              HRESULT_FROM_WIN32(ERROR_PATH_NOT_FOUND));
}

// What lies before time 0 is decoded and not shown, so it must not move the rest.
TEST_F(Files, NegativeTimesSurvive) {
    constexpr LONGLONG BACK = SECOND / 10;
    auto path = output(L"negative.mp4");
    auto units = loadAccessUnits();
    Com<IMFSinkWriter> writer;
    ASSERT_EQ(units.size(), size_t(FRAMES));
    ASSERT_OK(beginCopy(path, writer));
    for (auto unit : units) {
        unit.time -= BACK;
        unit.decodeTime -= BACK;
        ASSERT_OK(writer->WriteSample(0, sampleOf(unit).get()));
    }
    ASSERT_OK(writer->Finalize());
    writer.reset();
    auto reader = openReader(path);
    for (auto& unit : units) {
        UINT64 decodeTime = 0;
        Read read = readNext(reader.get(), VIDEO);
        ASSERT_TRUE(read.sample);
        ASSERT_NEAR(read.time, unit.time - BACK, 200);
        if (unit.time == unit.decodeTime) continue;
        ASSERT_OK(read.sample->GetUINT64(MFSampleExtension_DecodeTimestamp, &decodeTime));
        ASSERT_NEAR(static_cast<LONGLONG>(decodeTime), unit.decodeTime - BACK, 200);
    }
}

TEST_F(Disks, AFullDiskIsReportedAndTheFileClosedOnRelease) {
    auto path = onDisk("RIG_SMALL_DISK", L"full.mp4");
    if (path.empty()) GTEST_SKIP() << "no small disk here (RIG_SMALL_DISK is unset)";
    Com<IMFSinkWriter> writer;
    ASSERT_OK(beginCopy(path, writer));
    HRESULT hr = S_OK;
    int written = 0;
    for (; SUCCEEDED(hr) && written < 40; written++) {
        hr = writer->WriteSample(0, sampleOf(bigUnit(written)).get());
    }
    EXPECT_EQ(hr, HRESULT_FROM_WIN32(ERROR_DISK_FULL));
    EXPECT_GE(written, 10);
    EXPECT_LE(written, 18);
    EXPECT_EQ(writer->WriteSample(0, sampleOf(bigUnit(50)).get()),
              HRESULT_FROM_WIN32(ERROR_DISK_FULL));
    EXPECT_EQ(writer->Finalize(), HRESULT_FROM_WIN32(ERROR_DISK_FULL));
    writer.reset();
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

TEST_F(Disks, ADiskThatIsFullOnlyAtTheEndIsReportedByFinalize) {
    auto path = onDisk("RIG_SMALL_DISK", L"almost.mp4"),
         filler = onDisk("RIG_SMALL_DISK", L"filler");
    if (path.empty()) GTEST_SKIP() << "no small disk here (RIG_SMALL_DISK is unset)";
    Com<IMFSinkWriter> writer;
    ASSERT_OK(beginCopy(path, writer));
    AccessUnit unit = bigUnit(0);
    unit.data.resize(100000); // less than is gathered before a write
    ASSERT_OK(writer->WriteSample(0, sampleOf(unit).get()));
    HANDLE file = CreateFileW(filler.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_ALWAYS,
                              FILE_FLAG_DELETE_ON_CLOSE, nullptr);
    std::vector<BYTE> bytes(4096);
    DWORD count = 0;
    while (WriteFile(file, bytes.data(), static_cast<DWORD>(bytes.size()), &count, nullptr)) {}
    EXPECT_EQ(GetLastError(), DWORD(ERROR_DISK_FULL));
    EXPECT_EQ(writer->Finalize(), HRESULT_FROM_WIN32(ERROR_DISK_FULL));
    CloseHandle(file);
    writer.reset();
    EXPECT_TRUE(DeleteFileW(path.c_str()));
}

TEST_F(Disks, TheSmallDiskTellsItsSize) {
    const char* folder = getenv("RIG_SMALL_DISK");
    if (!folder) GTEST_SKIP() << "no small disk here (RIG_SMALL_DISK is unset)";
    ULARGE_INTEGER available, total, freeBytes;
    ASSERT_TRUE(GetDiskFreeSpaceExW(windowsPath(folder).c_str(), &available, &total, &freeBytes));
    EXPECT_EQ(total.QuadPart, 16ull << 20);
    EXPECT_GT(available.QuadPart, 15ull << 20);
}

// Of a protected disk Windows says ERROR_WRITE_PROTECT or ERROR_ACCESS_DENIED; Wine says the
// latter. (Wine's DeleteFile claims success there, and the file stays.)
TEST_F(Disks, AReadOnlyDiskTakesNoFile) {
    auto path = onDisk("RIG_READ_ONLY", L"new.mp4"), old = onDisk("RIG_READ_ONLY", L"readme.txt");
    if (path.empty()) GTEST_SKIP() << "no read-only disk here (RIG_READ_ONLY is unset)";
    auto errorOf = [](const std::wstring& name, DWORD access, DWORD how) -> DWORD {
        HANDLE file = CreateFileW(name.c_str(), access, FILE_SHARE_READ, nullptr, how, 0, nullptr);
        DWORD error = GetLastError();
        if (file == INVALID_HANDLE_VALUE) return error;
        CloseHandle(file);
        return ERROR_SUCCESS;
    };
    EXPECT_EQ(errorOf(old, GENERIC_READ, OPEN_EXISTING), DWORD(ERROR_SUCCESS));
    EXPECT_EQ(errorOf(path, GENERIC_WRITE, CREATE_ALWAYS), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_EQ(errorOf(old, GENERIC_WRITE, OPEN_EXISTING), DWORD(ERROR_ACCESS_DENIED));
    EXPECT_FALSE(MoveFileW(old.c_str(), path.c_str()));
    EXPECT_FALSE(MoveFileExW(output(L"small1.mp4").c_str(), path.c_str(), MOVEFILE_COPY_ALLOWED));
    DeleteFileW(old.c_str());
    EXPECT_NE(GetFileAttributesW(old.c_str()), INVALID_FILE_ATTRIBUTES);
    Com<IMFSinkWriter> writer;
    EXPECT_EQ(createWriter(path, writer), HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED));
}

} // namespace
