#include "app/timeline_layout.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

const PixelRect TRACK_1000{28, 606, 1028, 706};
const ClipList CLIPS{{.start = 0, .end = 4}, {.start = 6, .end = 10}, {.start = 20, .end = 22}};

TEST(TimelineRect, LiesAboveTheTransportBar) {
    EXPECT_EQ(timelineRect({1320, 820}, 96, false), (PixelRect{28, 606, 1292, 706}));
    EXPECT_EQ(timelineRect({1980, 1230}, 144, false), (PixelRect{42, 909, 1938, 1059}));
    EXPECT_EQ(timelineRect({2640, 1640}, 192, false), (PixelRect{56, 1212, 2584, 1412}));
}

TEST(TimelineRect, IsEmptyInFullscreenAndInTinyWindows) {
    EXPECT_EQ(timelineRect({1920, 1080}, 96, true), PixelRect{});
    EXPECT_EQ(timelineRect({56, 820}, 96, false), PixelRect{});
    EXPECT_EQ(timelineRect({1, 1}, 96, false), PixelRect{});
    EXPECT_FALSE(timelineRect({57, 820}, 96, false).empty());
}

TEST(LabelRect, StandsAtTheClipsTopLeft) {
    EXPECT_EQ(labelRect({100, 606, 400, 706}, 96), (PixelRect{106, 609, 270, 634}));
    EXPECT_EQ(labelRect({100, 606, 400, 706}, 192), (PixelRect{112, 612, 392, 662}));
}

TEST(LabelRect, EndsWithItsClip) {
    EXPECT_EQ(labelRect({100, 606, 200, 706}, 96), (PixelRect{106, 609, 196, 634}));
    EXPECT_EQ(labelRect({100, 606, 174, 706}, 96).right, 170);
    EXPECT_EQ(labelRect({100, 606, 110, 706}, 96), PixelRect{});
    EXPECT_FALSE(labelRect({100, 606, 111, 706}, 96).empty());
    EXPECT_EQ(labelRect({100, 606, 100, 706}, 96), PixelRect{});
}

TEST(ClampedX, StaysOnTheTrack) {
    EXPECT_EQ(clampedX(TRACK_1000, 27), 28);
    EXPECT_EQ(clampedX(TRACK_1000, 500), 500);
    EXPECT_EQ(clampedX(TRACK_1000, 1029), 1028);
}

TEST(IsInside, LeftAndTopBelongToARectangle) {
    EXPECT_TRUE(isInside(TRACK_1000, 28, 606));
    EXPECT_TRUE(isInside(TRACK_1000, 1027, 705));
    EXPECT_FALSE(isInside(TRACK_1000, 1028, 650));
    EXPECT_FALSE(isInside(TRACK_1000, 500, 706));
    EXPECT_FALSE(isInside(TRACK_1000, 27, 650));
    EXPECT_FALSE(isInside({}, 0, 0));
}

TEST(EditedTimeAtX, IsTheShareOfTheWidth) {
    EXPECT_EQ(editedTimeAtX(TRACK_1000, 10, 28), 0);
    EXPECT_EQ(editedTimeAtX(TRACK_1000, 10, 528), 5);
    EXPECT_EQ(editedTimeAtX(TRACK_1000, 10, 1028), 10);
}

TEST(EditedTimeAtX, StaysWithinWhatIsKept) {
    EXPECT_EQ(editedTimeAtX(TRACK_1000, 10, 0), 0);
    EXPECT_EQ(editedTimeAtX(TRACK_1000, 10, 5000), 10);
    EXPECT_EQ(editedTimeAtX(TRACK_1000, 0, 500), 0);
}

TEST(EditedTimeAtX, ATrackWithoutWidthCountsAsAPixel) {
    EXPECT_EQ(editedTimeAtX({28, 0, 28, 10}, 10, 28), 0);
    EXPECT_EQ(editedTimeAtX({28, 0, 28, 10}, 10, 29), 10);
}

TEST(SourcePlaceAtX, IsTheFirstClipWhoseEndReachesThePoint) {
    EXPECT_EQ(sourcePlaceAtX(CLIPS, TRACK_1000, 28), (SourcePlace{0, 0}));
    EXPECT_EQ(sourcePlaceAtX(CLIPS, TRACK_1000, 328), (SourcePlace{0, 3}));
    EXPECT_EQ(sourcePlaceAtX(CLIPS, TRACK_1000, 428), (SourcePlace{0, 4}));
    EXPECT_EQ(sourcePlaceAtX(CLIPS, TRACK_1000, 528), (SourcePlace{1, 7}));
    EXPECT_EQ(sourcePlaceAtX(CLIPS, TRACK_1000, 5000), (SourcePlace{2, 22}));
    EXPECT_EQ(sourcePlaceAtX({}, TRACK_1000, 500), (SourcePlace{-1, 0}));
}

TEST(PlayheadX, CutsToWholePixels) {
    EXPECT_EQ(playheadX(TRACK_1000, 10, 0), 28);
    EXPECT_EQ(playheadX(TRACK_1000, 10, 5.0099), 528);
    EXPECT_EQ(playheadX(TRACK_1000, 10, 10), 1028);
    // In doubles, 49 * (1.0 / 49) is a hair less than 1.
    EXPECT_EQ(playheadX({0, 0, 49, 10}, 49, 1), 1);
}

TEST(PlayheadX, WithoutAnythingKeptItStandsAtTheLeft) {
    EXPECT_EQ(playheadX(TRACK_1000, 0, 0), 28);
    EXPECT_EQ(playheadX(TRACK_1000, 10, 12), 1028);
    EXPECT_EQ(playheadX(TRACK_1000, 10, -1), 28);
}

} // namespace
} // namespace velkantrix
