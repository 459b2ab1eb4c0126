#include "base/long_path.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

// `start` made as long as that.
std::wstring ofLength(const std::wstring& start, std::size_t length) {
    return start + std::wstring(length - start.size(), L'a');
}

TEST(PathOfAnyLength, AShortNameStaysAsItIs) {
    EXPECT_EQ(pathOfAnyLength(L"a.mp4", L"C:\\b\\a.mp4"), L"a.mp4");
    EXPECT_EQ(pathOfAnyLength(L"NUL", L"\\\\.\\NUL"), L"NUL");
    EXPECT_EQ(pathOfAnyLength(L"", L""), L"");
    const std::wstring longest = ofLength(L"C:\\", 247);
    EXPECT_EQ(pathOfAnyLength(longest, longest), longest);
}

TEST(PathOfAnyLength, ALongNameGetsThePrefix) {
    const std::wstring full = ofLength(L"C:\\", 248);
    EXPECT_EQ(pathOfAnyLength(full, full), L"\\\\?\\" + full);
    const std::wstring longest = ofLength(L"C:\\", 32'000);
    EXPECT_EQ(pathOfAnyLength(longest, longest), L"\\\\?\\" + longest);
}

TEST(PathOfAnyLength, TheAbsoluteNameIsWhatCounts) {
    const std::wstring full = ofLength(L"C:\\folder\\", 300);
    EXPECT_EQ(pathOfAnyLength(L"a.mp4", full), L"\\\\?\\" + full);
    EXPECT_EQ(pathOfAnyLength(ofLength(L"C:/folder/../", 300), full), L"\\\\?\\" + full);
    // So many steps up lead to a short one.
    const std::wstring winding = ofLength(L"C:\\", 300) + L"\\..\\a.mp4";
    EXPECT_EQ(pathOfAnyLength(winding, L"C:\\a.mp4"), winding);
}

TEST(PathOfAnyLength, ANameOnAServerGetsThePrefixOfThose) {
    const std::wstring full = ofLength(L"\\\\server\\share\\", 300);
    EXPECT_EQ(pathOfAnyLength(full, full), L"\\\\?\\UNC" + full.substr(1));
    EXPECT_EQ(pathOfAnyLength(full, full).substr(0, 21), L"\\\\?\\UNC\\server\\share\\");
}

TEST(PathOfAnyLength, ANameWithAPrefixStaysAsItIs) {
    for (const wchar_t* const prefix :
         {L"\\\\?\\C:\\", L"\\\\?\\UNC\\server\\share\\", L"\\\\.\\C:\\"}) {
        const std::wstring path = ofLength(prefix, 300);
        EXPECT_EQ(pathOfAnyLength(path, path), path);
        // The system writes such a name so when its slashes lean the other way.
        EXPECT_EQ(pathOfAnyLength(L"//?/C:/a", path), L"//?/C:/a");
    }
}

TEST(PathOfAnyLength, WhatHasNoAbsoluteNameStaysAsItIs) {
    const std::wstring path = ofLength(L"C:\\", 40'000);
    EXPECT_EQ(pathOfAnyLength(path, L""), path);
}

TEST(PathWithoutPrefix, AShortNameIsWrittenAsUsual) {
    EXPECT_EQ(pathWithoutPrefix(L"\\\\?\\C:\\b\\a.mp4"), L"C:\\b\\a.mp4");
    EXPECT_EQ(pathWithoutPrefix(L"\\\\?\\UNC\\server\\share\\a.mp4"), L"\\\\server\\share\\a.mp4");
    const std::wstring longest = ofLength(L"C:\\", 247);
    EXPECT_EQ(pathWithoutPrefix(L"\\\\?\\" + longest), longest);
}

TEST(PathWithoutPrefix, AnyOtherNameStaysAsItIs) {
    const std::wstring tooLong = L"\\\\?\\" + ofLength(L"C:\\", 248);
    for (const std::wstring& path :
         {tooLong, std::wstring(L"C:\\a.mp4"), std::wstring(L"\\\\server\\share\\a.mp4"),
          std::wstring(L"\\\\?\\Volume{1}\\a.mp4"), std::wstring(L"\\\\?\\"),
          std::wstring(L"\\\\?\\C:"), std::wstring()})
        EXPECT_EQ(pathWithoutPrefix(path), path);
}

} // namespace
} // namespace velkantrix
