#include "app/volume.h"

#include <limits>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

TEST(VolumeSteps, AreATwentiethEach) {
    EXPECT_DOUBLE_EQ(louder({.level = 0.5}).level, 0.55);
    EXPECT_DOUBLE_EQ(softer({.level = 0.5}).level, 0.45);
}

TEST(VolumeSteps, StayBetweenSilentAndFull) {
    EXPECT_EQ(louder({.level = 0.98}).level, 1);
    EXPECT_EQ(louder({.level = 1}).level, 1);
    EXPECT_EQ(softer({.level = 0.03}).level, 0);
    EXPECT_EQ(softer({.level = 0}).level, 0);
}

TEST(VolumeSteps, LouderIsHeardAgain) {
    EXPECT_FALSE(louder({.level = 0.5, .muted = true}).muted);
    EXPECT_FALSE(louder({.level = 1, .muted = true}).muted);
}

TEST(VolumeSteps, SofterStaysMuted) {
    EXPECT_TRUE(softer({.level = 0.5, .muted = true}).muted);
    EXPECT_FALSE(softer({.level = 0.5, .muted = false}).muted);
}

TEST(VolumeSteps, MuteIsThereAndBackAtTheSameLevel) {
    const Volume volume{.level = 0.35, .muted = false};
    EXPECT_EQ(toggledMute(volume), (Volume{.level = 0.35, .muted = true}));
    EXPECT_EQ(toggledMute(toggledMute(volume)), volume);
}

TEST(VolumePercent, IsRoundedAndWithinAHundred) {
    EXPECT_EQ(volumePercent(0), 0);
    EXPECT_EQ(volumePercent(0.004), 0);
    EXPECT_EQ(volumePercent(0.005), 1);
    EXPECT_EQ(volumePercent(0.35), 35);
    EXPECT_EQ(volumePercent(1), 100);
    EXPECT_EQ(volumePercent(-1), 0);
    EXPECT_EQ(volumePercent(2), 100);
    EXPECT_EQ(volumePercent(std::numeric_limits<double>::quiet_NaN()), 0);
}

} // namespace
} // namespace velkantrix
