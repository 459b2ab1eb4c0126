#include "app/window_drawing.h"

#include <string>
#include <utility>
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

constexpr std::uint32_t SECONDARY = colour(154, 148, 138);

class WindowPicture : public testing::Test {
protected:
    WindowPicture() {
        state.client = {1320, 820};
        state.videoLoaded = true;
        state.firstFrameShown = true;
        state.diagnostics = L"RAM 61 MB";
        state.strip.track = {28, 606, 1292, 706};
        state.strip.clips = &clips;
        state.strip.selectedClip = 0;
        state.editedTime = 5;
        state.statusText = L"Playing";
        state.videoSize = {1920, 1080};
        state.fileSize = 3 * 1048576 - 1;
    }

    Drawing background() const {
        Drawing drawing;
        drawBackground(drawing, state);
        return drawing;
    }
    Drawing foreground() const {
        Drawing drawing;
        drawForeground(drawing, state);
        return drawing;
    }

    // All that is given in pixels, and the dpi.
    void doubleTheWindow() {
        state.client = {2 * state.client.width, 2 * state.client.height};
        state.dpi *= 2;
        state.strip.track = Doubling::of(state.strip.track);
        if (state.hoverX) state.hoverX = 2 * *state.hoverX;
        if (state.videoOnScreen) state.videoOnScreen = Doubling::of(*state.videoOnScreen);
    }

    ClipList clips{{.start = 0, .end = 4}, {.start = 6, .end = 12}};
    WindowState state;
};

TEST_F(WindowPicture, ABarLiesAtTheBottom) {
    EXPECT_THAT(background(),
                ElementsAre(DrawItem(FillItem{{0, 0, 1320, 820}, colour(22, 21, 16)}),
                            DrawItem(FillItem{{0, 784, 1320, 820}, colour(30, 28, 22)}),
                            DrawItem(FillItem{{0, 784, 1320, 785}, colour(51, 49, 42)})));
}

TEST_F(WindowPicture, InFullscreenThereIsOnlyTheBackground) {
    state.fullscreen = true;
    EXPECT_EQ(background().size(), 1u);
    EXPECT_THAT(foreground(), IsEmpty());
}

TEST_F(WindowPicture, BeforeTheFirstPictureThereIsACard) {
    state.firstFrameShown = false;
    const Drawing drawing = background();
    EXPECT_TRUE(holds(drawing, FillItem{{24, 24, 1296, 598}, colour(0, 0, 0)}));
    EXPECT_TRUE(holds(drawing, IconItem{1320, 315, 96, 205}));
    EXPECT_EQ(
        textItem(drawing, L"Loading video"),
        (TextItem{
            L"Loading video", {0, 341, 1320, 373}, SECONDARY, Font::Text, TextAlign::Centre}));
}

TEST_F(WindowPicture, TheCardHasALeastHeight) {
    state.firstFrameShown = false;
    state.client = {1320, 300};
    EXPECT_TRUE(holds(background(), FillItem{{24, 24, 1296, 204}, colour(0, 0, 0)}));
}

TEST_F(WindowPicture, ItsDotsCountTo3Each400Milliseconds) {
    state.firstFrameShown = false;
    const std::vector<std::pair<std::uint64_t, const wchar_t*>> rows = {
        {399, L"Loading video"},     {400, L"Loading video."},    {800, L"Loading video.."},
        {1200, L"Loading video..."}, {1599, L"Loading video..."}, {1600, L"Loading video"}};
    for (const auto& [tick, text] : rows) {
        state.tick = tick;
        EXPECT_THAT(textsOf(background()), ElementsAre(text)) << tick;
    }
}

TEST_F(WindowPicture, TheTextRowHasThreeParts) {
    const Drawing drawing = foreground();
    EXPECT_THAT(textsOf(drawing), ElementsAre(L"Clip 1/2  ·  00:05.000 / 00:10.000",
                                              L"1920×1080  ·  2 MB", L"Playing", L"RAM 61 MB"));
    EXPECT_EQ(textItem(drawing, L"Clip 1/2  ·  00:05.000 / 00:10.000"),
              (TextItem{L"Clip 1/2  ·  00:05.000 / 00:10.000",
                        {28, 786, 437, 818},
                        SECONDARY,
                        Font::Monospace,
                        TextAlign::Left,
                        true}));
    EXPECT_EQ(textItem(drawing, L"1920×1080  ·  2 MB"), (TextItem{L"1920×1080  ·  2 MB",
                                                                  {449, 786, 870, 818},
                                                                  colour(110, 105, 96),
                                                                  Font::Monospace,
                                                                  TextAlign::Centre}));
    EXPECT_EQ(
        textItem(drawing, L"Playing"),
        (TextItem{
            L"Playing", {870, 786, 1292, 818}, SECONDARY, Font::Monospace, TextAlign::Right}));
    EXPECT_EQ(textItem(drawing, L"RAM 61 MB"), (TextItem{L"RAM 61 MB",
                                                         {0, 3, 1300, 22},
                                                         colour(168, 162, 148),
                                                         Font::Monospace,
                                                         TextAlign::Right}));
}

