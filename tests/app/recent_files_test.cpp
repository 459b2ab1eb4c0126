#include "app/recent_files.h"

#include <cwctype>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velkantrix {
namespace {

using testing::ElementsAre;

bool same(const std::wstring& a, const std::wstring& b) {
    return std::ranges::equal(a, b, [](wchar_t x, wchar_t y) {
        return std::towlower(static_cast<std::wint_t>(x)) ==
               std::towlower(static_cast<std::wint_t>(y));
    });
}

TEST(RecentFilesList, TheNewestIsTheFirst) {
    RecentFiles files;
    addRecent(files, L"C:\\a.mp4", same);
    addRecent(files, L"C:\\b.mp4", same);
    EXPECT_THAT(files, ElementsAre(L"C:\\b.mp4", L"C:\\a.mp4"));
}

TEST(RecentFilesList, AFileIsThereOnce) {
    RecentFiles files{L"C:\\b.mp4", L"C:\\a.mp4"};
    addRecent(files, L"c:\\A.MP4", same);
    EXPECT_THAT(files, ElementsAre(L"c:\\A.MP4", L"C:\\b.mp4"));
}

TEST(RecentFilesList, TheEleventhPushesTheOldestOut) {
    RecentFiles files;
    for (int i = 0; i < 11; ++i) addRecent(files, std::to_wstring(i), same);
    EXPECT_EQ(files.size(), 10u);
    EXPECT_EQ(files.front(), L"10");
    EXPECT_EQ(files.back(), L"1");
}

TEST(RecentFilesList, AFileOfAFullListPushesNoOtherOut) {
    RecentFiles files;
    for (int i = 0; i < 10; ++i) addRecent(files, std::to_wstring(i), same);
    addRecent(files, L"0", same);
    EXPECT_THAT(files, ElementsAre(L"0", L"9", L"8", L"7", L"6", L"5", L"4", L"3", L"2", L"1"));
}

TEST(RecentFilesList, AFileThatIsGoneLeaves) {
    RecentFiles files{L"C:\\b.mp4", L"C:\\a.mp4"};
    removeRecent(files, L"c:\\B.mp4", same);
    EXPECT_THAT(files, ElementsAre(L"C:\\a.mp4"));
    removeRecent(files, L"C:\\c.mp4", same);
    EXPECT_THAT(files, ElementsAre(L"C:\\a.mp4"));
}

} // namespace
} // namespace velkantrix
