#include "edit/clip_name.h"

#include "edit/operations.h"
#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

class ClipNameTest : public EditTest {};

TEST_F(ClipNameTest, LabelsCountFromOneUnlessTheClipHasAName) {
    load(30, {clip(0, 5), clip(5, 9, 0, 0, L"intro"), clip(9, 12)});
    EXPECT_EQ(clipLabel(0), L"CLIP 1");
    EXPECT_EQ(clipLabel(1), L"intro");
    EXPECT_EQ(clipLabel(2), L"CLIP 3");
}

TEST_F(ClipNameTest, NumbersMayHaveTwoDigits) {
    const ClipList twelve(12);
    EXPECT_EQ(clipLabel(twelve, 9), L"CLIP 10");
    EXPECT_EQ(clipLabel(twelve, 11), L"CLIP 12");
}

TEST_F(ClipNameTest, AfterRemovingTheFirstClipTheSecondIsClipOne) {
    load(30, {clip(0, 5), clip(5, 9), clip(9, 12, 0, 0, L"end")});
    removeSelectedClip();
    EXPECT_EQ(clipLabel(0), L"CLIP 1");
    EXPECT_EQ(clipLabel(1), L"end");
}

TEST_F(ClipNameTest, WhereThereIsNoClipThereIsNoLabel) {
    load(30, {clip(0, 5)});
    for (const std::int32_t i : {-1, 1, LOWEST, HIGHEST}) EXPECT_EQ(clipLabel(i), L"") << i;
}

TEST_F(ClipNameTest, WhatFileNamesCannotHoldBecomesADash) {
    EXPECT_EQ(sanitizeFileName(L"a<b>c:d\"e/f\\g|h?i*j"), L"a-b-c-d-e-f-g-h-i-j");
    EXPECT_EQ(sanitizeFileName(L"Straße — 3.5 (final)"), L"Straße — 3.5 (final)");
    EXPECT_EQ(sanitizeFileName(L""), L"");
}

TEST_F(ClipNameTest, BlanksAndDotsGoFromTheEndOnly) {
    EXPECT_EQ(sanitizeFileName(L" .name. . "), L" .name");
    EXPECT_EQ(sanitizeFileName(L"a.b c"), L"a.b c");
    EXPECT_EQ(sanitizeFileName(L". . ."), L"");
    EXPECT_EQ(sanitizeFileName(L"what?"), L"what-");
    EXPECT_EQ(sanitizeFileName(L"tab\t"), L"tab\t");
}

TEST_F(ClipNameTest, TypedNamesLoseTheWhiteSpaceAroundThem) {
    EXPECT_EQ(strippedName(L" \t\r\n\v\f a  b \u3000\u00a0"), L"a  b");
    EXPECT_EQ(strippedName(L"   "), L"");
    EXPECT_EQ(strippedName(L""), L"");
    EXPECT_EQ(strippedName(L"x"), L"x");
}

} // namespace
} // namespace velkantrix
