// What only Windows has: devices with names that look like files, what a handle forbids others, and
// names that are too long unless they have another form.
#include "mp4/input_file.h"

#include <windows.h>

#include <algorithm>
#include <filesystem>
#include <string>
#include <vector>

#include <gtest/gtest.h>

#include "mp4/probe.h"
#include "tests/support/mp4_boxes.h"
#include "tests/support/temp_file.h"

namespace velkantrix {
namespace {

TEST(Devices, AreNoFiles) {
    EXPECT_FALSE(OpenForRandomAccess(L"NUL"));
    EXPECT_FALSE(openForSequentialScan(L"NUL"));
    EXPECT_EQ(ProbeFile(L"NUL"), ProbeResult{});
}

TEST(OpenFiles, OneThatNobodyElseMayReadIsNone) {
    const TempFile temp(ftyp());
    HANDLE const only = CreateFileW(temp.path().c_str(), GENERIC_READ, 0, nullptr, OPEN_EXISTING,
                                    FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(only, INVALID_HANDLE_VALUE);
    EXPECT_FALSE(OpenForRandomAccess(temp.path()));
    EXPECT_EQ(ProbeFile(temp.path()), ProbeResult{});
    EXPECT_EQ(fileSizeFromAttributes(temp.path()), ftyp().size()); // its attributes
    CloseHandle(only);
    EXPECT_TRUE(OpenForRandomAccess(temp.path()));
}

TEST(OpenFiles, OneThatNobodyElseMayWriteIsRead) {
    const TempFile temp(ftyp());
    HANDLE const only = CreateFileW(temp.path().c_str(), GENERIC_READ, FILE_SHARE_READ, nullptr,
                                    OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL, nullptr);
    ASSERT_NE(only, INVALID_HANDLE_VALUE);
    EXPECT_TRUE(OpenForRandomAccess(temp.path()));
    EXPECT_TRUE(openForSequentialScan(temp.path()));
    CloseHandle(only);
}

TEST(OpenFiles, AreNotRemovedByOthers) {
    const TempFile temp(ftyp());
    {
        const InputFile file = OpenForRandomAccess(temp.path());
        EXPECT_FALSE(DeleteFileW(temp.path().c_str()));
        EXPECT_EQ(GetLastError(), DWORD{ERROR_SHARING_VIOLATION});
    }
    EXPECT_TRUE(DeleteFileW(temp.path().c_str()));
}

// ---- long names

// A file in folders whose names alone are longer than MAX_PATH. They are made by the form of names
// that no setting of the system limits.
class LongNames : public testing::Test {
protected:
    void SetUp() override {
        std::wstring folder = L"\\\\?\\" + TempFile::unusedPath(L"").native();
        for (int i = 0; i < 3; ++i) {
            if (i > 0) folder += L"\\" + std::wstring(100, L'f');
            ASSERT_TRUE(CreateDirectoryW(folder.c_str(), nullptr));
            folders_.push_back(folder);
        }
        prefixed = folder + L"\\video.mp4";
        plain = prefixed.substr(4);
        HANDLE const file = CreateFileW(prefixed.c_str(), GENERIC_WRITE, 0, nullptr, CREATE_NEW,
                                        FILE_ATTRIBUTE_NORMAL, nullptr);
        ASSERT_NE(file, INVALID_HANDLE_VALUE);
        DWORD written = 0;
        EXPECT_TRUE(WriteFile(file, "seven B", 7, &written, nullptr));
        CloseHandle(file);
        ASSERT_GT(plain.size(), std::size_t{MAX_PATH});
    }

    void TearDown() override {
        DeleteFileW(prefixed.c_str());
        for (auto folder = folders_.rbegin(); folder != folders_.rend(); ++folder) {
            RemoveDirectoryW(folder->c_str());
        }
    }

    static void expectOpens(const std::filesystem::path& path) {
        EXPECT_EQ(OpenForRandomAccess(path).size, 7u) << path;
        EXPECT_EQ(openForSequentialScan(path).size, 7u) << path;
        EXPECT_EQ(fileSizeFromAttributes(path), 7u) << path;
    }

    std::wstring plain, prefixed;

private:
    std::vector<std::wstring> folders_;
};

// Where the system limits no name, as in the rig, this shows only that what it is given is right.
TEST_F(LongNames, AreOpened) {
    expectOpens(plain);
    expectOpens(prefixed);
    std::wstring slashes = plain;
    std::replace(slashes.begin(), slashes.end(), L'\\', L'/');
    expectOpens(slashes);
    expectOpens(plain.substr(0, 3) + L"none\\..\\" + plain.substr(3));
}

TEST_F(LongNames, AreOpenedFromTheFolderInFrontOfThem) {
    const std::filesystem::path before = std::filesystem::current_path();
    std::filesystem::current_path(std::filesystem::temp_directory_path());
    const std::wstring temp = std::filesystem::current_path().native();
    ASSERT_TRUE(plain.starts_with(temp)) << temp.size();
    const std::size_t name = plain.find_first_not_of(L'\\', temp.size());
    expectOpens(plain.substr(name));
    expectOpens(L".\\" + plain.substr(name));
    std::filesystem::current_path(before);
}

TEST_F(LongNames, OfNoFileAreNone) {
    for (const std::wstring& none : {plain + L"x", prefixed + L"x", std::wstring(40'000, L'a')}) {
        EXPECT_FALSE(OpenForRandomAccess(none));
        EXPECT_FALSE(openForSequentialScan(none));
        EXPECT_FALSE(fileSizeFromAttributes(none));
    }
}

} // namespace
} // namespace velkantrix
