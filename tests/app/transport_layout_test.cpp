#include "app/transport_layout.h"

#include <limits>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velkantrix {
namespace {

using testing::ElementsAre;
using testing::IsEmpty;
using Controls = std::array<PixelRect, TRANSPORT_CONTROL_COUNT>;

constexpr PixelRect NOT_SHOWN{};

// 96-dpi units: of the least window, of fullscreen, around the border, of large monitors.
constexpr std::int32_t WIDTHS[] = {756, 800, 900, 1000, 1179, 1180, 1181, 1272, 1872, 3792};
constexpr std::int32_t DPIS[] = {96, 120, 144, 192};

bool overlap(const PixelRect& a, const PixelRect& b) {
    return !a.empty() && !b.empty() && a.left < b.right && b.left < a.right && a.top < b.bottom &&
           b.top < a.bottom;
}

// Pairs of controls that share a pixel.
std::vector<std::string> overlaps(const TransportLayout& layout) {
    std::vector<std::string> found;
    for (std::size_t i = 0; i < TRANSPORT_CONTROL_COUNT; ++i) {
        for (std::size_t k = 0; k < i; ++k) {
            if (overlap(layout.controls[i], layout.controls[k]))
                found.push_back(std::to_string(k) + " and " + std::to_string(i));
        }
    }
    return found;
}

std::vector<TransportControl> notShown(const TransportLayout& layout) {
    std::vector<TransportControl> found;
    for (std::size_t i = 0; i < TRANSPORT_CONTROL_COUNT; ++i) {
        if (layout.controls[i].empty()) found.push_back(static_cast<TransportControl>(i));
    }
    return found;
}

template <class Check>
void forEachBar(Check check) {
    for (const std::int32_t dpi : DPIS) {
        for (const std::int32_t units : WIDTHS) {
            SCOPED_TRACE(std::to_string(units) + " units at " + std::to_string(dpi) + " dpi");
            check(scaledPixels(units, dpi), dpi);
        }
    }
}

TEST(LayOutTransport, AWideBarHasTheExposureInItsMiddle) {
    const TransportLayout layout = layOutTransport(1272, 96);
    EXPECT_TRUE(layout.wide);
    EXPECT_EQ(layout.controls, (Controls{{{358, 5, 412, 57},
                                          {412, 5, 472, 57},
                                          {472, 5, 526, 57},
                                          {728, 5, 834, 57},
                                          {838, 5, 954, 57},
                                          {1100, 5, 1140, 57},
                                          {1144, 15, 1254, 47},
                                          {318, 5, 358, 57},
                                          {526, 5, 566, 57},
                                          {582, 5, 622, 57},
                                          {622, 5, 672, 57},
                                          {672, 5, 712, 57},
                                          {1052, 5, 1092, 57}}}));
}

TEST(LayOutTransport, ANarrowBarHasNoExposureAndTheEditingWhereItWas) {
    const TransportLayout layout = layOutTransport(1180, 96);
    EXPECT_FALSE(layout.wide);
    EXPECT_EQ(layout.controls, (Controls{{{385, 5, 439, 57},
                                          {439, 5, 499, 57},
                                          {499, 5, 553, 57},
                                          {609, 5, 715, 57},
                                          {719, 5, 835, 57},
                                          {1008, 5, 1048, 57},
                                          {1052, 15, 1162, 47},
                                          {345, 5, 385, 57},
                                          {553, 5, 593, 57},
                                          NOT_SHOWN,
                                          NOT_SHOWN,
                                          NOT_SHOWN,
                                          {960, 5, 1000, 57}}}));
}

// In the least window it makes way for the sound at the right.
TEST(LayOutTransport, TheMiddleMovesLeftWhereTheSoundNeedsTheRoom) {
    const TransportLayout layout = layOutTransport(756, 96);
    EXPECT_EQ(layout[TRANSPORT_PREVIOUS_FRAME], (PixelRect{34, 5, 74, 57}));
    EXPECT_EQ(layout[TRANSPORT_REMOVE], (PixelRect{408, 5, 524, 57}));
    EXPECT_EQ(layout[TRANSPORT_ZOOM], (PixelRect{536, 5, 576, 57}));
}

TEST(LayOutTransport, LengthsFollowTheDpi) {
    const TransportLayout layout = layOutTransport(1134, 144);
    EXPECT_EQ(layout[TRANSPORT_PREVIOUS_FRAME], (PixelRect{51, 8, 111, 86}));
    EXPECT_EQ(layout[TRANSPORT_VOLUME], (PixelRect{942, 23, 1107, 71}));
    EXPECT_TRUE(layOutTransport(1771, 144).wide);
    EXPECT_FALSE(layOutTransport(1770, 144).wide);
}

TEST(LayOutTransport, NoTwoControlsOverlapAndAllAreWithinTheBar) {
    forEachBar([](std::int32_t width, std::int32_t dpi) {
        const TransportLayout layout = layOutTransport(width, dpi);
        EXPECT_THAT(overlaps(layout), IsEmpty());
        for (const PixelRect& rect : layout.controls) {
            EXPECT_GE(rect.left, 0);
            EXPECT_LE(rect.right, width);
            EXPECT_LE(rect.bottom, scaledPixels(62, dpi));
        }
        if (layout.wide)
            EXPECT_THAT(notShown(layout), IsEmpty());
        else
            EXPECT_THAT(notShown(layout),
                        ElementsAre(TRANSPORT_DARKER, TRANSPORT_EXPOSURE, TRANSPORT_BRIGHTER));
    });
}

TEST(LayOutTransport, TheSoundGivesWayWhereABarIsTooNarrowForAll) {
    EXPECT_TRUE(layOutTransport(721, 96)[TRANSPORT_ZOOM].empty());
    EXPECT_FALSE(layOutTransport(722, 96)[TRANSPORT_ZOOM].empty());
    EXPECT_TRUE(layOutTransport(673, 96)[TRANSPORT_MUTE].empty());
    EXPECT_FALSE(layOutTransport(674, 96)[TRANSPORT_MUTE].empty());
    EXPECT_TRUE(layOutTransport(629, 96)[TRANSPORT_VOLUME].empty());
    EXPECT_FALSE(layOutTransport(630, 96)[TRANSPORT_VOLUME].empty());
    for (std::int32_t width = -1; width < 760; ++width)
        EXPECT_THAT(overlaps(layOutTransport(width, 96)), IsEmpty()) << width;
}

TEST(TransportControlAt, EachControlIsHitWithinItsRectangleAndNoFurther) {
    forEachBar([](std::int32_t width, std::int32_t dpi) {
        const TransportLayout layout = layOutTransport(width, dpi);
        for (std::size_t i = 0; i < TRANSPORT_CONTROL_COUNT; ++i) {
            const PixelRect& rect = layout.controls[i];
            if (rect.empty()) continue;
            const auto control = static_cast<TransportControl>(i);
            EXPECT_EQ(transportControlAt(layout, rect.left, rect.top), control);
            EXPECT_EQ(transportControlAt(layout, rect.right - 1, rect.bottom - 1), control);
            EXPECT_NE(transportControlAt(layout, rect.left - 1, rect.top), control);
            EXPECT_NE(transportControlAt(layout, rect.right, rect.top), control);
            EXPECT_EQ(transportControlAt(layout, rect.left, rect.top - 1), TRANSPORT_NONE);
            EXPECT_EQ(transportControlAt(layout, rect.left, rect.bottom), TRANSPORT_NONE);
        }
    });
}

TEST(TransportControlAt, BetweenTheControlsIsNone) {
    const TransportLayout layout = layOutTransport(1272, 96);
    EXPECT_EQ(transportControlAt(layout, 836, 30), TRANSPORT_NONE); // split | remove
    EXPECT_EQ(transportControlAt(layout, 1142, 30), TRANSPORT_NONE);
    EXPECT_EQ(transportControlAt(layout, 0, 0), TRANSPORT_NONE);
    EXPECT_EQ(transportControlAt(layout, -5, -5), TRANSPORT_NONE);
}

TEST(SliderTrack, LiesWithinTheSliderAtItsMiddle) {
    const SliderTrack track = sliderTrack({1144, 15, 1254, 47}, 96);
    EXPECT_EQ(track.left, 1152);
    EXPECT_EQ(track.right, 1246);
    EXPECT_EQ(track.middle, 31);
    EXPECT_EQ(sliderTrack({942, 23, 1107, 71}, 144).left, 954);
}

TEST(SliderKnob, StandsAtTheVolumesShareOfTheTrack) {
    const SliderTrack track{100, 200, 31};
    EXPECT_EQ(sliderKnob(track, 0), 100);
    EXPECT_EQ(sliderKnob(track, 0.5), 150);
    EXPECT_EQ(sliderKnob(track, 1), 200);
    EXPECT_EQ(sliderKnob(track, -1), 100);
    EXPECT_EQ(sliderKnob(track, 7), 200);
    EXPECT_EQ(sliderKnob(track, std::numeric_limits<double>::quiet_NaN()), 100);
    EXPECT_EQ(sliderKnob({10, 4, 0}, 1), 10);
}

TEST(VolumeAtX, IsLinearOverTheTrackAndStaysWithinItsEnds) {
    const SliderTrack track{100, 200, 31};
    EXPECT_EQ(volumeAtX(track, 100), 0);
    EXPECT_EQ(volumeAtX(track, 125), 0.25);
    EXPECT_EQ(volumeAtX(track, 200), 1);
    EXPECT_EQ(volumeAtX(track, 99), 0);
    EXPECT_EQ(volumeAtX(track, -100'000), 0);
    EXPECT_EQ(volumeAtX(track, 100'000), 1);
    EXPECT_EQ(volumeAtX({10, 10, 0}, 10), 0);
}

} // namespace
} // namespace velkantrix
