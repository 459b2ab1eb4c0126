#include "app/about.h"

#include <gtest/gtest.h>

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

} // namespace
} // namespace velkantrix