TEST_F(WindowPicture, ANarrowWindowLeavesTheVideosFactsOut) {
    state.client = {1000, 820};
    const Drawing drawing = foreground();
    EXPECT_THAT(textsOf(drawing), Not(Contains(L"1920×1080  ·  2 MB")));
    EXPECT_EQ(textItem(drawing, L"Clip 1/2  ·  00:05.000 / 00:10.000").rect.right,
              28 + 2 * 314 - 12);
    state.client = {1001, 820};
    EXPECT_THAT(textsOf(foreground()), Contains(L"1920×1080  ·  2 MB"));
}

TEST_F(WindowPicture, ALongStatusHasTheRowForItself) {
    state.statusText = std::wstring(36, L'x');
    EXPECT_EQ(textsOf(foreground()).size(), 4u);
    state.statusText = std::wstring(37, L'x');
    const Drawing drawing = foreground();
    EXPECT_THAT(textsOf(drawing), ElementsAre(state.statusText, L"RAM 61 MB"));
    EXPECT_EQ(textItem(drawing, state.statusText), (TextItem{state.statusText,
                                                             {28, 786, 1292, 818},
                                                             SECONDARY,
                                                             Font::Monospace,
                                                             TextAlign::Right,
                                                             true}));
}

TEST_F(WindowPicture, WhatCountsAsNarrowFollowsTheDpi) {
    state.dpi = 192;
    state.client = {2000, 1640};
    EXPECT_THAT(textsOf(foreground()), Not(Contains(L"1920×1080  ·  2 MB")));
    state.client = {2001, 1640};
    EXPECT_THAT(textsOf(foreground()), Contains(L"1920×1080  ·  2 MB"));
}

TEST_F(WindowPicture, ThePlayheadStandsAtItsShareOfTheTrack) {
    EXPECT_THAT(itemsOf<LineItem>(foreground()),
                ElementsAre(LineItem{{660, 596}, {660, 714}, colour(226, 91, 69), 2}));
    state.dpi = 192;
    EXPECT_EQ(itemsOf<LineItem>(foreground()).front().width, 4);
}

TEST_F(WindowPicture, WhileACutIsDraggedItMarksTheCut) {
    state.cutDrag = 0;
    EXPECT_THAT(itemsOf<LineItem>(foreground()),
                ElementsAre(LineItem{{533, 596}, {533, 714}, colour(248, 246, 240), 2}));
}

// An undo behind the drag's back may have taken it away.
TEST_F(WindowPicture, AfterACutThatIsGoneThePlayheadIsTheUsualOne) {
    for (const std::int32_t cut : {-1, 1, 2, 7}) {
        state.cutDrag = cut;
        EXPECT_THAT(itemsOf<LineItem>(foreground()),
                    ElementsAre(LineItem{{660, 596}, {660, 714}, colour(226, 91, 69), 2}))
            << cut;
    }
}

TEST_F(WindowPicture, ThePointersTimeIsShownOverTheTrack) {
    state.hoverX = 660;
    const Drawing drawing = foreground();
    EXPECT_TRUE(holds(drawing, LineItem{{660, 606}, {660, 706}, SECONDARY, 1, true}));
    EXPECT_TRUE(holds(drawing, FillItem{{605, 582, 715, 602}, colour(40, 38, 30)}));
    EXPECT_EQ(textItem(drawing, L"00:05.000"), (TextItem{L"00:05.000",
                                                         {605, 582, 715, 602},
                                                         colour(232, 228, 218),
                                                         Font::Monospace,
                                                         TextAlign::Centre}));
}

TEST_F(WindowPicture, ThePointersTimeStaysOverTheTrack) {
    state.hoverX = 30;
    EXPECT_TRUE(holds(foreground(), FillItem{{28, 582, 138, 602}, colour(40, 38, 30)}));
    state.hoverX = 1290;
    EXPECT_TRUE(holds(foreground(), FillItem{{1182, 582, 1292, 602}, colour(40, 38, 30)}));
}

TEST_F(WindowPicture, BesideTheTrackThePointerHasNoTime) {
    for (const std::int32_t x : {27, 1293}) {
        state.hoverX = x;
        EXPECT_EQ(itemsOf<LineItem>(foreground()).size(), 1u) << x; // the playhead's
        EXPECT_THAT(itemsOf<FillItem>(foreground()), IsEmpty()) << x;
        EXPECT_EQ(textsOf(foreground()).size(), 4u) << x;
    }
    for (const std::int32_t x : {28, 1291}) {
        state.hoverX = x;
        EXPECT_TRUE(holds(foreground(), LineItem{{x, 606}, {x, 706}, SECONDARY, 1, true})) << x;
    }
}

