// What only Windows has: devices with names that look like files, and what a handle forbids others.
#include "mp4/input_file.h"

#include <windows.h>

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

} // namespace
} // namespace velkantrix
