#include "edit/clip_geometry.h"

#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

// Ten seconds of edited time on a hundred pixels, 3 + 1 + 6: cuts at x = 130 and 140.
const ClipList CLIPS{clip(2, 5), clip(5, 6), clip(9, 15)};
const PixelRect TRACK{100, 50, 200, 90};

class ClipGeometryTest : public EditTest {};

TEST_F(ClipGeometryTest, ClipsCoverTheTrackInProportion) {
    load(20, CLIPS);
    EXPECT_EQ(clipRect(TRACK, 0), (PixelRect{100, 50, 130, 90}));
    EXPECT_EQ(clipRect(TRACK, 1), (PixelRect{130, 50, 140, 90}));
    EXPECT_EQ(clipRect(TRACK, 2), (PixelRect{140, 50, 200, 90}));
}

TEST_F(ClipGeometryTest, EndsAreTruncatedToWholePixels) {
    const ClipList thirds{clip(0, 1), clip(1, 2), clip(2, 3)};
    // 33 and 66 pixels from the left edge: left of 0, cutting their sum instead would give -16.
    EXPECT_EQ(clipRect(thirds, {-50, 0, 50, 10}, 0), (PixelRect{-50, 0, -17, 10}));
    EXPECT_EQ(clipRect(thirds, {-50, 0, 50, 10}, 1), (PixelRect{-17, 0, 16, 10}));
    EXPECT_EQ(clipRect(thirds, {-50, 0, 50, 10}, 2), (PixelRect{16, 0, 50, 10}));
}

// In doubles, 49 * (1.0 / 49) is a hair less than 1, but 49 * 1.0 / 49 is 1.
TEST_F(ClipGeometryTest, TheShareIsTakenBeforeTheWidth) {
    ClipList clips;
    for (int i = 0; i < 49; ++i) clips.push_back(clip(i, i + 1));
    const PixelRect track{0, 0, 49, 10};
    EXPECT_EQ(clipRect(clips, track, 0), (PixelRect{0, 0, 0, 10}));
    EXPECT_EQ(clipRect(clips, track, 1), (PixelRect{0, 0, 1, 10}));
    EXPECT_EQ(clipRect(clips, track, 2), (PixelRect{1, 0, 3, 10}));
    EXPECT_EQ(clipRect(clips, track, 48).right, 49);
    EXPECT_EQ(clipAtX(clips, track, 0), 1);
}

TEST_F(ClipGeometryTest, AllRectsAtOnceAreTheSame) {
    ClipList many;
    for (int i = 0; i < 200; ++i) many.push_back(clip(i, i + 0.05 + 0.13 * (i % 7)));
    const std::vector<PixelRect> rects = clipRects(many, TRACK);
    ASSERT_EQ(rects.size(), many.size());
    for (std::int32_t i = 0; i < 200; ++i) {
        EXPECT_EQ(rects[static_cast<std::size_t>(i)], clipRect(many, TRACK, i)) << i;
    }
    EXPECT_EQ(rects.front().left, TRACK.left);
    EXPECT_EQ(rects.back().right, TRACK.right);
}

TEST_F(ClipGeometryTest, WhereNothingIsShownRectsAreEmpty) {
    EXPECT_TRUE(clipRect(CLIPS, {}, 0).empty());
    EXPECT_TRUE(clipRect(CLIPS, {200, 50, 100, 90}, 0).empty());
    EXPECT_TRUE(clipRect(ClipList{}, TRACK, 0).empty());
    EXPECT_TRUE(clipRect({clip(0, 0)}, TRACK, 0).empty());
    EXPECT_TRUE(clipRects({clip(0, 0)}, TRACK)[0].empty());
    for (const std::int32_t i : {-1, 3, LOWEST, HIGHEST}) {
        EXPECT_TRUE(clipRect(CLIPS, TRACK, i).empty()) << i;
    }
}

TEST_F(ClipGeometryTest, TheClipAtXIncludesItsLeftEdgeOnly) {
    struct Row {
        std::int32_t x;
        std::int32_t clip;
    };
    load(20, CLIPS);
    for (const Row& row : {Row{100, 0}, Row{129, 0}, Row{130, 1}, Row{139, 1}, Row{140, 2},
                           Row{199, 2}, Row{200, 2}, Row{99, 2}, Row{LOWEST, 2}, Row{HIGHEST, 2}}) {
        EXPECT_EQ(clipAtX(TRACK, row.x), row.clip) << row.x;
    }
}

