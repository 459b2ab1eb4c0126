// The colours as the system takes them, written out: red is the lowest byte.
#include "app/palette.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

TEST(Palette, HasItsColours) {
    EXPECT_EQ(TITLE_BAR, 0x000F1415u);
    EXPECT_EQ(TITLE_TEXT, 0x00E2EBEDu);
    EXPECT_EQ(BACKGROUND, 0x00101516u);
    EXPECT_EQ(BAR, 0x00161C1Eu);
    EXPECT_EQ(BAR_EDGE, 0x002A3133u);
    EXPECT_EQ(ACCENT, 0x00455BE2u);
    EXPECT_EQ(PRIMARY_TEXT, 0x00E2EBEDu);
    EXPECT_EQ(SECONDARY_TEXT, 0x008A949Au);
    EXPECT_EQ(FAINT_TEXT, 0x0060696Eu);
    EXPECT_EQ(DIAGNOSTICS_TEXT, 0x0094A2A8u);
    EXPECT_EQ(MENU_BAR, 0x000F1415u);
    EXPECT_EQ(MENU_HOT_ITEM, 0x00202830u);
    EXPECT_EQ(MENU_TEXT, 0x00E2EBEDu);
    EXPECT_EQ(MENU_INACTIVE_TEXT, 0x008A949Au);
    EXPECT_EQ(MENU_DISABLED_TEXT, 0x0060696Eu);
}

} // namespace
} // namespace velkantrix
