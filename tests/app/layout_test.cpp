#include "app/layout.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

const PixelRect MONITOR{0, 0, 1920, 1080};
const PixelRect WORK{0, 0, 1920, 1040};

TEST(LayOutChildren, AWindowHasTheVideoAboveTheTimelineAndTheTransportBelowIt) {
    const ChildLayout layout = layOutChildren({1320, 820}, 96, false, {});
    EXPECT_EQ(layout.video, (PixelRect{24, 24, 1296, 598}));
    EXPECT_EQ(layout.transport, (PixelRect{24, 714, 1296, 776}));
}

TEST(LayOutChildren, LengthsFollowTheDpi) {
    const ChildLayout layout = layOutChildren({1980, 1230}, 144, false, {});
    EXPECT_EQ(layout.video, (PixelRect{36, 36, 1944, 897}));
    EXPECT_EQ(layout.transport, (PixelRect{36, 1071, 1944, 1164}));
}

TEST(LayOutChildren, TheVideoKeepsItsShapeInTheMiddleOfItsArea) {
    EXPECT_EQ(layOutChildren({1320, 820}, 96, false, {640, 640}).video,
              (PixelRect{373, 24, 947, 598}));
    EXPECT_EQ(layOutChildren({1320, 820}, 96, false, {1272, 100}).video,
              (PixelRect{24, 261, 1296, 361}));
}

TEST(LayOutChildren, TheVideosAreaHasALeastHeight) {
    EXPECT_EQ(layOutChildren({1320, 300}, 96, false, {}).video, (PixelRect{24, 24, 1296, 204}));
    EXPECT_EQ(layOutChildren({1320, 426}, 96, false, {}).video, (PixelRect{24, 24, 1296, 204}));
    EXPECT_EQ(layOutChildren({1320, 427}, 96, false, {}).video, (PixelRect{24, 24, 1296, 205}));
}

TEST(LayOutChildren, FullscreenIsAllVideoWithTheTransportOverIt) {
    const ChildLayout layout = layOutChildren({1920, 1080}, 96, true, {1920, 1080});
    EXPECT_EQ(layout.video, (PixelRect{0, 0, 1920, 1080}));
    EXPECT_EQ(layout.transport, (PixelRect{510, 994, 1410, 1056}));
}

TEST(LayOutChildren, InANarrowFullscreenTheTransportKeepsItsMargins) {
    EXPECT_EQ(layOutChildren({800, 600}, 96, true, {}).transport, (PixelRect{24, 514, 776, 576}));
    EXPECT_EQ(layOutChildren({948, 600}, 96, true, {}).transport, (PixelRect{24, 514, 924, 576}));
}

TEST(LayOutChildren, InFullscreenLengthsFollowTheDpiAsWell) {
    EXPECT_EQ(layOutChildren({2880, 1620}, 144, true, {}).transport,
              (PixelRect{765, 1491, 2115, 1584}));
    EXPECT_EQ(layOutChildren({1200, 900}, 144, true, {}).transport,
              (PixelRect{36, 771, 1164, 864}));
}

// Though what is calculated for that side may come out as a little less than a whole number.
TEST(LayOutChildren, TheSideThatLimitsTheVideoIsFilledWhole) {
    EXPECT_EQ(layOutChildren({1920, 1080}, 96, true, {854, 480}).video,
              (PixelRect{0, 0, 1920, 1079}));
    EXPECT_EQ(layOutChildren({1920, 1080}, 96, true, {480, 535}).video,
              (PixelRect{476, 0, 1444, 1080}));
}

// In the area of 1272 by 574 it is 698.78 pixels wide.
TEST(LayOutChildren, PartsOfAPixelAreCutOff) {
    EXPECT_EQ(layOutChildren({1320, 820}, 96, false, {700, 575}).video,
              (PixelRect{311, 24, 1009, 598}));
}

