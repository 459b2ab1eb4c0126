#include "app/transport_drawing.h"

#include <algorithm>
#include <string>
#include <tuple>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/app/drawing_support.h"

namespace velkantrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

constexpr std::uint32_t GROUND = colour(22, 21, 16);
constexpr std::uint32_t FACE = colour(237, 235, 226);
constexpr std::uint32_t DISABLED = colour(110, 105, 96);
constexpr std::uint32_t LINE = colour(60, 57, 49);
constexpr std::uint32_t HOT = colour(226, 91, 69);

class TransportPicture : public testing::Test {
protected:
    TransportPicture() {
        view.client = {1272, 62};
        view.state.clipCount = 2;
    }

    Drawing drawn() const {
        Drawing drawing;
        drawTransport(drawing, view);
        return drawing;
    }

    // Of the text that lies in the middle of the control.
    TextItem face(TransportControl control) const {
        const PixelRect rect = layOutTransport(view.client.width, view.dpi)[control];
        for (const TextItem& item : itemsOf<TextItem>(drawn())) {
            if (item.rect == rect) return item;
        }
        return {};
    }

    TransportView view;
};

TEST_F(TransportPicture, HasAGroundWithALineAtItsTop) {
    const std::vector<FillItem> fills = itemsOf<FillItem>(drawn());
    EXPECT_EQ(fills[0], (FillItem{{0, 0, 1272, 62}, GROUND}));
    EXPECT_EQ(fills[1], (FillItem{{0, 0, 1272, 1}, colour(51, 49, 42)}));
}

TEST_F(TransportPicture, ShowsTheControlsInTheirOrder) {
    EXPECT_THAT(textsOf(drawn()),
                ElementsAre(L"\uE76B", L"\uE892", L"\uE768", L"\uE893", L"\uE76C", L"−", L"\uE706",
                            L"+", L"\uE8C6", L"Split", L"\uE74D", L"Remove", L"1×", L"\uE767"));
}

TEST_F(TransportPicture, ANarrowBarShowsNoExposure) {
    view.client.width = 1180;
    EXPECT_THAT(textsOf(drawn()),
                ElementsAre(L"\uE76B", L"\uE892", L"\uE768", L"\uE893", L"\uE76C", L"\uE8C6",
                            L"Split", L"\uE74D", L"Remove", L"1×", L"\uE767"));
}

TEST_F(TransportPicture, WhatHasNoRoomIsNotDrawn) {
    view.client.width = 600;
    EXPECT_THAT(textsOf(drawn()), ElementsAre(L"\uE76B", L"\uE892", L"\uE768", L"\uE893", L"\uE76C",
                                              L"\uE8C6", L"Split", L"\uE74D", L"Remove"));
    EXPECT_THAT(itemsOf<EllipseItem>(drawn()), IsEmpty());
}

TEST_F(TransportPicture, IconsAreInTheMiddleOfTheirControl) {
    for (const TransportControl control :
         {TRANSPORT_PREVIOUS_FRAME, TRANSPORT_BACK, TRANSPORT_PLAY, TRANSPORT_FORWARD,
          TRANSPORT_NEXT_FRAME, TRANSPORT_EXPOSURE, TRANSPORT_MUTE}) {
        const TextItem item = face(control);
        EXPECT_EQ(item.font, Font::Icons) << control;
        EXPECT_EQ(item.align, TextAlign::Centre);
        EXPECT_EQ(item.colour, FACE);
    }
    for (const TransportControl control : {TRANSPORT_DARKER, TRANSPORT_BRIGHTER, TRANSPORT_ZOOM}) {
        EXPECT_EQ(face(control).font, Font::Text) << control;
        EXPECT_EQ(face(control).align, TextAlign::Centre);
    }
}

