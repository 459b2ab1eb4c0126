#include "app/window_drawing.h"

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
    EXPECT_EQ(textItem(drawing, state.statusText).rect, (PixelRect{28, 786, 1292, 818}));
    EXPECT_EQ(textItem(drawing, state.statusText).align, TextAlign::Right);
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
