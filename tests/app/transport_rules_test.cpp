#include "app/transport_rules.h"

#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

namespace velkantrix {
namespace {

using testing::ElementsAre;

const TransportState QUIET{.clipCount = 2};

template <class Ask>
auto ofAll(Ask ask) {
    std::vector<decltype(ask(TRANSPORT_BACK))> answers;
    for (std::size_t i = 0; i < TRANSPORT_CONTROL_COUNT; ++i)
        answers.push_back(ask(static_cast<TransportControl>(i)));
    return answers;
}

TEST(TransportTip, NamesEachControlAndItsKey) {
    EXPECT_THAT(ofAll([](TransportControl control) { return transportTip(control, QUIET); }),
                ElementsAre(L"Back 5 seconds   (←)", L"Play   (Space)", L"Forward 5 seconds   (→)",
                            L"Split at playhead   (S)", L"Remove selected clip   (Del)",
                            L"Mute   (M)", L"Volume   (↑ ↓)", L"Step back one frame   (,)",
                            L"Step forward one frame   (.)", L"Darken exposure   ([)",
                            L"Auto-fix exposure", L"Brighten exposure   (])", L"Zoom to 2×   (Z)"));
}

TEST(TransportTip, FollowsTheState) {
    TransportState state = QUIET;
    state.playing = true;
    EXPECT_EQ(transportTip(TRANSPORT_PLAY, state), L"Pause   (Space)");
    state.volume.muted = true;
    EXPECT_EQ(transportTip(TRANSPORT_MUTE, state), L"Unmute   (M)");
    state.doubled = true;
    EXPECT_EQ(transportTip(TRANSPORT_ZOOM, state), L"Actual size (1×)   (Z)");
    state.exposure = -0.1;
    EXPECT_EQ(transportTip(TRANSPORT_EXPOSURE, state), L"Reset exposure");
}

TEST(TransportName, AVolumeOfNothingIsNotMuted) {
    EXPECT_EQ(transportName(TRANSPORT_MUTE, {.volume = {.level = 0}}), L"Mute");
}

TEST(TransportName, AnExposureOfLessThanAThousandthIsNone) {
    EXPECT_EQ(transportName(TRANSPORT_EXPOSURE, {.exposure = 0.001}), L"Auto-fix exposure");
    EXPECT_EQ(transportName(TRANSPORT_EXPOSURE, {.exposure = 0.0011}), L"Reset exposure");
    EXPECT_EQ(transportName(TRANSPORT_EXPOSURE, {.exposure = -0.001}), L"Auto-fix exposure");
}

TEST(TransportName, NoControlHasNone) {
    for (const int none : {-1, 13, 1000}) {
        const auto control = static_cast<TransportControl>(none);
        EXPECT_EQ(transportName(control, QUIET), L"");
        EXPECT_EQ(transportTip(control, QUIET), L"");
        EXPECT_EQ(transportShortcut(control), L"");
        EXPECT_EQ(transportCommand(control, QUIET), std::nullopt);
    }
}

TEST(TransportShortcut, SaysTheKeysInWords) {
    EXPECT_THAT(ofAll(transportShortcut),
                ElementsAre(L"Left", L"Space", L"Right", L"S", L"Delete", L"M", L"Up, Down",
                            L"Comma", L"Period", L"[", L"", L"]", L"Z"));
}

TEST(TransportCommand, EachControlButTheSliderHasOne) {
    EXPECT_THAT(ofAll([](TransportControl control) {
                    return transportCommand(control, QUIET).value_or(0);
                }),
                ElementsAre(108, 102, 109, 103, 104, 129, 0, 124, 123, 162, 164, 161, 165));
}

TEST(TransportCommand, TheLastClipCantBeRemoved) {
    for (const std::size_t count : {0U, 1U}) {
        const TransportState state{.clipCount = count};
        EXPECT_EQ(transportCommand(TRANSPORT_REMOVE, state), std::nullopt);
        EXPECT_TRUE(isTransportInert(TRANSPORT_REMOVE, state));
        EXPECT_EQ(transportCommand(TRANSPORT_SPLIT, state), 103);
        EXPECT_FALSE(isTransportInert(TRANSPORT_SPLIT, state));
    }
    EXPECT_FALSE(isTransportInert(TRANSPORT_REMOVE, QUIET));
}

} // namespace
} // namespace velkantrix