TEST_F(TransportPicture, ALabelStandsBehindItsIconWithinTheControl) {
    for (const auto& [control, icon, label] :
         {std::tuple{TRANSPORT_SPLIT, L"\uE8C6", L"Split"},
          std::tuple{TRANSPORT_REMOVE, L"\uE74D", L"Remove"}}) {
        const PixelRect rect = layOutTransport(1272, 96)[control];
        const TextItem iconItem = textItem(drawn(), icon);
        const TextItem labelItem = textItem(drawn(), label);
        EXPECT_GE(iconItem.rect.left, rect.left);
        EXPECT_LE(iconItem.rect.right, labelItem.rect.left);
        EXPECT_LE(labelItem.rect.right, rect.right);
        EXPECT_EQ(iconItem.font, Font::Icons);
        EXPECT_EQ(iconItem.colour, FACE);
        EXPECT_EQ(labelItem.align, TextAlign::Left);
        EXPECT_EQ(labelItem.font, Font::Text);
        EXPECT_EQ(labelItem.colour, FACE);
    }
}

TEST_F(TransportPicture, WhilePlayingItOffersAPause) {
    view.state.playing = true;
    EXPECT_EQ(face(TRANSPORT_PLAY).text, L"\uE769");
}

TEST_F(TransportPicture, WithOneClipRemoveIsDisabled) {
    view.state.clipCount = 1;
    EXPECT_EQ(textItem(drawn(), L"Remove").colour, DISABLED);
    EXPECT_EQ(textItem(drawn(), L"\uE74D").colour, DISABLED);
    EXPECT_EQ(textItem(drawn(), L"Split").colour, FACE);
}

TEST_F(TransportPicture, TheExposuresIconGlowsWhileItIsSet) {
    EXPECT_EQ(face(TRANSPORT_EXPOSURE).colour, FACE);
    for (const double exposure : {0.1, -1.0}) {
        view.state.exposure = exposure;
        EXPECT_EQ(face(TRANSPORT_EXPOSURE).colour, HOT);
        EXPECT_EQ(face(TRANSPORT_DARKER).colour, FACE);
    }
}

TEST_F(TransportPicture, AnExposureThatCantBeSeenDoesntGlow) {
    view.state.exposure = 0.0005;
    EXPECT_EQ(face(TRANSPORT_EXPOSURE).colour, FACE);
    view.state.exposure = -0.0011;
    EXPECT_EQ(face(TRANSPORT_EXPOSURE).colour, HOT);
}

TEST_F(TransportPicture, TheZoomShowsWhatItIs) {
    view.state.doubled = true;
    EXPECT_EQ(face(TRANSPORT_ZOOM).text, L"2×");
}

TEST_F(TransportPicture, SilenceHasAnIconOfItsOwn) {
    view.state.volume.level = 0;
    EXPECT_EQ(face(TRANSPORT_MUTE).text, L"\uE74F");
    view.state.volume = {.level = 0.01};
    EXPECT_EQ(face(TRANSPORT_MUTE).text, L"\uE767");
    view.state.volume = {.level = 1, .muted = true};
    EXPECT_EQ(face(TRANSPORT_MUTE).text, L"\uE74F");
}

TEST_F(TransportPicture, SeparatorsStandBeforeTheExposureAndTheEditing) {
    EXPECT_TRUE(holds(drawn(), FillItem{{573, 15, 574, 47}, LINE}));
    EXPECT_TRUE(holds(drawn(), FillItem{{719, 15, 720, 47}, LINE}));
    view.client.width = 1180;
    EXPECT_TRUE(holds(drawn(), FillItem{{600, 15, 601, 47}, LINE}));
    std::vector<FillItem> lines;
    for (const FillItem& item : itemsOf<FillItem>(drawn())) {
        if (item.rect.right - item.rect.left == 1) lines.push_back(item);
    }
    EXPECT_EQ(lines.size(), 1u);
}

TEST_F(TransportPicture, AHoveredControlHasAGroundOfItsOwn) {
    EXPECT_THAT(itemsOf<RoundedItem>(drawn()), IsEmpty());
    view.hovered = TRANSPORT_PLAY;
    EXPECT_THAT(itemsOf<RoundedItem>(drawn()),
                ElementsAre(RoundedItem{{412, 5, 472, 57}, colour(44, 41, 33), 14}));
    view.pressed = TRANSPORT_PLAY;
    EXPECT_THAT(itemsOf<RoundedItem>(drawn()),
                ElementsAre(RoundedItem{{412, 5, 472, 57}, colour(60, 55, 45), 14}));
}