TEST_F(ClipGeometryTest, AClipWithoutPixelsIsNeverHit) {
    const ClipList clips{clip(0, 50), clip(50, 50.05), clip(50.05, 100)};
    EXPECT_TRUE(clipRect(clips, TRACK, 1).empty());
    EXPECT_EQ(clipAtX(clips, TRACK, 150), 2);
}

TEST_F(ClipGeometryTest, WithoutATrackTheLastClipIsHitWithoutClipsNone) {
    EXPECT_EQ(clipAtX(CLIPS, {}, 0), 2);
    EXPECT_EQ(clipAtX({clip(0, 0)}, TRACK, 150), 0);
    EXPECT_EQ(clipAtX(TRACK, 150), -1);
}

TEST_F(ClipGeometryTest, ACutIsHeldWithinSixPixels) {
    struct Row {
        std::int32_t x;
        std::int32_t cut;
    };
    load(20, CLIPS);
    for (const Row& row : {Row{123, -1}, Row{124, 0}, Row{130, 0}, Row{134, 0},
                           Row{135, 0}, // as far from either cut: the first
                           Row{136, 1}, Row{140, 1}, Row{146, 1}, Row{147, -1}, Row{200, -1},
                           Row{LOWEST, -1}, Row{HIGHEST, -1}}) {
        EXPECT_EQ(boundaryAtX(TRACK, 96, row.x, 60), row.cut) << row.x;
    }
}

TEST_F(ClipGeometryTest, ACutIsHeldFromTheTopToFourPixelsBelow) {
    struct Row {
        std::int32_t y;
        std::int32_t cut;
    };
    for (const Row& row : {Row{49, -1}, Row{50, 0}, Row{90, 0}, Row{94, 0}, Row{95, -1},
                           Row{LOWEST, -1}, Row{HIGHEST, -1}}) {
        EXPECT_EQ(boundaryAtX(CLIPS, TRACK, 96, 130, row.y), row.cut) << row.y;
    }
}

TEST_F(ClipGeometryTest, ReachesScaleWithTheDpi) {
    EXPECT_EQ(boundaryAtX(CLIPS, TRACK, 192, 118, 98), 0);
    EXPECT_EQ(boundaryAtX(CLIPS, TRACK, 192, 117, 98), -1);
    EXPECT_EQ(boundaryAtX(CLIPS, TRACK, 192, 118, 99), -1);
}

TEST_F(ClipGeometryTest, WithoutACutNoneIsHit) {
    EXPECT_EQ(boundaryAtX(ClipList{}, TRACK, 96, 130, 60), -1);
    EXPECT_EQ(boundaryAtX({clip(0, 10)}, TRACK, 96, 200, 60), -1);
    EXPECT_EQ(boundaryAtX(CLIPS, {100, 50, 100, 90}, 96, 100, 60), -1);
    EXPECT_EQ(boundaryAtX(CLIPS, TRACK, 0, 131, 60), -1);
    EXPECT_EQ(boundaryAtX(CLIPS, TRACK, -96, 131, 60), -1);
}

TEST_F(ClipGeometryTest, TheWidestTrackDoesNotOverflow) {
    const PixelRect widest{LOWEST, LOWEST, HIGHEST, HIGHEST};
    EXPECT_EQ(clipRect(CLIPS, widest, 2).right, HIGHEST);
    EXPECT_EQ(clipRect(CLIPS, widest, 0).left, LOWEST);
    EXPECT_EQ(clipAtX(CLIPS, widest, HIGHEST - 1), 2);
    EXPECT_EQ(boundaryAtX(CLIPS, widest, HIGHEST, LOWEST, HIGHEST), -1);
}

TEST_F(ClipGeometryTest, LengthsRoundToTheNearestPixel) {
    EXPECT_EQ(scaledPixels(6, 96), 6);
    EXPECT_EQ(scaledPixels(6, 120), 8); // 7.5
    EXPECT_EQ(scaledPixels(4, 144), 6);
    EXPECT_EQ(scaledPixels(1, 143), 1); // 1.49
    EXPECT_EQ(scaledPixels(-6, 120), -8);
    EXPECT_EQ(scaledPixels(6, 0), 0);
    EXPECT_EQ(scaledPixels(HIGHEST, 96), HIGHEST);
    EXPECT_EQ(scaledPixels(HIGHEST, 192), HIGHEST);
    EXPECT_EQ(scaledPixels(LOWEST, 96), LOWEST);
    EXPECT_EQ(scaledPixels(LOWEST, HIGHEST), LOWEST);
}

} // namespace
} // namespace velkantrix