TEST(LayOutChildren, NothingIsSmallerThanAPixel) {
    for (const PixelSize client :
         {PixelSize{0, 0}, PixelSize{1, 1}, PixelSize{47, 10}, PixelSize{48, 10}}) {
        for (const bool fullscreen : {false, true}) {
            const ChildLayout layout = layOutChildren(client, 96, fullscreen, {10'000, 1});
            for (const PixelRect& rect : {layout.video, layout.transport}) {
                EXPECT_GE(rect.right - rect.left, 1);
                EXPECT_GE(rect.bottom - rect.top, 1);
            }
        }
    }
}

TEST(ClientSizeForVideo, HasRoomForTheVideoAndWhatIsAroundIt) {
    EXPECT_EQ(clientSizeForVideo({640, 360}, false, 96), (PixelSize{688, 606}));
    EXPECT_EQ(clientSizeForVideo({640, 360}, true, 96), (PixelSize{1328, 966}));
    EXPECT_EQ(clientSizeForVideo({640, 360}, false, 144), (PixelSize{712, 729}));
}

TEST(ClientSizeForVideo, StaysWithinWhatAWindowCanHave) {
    const PixelSize size = clientSizeForVideo({2147483647, 2147483647}, true, 960);
    EXPECT_GT(size.width, 100'000);
    EXPECT_GT(size.height, 100'000);
}

TEST(PlaceInWorkArea, TheMiddleStaysWhereItWas) {
    EXPECT_EQ(placeInWorkArea({600, 400}, {500, 300, 1300, 900}, WORK),
              (PixelRect{600, 400, 1200, 800}));
}

TEST(PlaceInWorkArea, AWindowLargerThanTheWorkAreaIsCutToIt) {
    EXPECT_EQ(placeInWorkArea({4000, 3000}, {500, 300, 1300, 900}, WORK), WORK);
}

TEST(PlaceInWorkArea, AWindowIsPulledBackFromEveryEdge) {
    EXPECT_EQ(placeInWorkArea({600, 400}, {1700, 900, 1900, 1000}, WORK),
              (PixelRect{1320, 640, 1920, 1040}));
    EXPECT_EQ(placeInWorkArea({600, 400}, {0, 0, 100, 100}, WORK), (PixelRect{0, 0, 600, 400}));
}

TEST(PlaceInWorkArea, AWorkAreaMayLieAnywhere) {
    const PixelRect left{-1920, 40, 0, 1080};
    EXPECT_EQ(placeInWorkArea({600, 400}, {-2000, 0, -1900, 100}, left),
              (PixelRect{-1920, 40, -1320, 440}));
    EXPECT_EQ(placeInWorkArea({2000, 400}, {-100, 1000, 100, 1080}, left),
              (PixelRect{-1920, 680, 0, 1080}));
}

TEST(FirstPlacement, IsInTheMiddleOfTheWorkArea) {
    EXPECT_EQ(firstPlacement(WORK, 96), (PixelRect{300, 110, 1620, 930}));
}

TEST(FirstPlacement, IsScaled) {
    const PixelRect place = firstPlacement({0, 0, 2560, 1400}, 144);
    EXPECT_EQ(place, (PixelRect{290, 85, 2270, 1315}));
}

TEST(FirstPlacement, IsNoLargerThanTheWorkArea) {
    EXPECT_EQ(firstPlacement({0, 40, 1024, 768}, 96), (PixelRect{0, 40, 1024, 768}));
    EXPECT_EQ(firstPlacement({0, 0, 1920, 728}, 96), (PixelRect{300, 0, 1620, 728}));
}

TEST(WithinReach, AWindowWhoseTitleCanBeGrabbedStaysWhereItWas) {
    for (const PixelRect& window :
         {PixelRect{100, 100, 900, 700}, PixelRect{-736, 0, 64, 600}, PixelRect{1856, 0, 2656, 600},
          PixelRect{100, -16, 900, 584}, PixelRect{100, 1024, 900, 1624},
          PixelRect{-100, 0, 4000, 3000}})
        EXPECT_EQ(withinReach(window, MONITOR, WORK), window);
}

TEST(WithinReach, AnyOtherIsMovedIntoTheWorkArea) {
    EXPECT_EQ(withinReach({-737, 0, 63, 600}, MONITOR, WORK), (PixelRect{0, 0, 800, 600}));
    EXPECT_EQ(withinReach({1857, 0, 2657, 600}, MONITOR, WORK), (PixelRect{1120, 0, 1920, 600}));
    EXPECT_EQ(withinReach({100, -17, 900, 583}, MONITOR, WORK), (PixelRect{100, 0, 900, 600}));
    EXPECT_EQ(withinReach({100, 1025, 900, 1625}, MONITOR, WORK), (PixelRect{100, 440, 900, 1040}));
    EXPECT_EQ(withinReach({-20000, -20000, 1, 1}, MONITOR, WORK), WORK);
    EXPECT_EQ(withinReach({2147480000, 0, 2147481000, 700}, MONITOR, WORK),
              (PixelRect{920, 0, 1920, 700}));
    EXPECT_EQ(withinReach({2147483000, 2147483000, 2147483647, 2147483647}, MONITOR, WORK),
              (PixelRect{1273, 393, 1920, 1040}));
}

// A bar at the top or the left of a second monitor: what is stored as its corner is behind the bar.
TEST(WithinReach, PlacesAreCountedFromTheWorkAreasCorner) {
    const PixelRect second{1920, -200, 4480, 1240};
    const PixelRect behindTop{1920, -140, 4480, 1240};
    const PixelRect behindLeft{2020, -200, 4480, 1240};
    const PixelRect corner{1920, -200, 2720, 400};
    EXPECT_EQ(withinReach(corner, second, behindTop), corner);
    EXPECT_EQ(withinReach(corner, second, behindLeft), corner);
    EXPECT_EQ(withinReach({5000, -200, 5800, 400}, second, behindLeft),
              (PixelRect{3580, -200, 4380, 400}));
    EXPECT_EQ(withinReach({1920, 2000, 2720, 2600}, second, behindTop),
              (PixelRect{1920, 580, 2720, 1180}));
}

} // namespace
} // namespace velkantrix
