// The fonts' faces where the system has those that are preferred. A program of its own: they are
// chosen once in each process.
#include <windows.h>

#include <string>

#include <gtest/gtest.h>

#include "app/fonts.h"
#include "tests/windows/replaced_import.h"

extern "C" decltype(&GetTextFaceW) __imp_GetTextFaceW;

namespace velkantrix {
namespace {

// A system that has every face.
int WINAPI wantedFace(HDC dc, int room, LPWSTR face) {
    LOGFONTW wanted = {};
    GetObjectW(GetCurrentObject(dc, OBJ_FONT), sizeof wanted, &wanted);
    lstrcpynW(face, wanted.lfFaceName, room);
    return lstrlenW(face) + 1;
}

std::wstring faceOf(Font which) {
    LOGFONTW made = {};
    EXPECT_EQ(GetObjectW(font(which), sizeof made, &made), static_cast<int>(sizeof made));
    return made.lfFaceName;
}

TEST(PreferredFaces, AreUsedWhereTheSystemHasThem) {
    const ReplacedImport<decltype(&GetTextFaceW)> replaced(__imp_GetTextFaceW, wantedFace);
    EXPECT_EQ(faceOf(Font::Heading), L"Segoe UI Variable Display");
    EXPECT_EQ(faceOf(Font::Monospace), L"Consolas");
    EXPECT_EQ(faceOf(Font::Text), L"Segoe UI Variable Text");
    EXPECT_EQ(faceOf(Font::Hero), L"Segoe UI Variable Display");
    EXPECT_EQ(faceOf(Font::Icons), L"Segoe Fluent Icons");
    deleteFonts();
}

} // namespace
} // namespace velkantrix