TEST_F(TransportPicture, APressedControlThatIsLeftHasNone) {
    view.pressed = TRANSPORT_PLAY;
    EXPECT_THAT(itemsOf<RoundedItem>(drawn()), IsEmpty());
    view.hovered = TRANSPORT_BACK;
    EXPECT_THAT(itemsOf<RoundedItem>(drawn()),
                ElementsAre(RoundedItem{{358, 5, 412, 57}, colour(44, 41, 33), 14}));
}

TEST_F(TransportPicture, EveryControlCanBeHovered) {
    const TransportLayout layout = layOutTransport(1272, 96);
    for (std::size_t i = 0; i < TRANSPORT_CONTROL_COUNT; ++i) {
        view.hovered = static_cast<TransportControl>(i);
        const Drawing drawing = drawn();
        const auto grounds = itemsOf<RoundedItem>(drawing);
        ASSERT_EQ(grounds.size(), 1u) << i;
        EXPECT_EQ(grounds[0].rect, layout.controls[i]);
        // Right behind it its face is drawn, or the slider's track.
        const auto behind = std::ranges::find(drawing, DrawItem{grounds[0]}) + 1;
        ASSERT_NE(behind, drawing.end());
        const PixelRect over = std::visit(
            [](const auto& item) {
                if constexpr (requires { item.rect; }) return item.rect;
                return PixelRect{};
            },
            *behind);
        EXPECT_GE(over.left, grounds[0].rect.left);
        EXPECT_LE(over.right, grounds[0].rect.right);
        EXPECT_FALSE(over.empty());
    }
}

TEST_F(TransportPicture, TheSliderShowsTheVolume) {
    view.state.volume.level = 0.5;
    const Drawing drawing = drawn();
    EXPECT_TRUE(holds(drawing, FillItem{{1152, 29, 1246, 32}, LINE}));
    EXPECT_TRUE(holds(drawing, FillItem{{1152, 29, 1199, 32}, HOT}));
    EXPECT_EQ(filledColour(drawing, 1160, 30), HOT); // over the track
    EXPECT_TRUE(std::holds_alternative<EllipseItem>(drawing.back()));
    EXPECT_THAT(itemsOf<EllipseItem>(drawing),
                ElementsAre(EllipseItem{{1193, 25, 1206, 38}, FACE}));
}

TEST_F(TransportPicture, AVolumeBeyondItsRangeStaysOnTheTrack) {
    view.state.volume.level = 7;
    EXPECT_THAT(itemsOf<EllipseItem>(drawn()),
                ElementsAre(EllipseItem{{1240, 25, 1253, 38}, FACE}));
    view.state.volume.level = -1;
    EXPECT_THAT(itemsOf<EllipseItem>(drawn()),
                ElementsAre(EllipseItem{{1146, 25, 1159, 38}, FACE}));
}

TEST_F(TransportPicture, MutedTheSliderIsGreyButStaysWhereItIs) {
    view.state.volume = {.level = 0.5, .muted = true};
    EXPECT_THAT(itemsOf<EllipseItem>(drawn()),
                ElementsAre(EllipseItem{{1193, 25, 1206, 38}, colour(120, 114, 104)}));
    for (const FillItem& item : itemsOf<FillItem>(drawn())) EXPECT_NE(item.colour, HOT);
}

// But for the line at the top and the separators, which stay one pixel.
TEST_F(TransportPicture, AllIsTwiceAsLargeAtTwiceTheDpi) {
    view.hovered = TRANSPORT_SPLIT;
    const Drawing smaller = drawn();
    view.client = {2544, 124};
    view.dpi = 192;
    std::vector<PixelRect> others;
    for (const DrawItem& item : notDoubled(smaller, drawn()))
        others.push_back(std::get<FillItem>(item).rect);
    EXPECT_THAT(others, ElementsAre(PixelRect{0, 0, 2544, 1}, PixelRect{1146, 30, 1147, 94},
                                    PixelRect{1438, 30, 1439, 94}));
}

TEST_F(TransportPicture, ABarWithoutAPixelIsNoReasonToFail) {
    view.client = {1, 1};
    EXPECT_THAT(textsOf(drawn()), Not(Contains(L"1×")));
    view.client = {0, 0};
    EXPECT_THAT(textsOf(drawn()), Contains(L"Split"));
}

} // namespace
} // namespace velkantrix