// The video is a window of its own, and lies over what this one draws.
TEST_F(WindowPicture, UnderTheVideoThePointersTimeMovesIntoTheTrack) {
    state.hoverX = 660;
    state.videoOnScreen = PixelRect{24, 24, 1296, 598};
    EXPECT_TRUE(holds(foreground(), FillItem{{605, 610, 715, 630}, colour(40, 38, 30)}));
    state.videoOnScreen = PixelRect{24, 24, 1296, 582};
    EXPECT_TRUE(holds(foreground(), FillItem{{605, 582, 715, 602}, colour(40, 38, 30)}));
    state.videoOnScreen = PixelRect{715, 24, 1296, 598};
    EXPECT_TRUE(holds(foreground(), FillItem{{605, 582, 715, 602}, colour(40, 38, 30)}));
}

TEST_F(WindowPicture, WhileScrubbingOrDraggingThereIsNoPointersTime) {
    state.hoverX = 660;
    state.scrubbing = true;
    EXPECT_THAT(textsOf(foreground()), Not(Contains(L"00:05.000")));
    state.scrubbing = false;
    state.cutDrag = 0;
    EXPECT_THAT(textsOf(foreground()), Not(Contains(L"00:05.000")));
}

TEST_F(WindowPicture, AnExportFillsAStripAtTheBottom) {
    EXPECT_THAT(itemsOf<FillItem>(foreground()), IsEmpty());
    state.exportShare = 0.25;
    EXPECT_THAT(itemsOf<FillItem>(foreground()),
                ElementsAre(FillItem{{0, 815, 1320, 820}, colour(40, 38, 30)},
                            FillItem{{0, 815, 330, 820}, colour(226, 91, 69)}));
    state.exportShare = 0;
    EXPECT_EQ(itemsOf<FillItem>(foreground()).size(), 1u);
    state.exportShare = 7;
    EXPECT_EQ(itemsOf<FillItem>(foreground()).back().rect.right, 1320);
    state.client.width = 1000;
    for (const double share : {0.6663, 0.6667}) {
        state.exportShare = share;
        EXPECT_EQ(itemsOf<FillItem>(foreground()).back().rect.right, 666) << share;
    }
}

TEST_F(WindowPicture, WithoutAVideoItSaysWhatToDo) {
    state.videoLoaded = false;
    EXPECT_EQ(background().size(), 1u);
    const Drawing drawing = foreground();
    EXPECT_TRUE(holds(drawing, IconItem{1320, 328, 124, 255}));
    EXPECT_THAT(
        textsOf(drawing),
        ElementsAre(L"Cut the wait.",
                    L"Open a video. Slice what you don't need. Export without losing a pixel.",
                    L"Ctrl+O   ·   File ▸ Open video   ·   or drop a file anywhere in this window",
                    L"RAM 61 MB"));
    EXPECT_EQ(textItem(drawing, L"Cut the wait."), (TextItem{L"Cut the wait.",
                                                             {0, 334, 1320, 384},
                                                             colour(237, 235, 226),
                                                             Font::Hero,
                                                             TextAlign::Centre}));
    const std::vector<TextItem> texts = itemsOf<TextItem>(drawing);
    EXPECT_EQ(texts[1].rect, (PixelRect{0, 392, 1320, 418}));
    EXPECT_EQ(texts[1].colour, SECONDARY);
    EXPECT_EQ(texts[1].font, Font::Text);
    EXPECT_EQ(texts[2].rect, (PixelRect{0, 426, 1320, 450}));
    EXPECT_EQ(texts[2].colour, colour(110, 105, 96));
    EXPECT_EQ(texts[2].font, Font::Monospace);
}

// What comes later lies over what came before.
TEST_F(WindowPicture, TheForegroundIsDrawnFromTheBackToTheFront) {
    state.hoverX = 660;
    state.exportShare = 0.25;
    state.statusText = std::wstring(37, L'x');
    using Step = std::pair<std::string, std::uint32_t>;
    EXPECT_THAT(sequenceOf(foreground()),
                ElementsAre(Step{"line", SECONDARY}, Step{"fill", colour(40, 38, 30)},
                            Step{"text", colour(232, 228, 218)}, // of the pointer
                            Step{"line", colour(226, 91, 69)},   // the playhead
                            Step{"text", SECONDARY},             // the status
                            Step{"fill", colour(40, 38, 30)}, Step{"fill", colour(226, 91, 69)},
                            Step{"text", colour(168, 162, 148)}));
}

