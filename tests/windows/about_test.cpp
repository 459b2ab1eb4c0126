#include "app/about.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/windows/replaced_import.h"

extern "C" decltype(&MessageBoxW) __imp_MessageBoxW;

namespace velkantrix {
namespace {

TEST(AboutText, SaysWhatTheProgramIsAndWhose) {
    EXPECT_EQ(aboutText(L"1.2.3"),
              L"Velkantrix  1.2.3\n\nA fast native video cutter. One executable — no installer, no "
              L"dependencies, no network.\n\nQuorndelph\nhttps://quorndelph.example");
}

TEST(AboutText, WithoutAVersionHasNoNumber) {
    EXPECT_EQ(aboutText(L""),
              L"Velkantrix\n\nA fast native video cutter. One executable — no installer, no "
              L"dependencies, no network.\n\nQuorndelph\nhttps://quorndelph.example");
}

// This program has no version resource; the shipped one's is looked at end to end.
TEST(ProgramVersion, WithoutAResourceIsEmpty) {
    EXPECT_EQ(programVersion(), L"");
}

TEST(VersionText, HasTheFirstThreeNumbers) {
    EXPECT_EQ(versionText({.dwFileVersionMS = 0x00010002, .dwFileVersionLS = 0x00030004}),
              L"1.2.3");
    EXPECT_EQ(versionText({.dwFileVersionMS = 0xFFFF0000, .dwFileVersionLS = 0x000A0000}),
              L"65535.0.10");
}

struct Box {
    HWND owner;
    std::wstring text;
    std::wstring title;
    UINT flags;
};

std::vector<Box>& shown() {
    static std::vector<Box> boxes;
    return boxes;
}

int WINAPI note(HWND owner, const wchar_t* text, const wchar_t* title, UINT flags) {
    shown().push_back({owner, text, title, flags});
    return IDOK;
}

TEST(ShowAbout, ShowsAnInformationOfTheWindows) {
    shown().clear();
    const ReplacedImport<decltype(&MessageBoxW)> replaced(__imp_MessageBoxW, note);
    showAbout(GetDesktopWindow());
    ASSERT_EQ(shown().size(), 1u);
    EXPECT_EQ(shown()[0].owner, GetDesktopWindow());
    EXPECT_EQ(shown()[0].title, L"About Velkantrix");
    EXPECT_EQ(shown()[0].text, aboutText(L""));
    EXPECT_EQ(shown()[0].flags, static_cast<UINT>(MB_OK | MB_ICONINFORMATION));
}

} // namespace
} // namespace velkantrix