TEST_F(WindowPicture, AtTwiceTheDpiEverythingIsTwiceAsLarge) {
    state.firstFrameShown = false;
    state.hoverX = 660;
    state.exportShare = 0.25;
    const WindowState before = state;
    const Drawing smallBackground = background();
    const Drawing smallForeground = foreground();
    doubleTheWindow();
    ASSERT_EQ(background().size(), smallBackground.size());
    EXPECT_THAT(notDoubled(smallBackground, background()), // but the line over the bar
                ElementsAre(DrawItem(FillItem{{0, 1568, 2640, 1569}, colour(51, 49, 42)})));
    const DrawItem dots = LineItem{{1320, 1212}, {1320, 1412}, SECONDARY, 1, true};
    ASSERT_EQ(foreground().size(), smallForeground.size());
    EXPECT_THAT(notDoubled(smallForeground, foreground()), ElementsAre(dots));

    state = before;
    state.videoOnScreen = PixelRect{24, 24, 1296, 598};
    state.statusText = std::wstring(37, L'x');
    const Drawing otherForeground = foreground();
    doubleTheWindow();
    ASSERT_EQ(foreground().size(), otherForeground.size());
    EXPECT_THAT(notDoubled(otherForeground, foreground()), ElementsAre(dots));
}

TEST_F(WindowPicture, AtTwiceTheDpiTheEmptyWindowIsTwiceAsLarge) {
    state.videoLoaded = false;
    const Drawing smaller = foreground();
    doubleTheWindow();
    ASSERT_EQ(foreground().size(), smaller.size());
    EXPECT_THAT(notDoubled(smaller, foreground()), IsEmpty());
}

TEST_F(WindowPicture, AtOneAndAHalfTimesTheDpiLengthsAreRounded) {
    state.client = {1980, 1230};
    state.strip.track = {42, 909, 1938, 1059};
    state.dpi = 144;
    state.firstFrameShown = false;
    state.hoverX = 990;
    state.exportShare = 0.25;
    const Drawing below = {
        FillItem{{0, 0, 1980, 1230}, colour(22, 21, 16)},
        FillItem{{36, 36, 1944, 897}, colour(0, 0, 0)},
        IconItem{1980, 472, 144, 205},
        TextItem{L"Loading video", {0, 511, 1980, 559}, SECONDARY, Font::Text, TextAlign::Centre},
        FillItem{{0, 1176, 1980, 1230}, colour(30, 28, 22)},
        FillItem{{0, 1176, 1980, 1177}, colour(51, 49, 42)}};
    EXPECT_EQ(background(), below);
    constexpr Font MONOSPACE = Font::Monospace;
    const Drawing above = {
        LineItem{{990, 909}, {990, 1059}, SECONDARY, 1, true},
        FillItem{{907, 873, 1072, 903}, colour(40, 38, 30)},
        TextItem{L"00:05.000",
                 {907, 873, 1072, 903},
                 colour(232, 228, 218),
                 MONOSPACE,
                 TextAlign::Centre},
        LineItem{{990, 894}, {990, 1071}, colour(226, 91, 69), 3},
        TextItem{L"Clip 1/2  ·  00:05.000 / 00:10.000",
                 {42, 1179, 656, 1227},
                 SECONDARY,
                 MONOSPACE,
                 TextAlign::Left,
                 true},
        TextItem{L"1920×1080  ·  2 MB",
                 {674, 1179, 1306, 1227},
                 colour(110, 105, 96),
                 MONOSPACE,
                 TextAlign::Centre},
        TextItem{L"Playing", {1306, 1179, 1938, 1227}, SECONDARY, MONOSPACE, TextAlign::Right},
        FillItem{{0, 1222, 1980, 1230}, colour(40, 38, 30)},
        FillItem{{0, 1222, 495, 1230}, colour(226, 91, 69)},
        TextItem{
            L"RAM 61 MB", {0, 5, 1950, 33}, colour(168, 162, 148), MONOSPACE, TextAlign::Right}};
    EXPECT_EQ(foreground(), above);
}

TEST_F(WindowPicture, NothingIsDrawnOutsideAWindowOfAPixel) {
    state.client = {1, 1};
    state.strip.track = {};
    state.exportShare = 0.5;
    state.hoverX = 0;
    for (const FillItem& item : itemsOf<FillItem>(background())) EXPECT_FALSE(item.rect.empty());
    EXPECT_THAT(itemsOf<LineItem>(foreground()), IsEmpty());
}

TEST_F(WindowPicture, NothingKeptDividesByNothing) {
    clips = {{.start = 0, .end = 0}};
    state.editedTime = 0;
    state.hoverX = 660;
    const Drawing drawing = foreground();
    EXPECT_EQ(textItem(drawing, L"Clip 1/1  ·  00:00.000 / 00:00.000").text.size(), 34u);
    EXPECT_EQ(itemsOf<LineItem>(drawing).back().from.x, 28);
}

} // namespace
} // namespace velkantrix
