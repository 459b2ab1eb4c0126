// What the main window paints, read back from the window itself: it is on the screen meanwhile.
#include "app/timeline_paint.h"

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/placing.h"
#include "app/timeline_layout.h"
#include "edit/timeline_map.h"
#include "tests/windows/paint_fixture.h"

namespace velkantrix {
namespace {

using testing::Contains;
using testing::Each;
using testing::Ne;

class PaintEnvironment : public testing::Environment {
public:
    void SetUp() override {
        SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
        registerWindowClasses(GetModuleHandleW(nullptr));
    }
};
const auto* const environment = testing::AddGlobalTestEnvironment(new PaintEnvironment);

TEST_F(WindowPaint, WithoutAVideoThereIsTheIcon) {
    paint();
    EXPECT_THAT(in({598, 204, 722, 328}), Contains(Ne(BACK)));
    EXPECT_EQ(at(590, 300), BACK);
    EXPECT_EQ(at(5, 784), BACK); // and no bar
    expectPicture({TextItem{L"Cut the wait.",
                            {0, 334, 1320, 384},
                            RGB(237, 235, 226),
                            Font::Hero,
                            TextAlign::Centre}},
                  {400, 334, 920, 384});
}

TEST_F(WindowPaint, TheWholeWindowHasTheBackground) {
    paint();
    for (const int x : {0, 1319})
        for (const int y : {0, 819}) EXPECT_EQ(at(x, y), BACK);
}

TEST_F(WindowPaint, TheTrackLiesUnderTheClips) {
    startEdit(0); // one that covers nothing
    paint();
    EXPECT_EQ(at(29, 606), TRACK_FILL);
    EXPECT_EQ(at(660, 650), TRACK_FILL);
    EXPECT_EQ(at(1291, 705), TRACK_FILL);
    EXPECT_EQ(at(1292, 650), BACK);
    EXPECT_EQ(at(660, 605), BACK);
    EXPECT_EQ(at(660, 706), BACK);
}

TEST_F(WindowPaint, ClipsAreBlocksAndOneIsSelected) {
    loadTwoClips();
    paint();
    EXPECT_EQ(at(300, 650), BLOCK);
    EXPECT_EQ(at(300, 606), RGB(74, 70, 60));
    EXPECT_EQ(at(1000, 650), SELECTED_BLOCK);
    EXPECT_EQ(at(1000, 606), ORANGE);
    EXPECT_EQ(at(662, 650), EDGE);
    EXPECT_EQ(at(658, 650), BLOCK); // the first one has no edge bars
    editState().selectedClip = 0;
    paint();
    EXPECT_EQ(at(300, 650), SELECTED_BLOCK);
    EXPECT_EQ(at(1000, 650), BLOCK);
}

// Seen above the track, where nothing else is. What was removed counts for nothing.
TEST_F(WindowPaint, ThePlayheadGoesWithTheTime) {
    loadTwoClips();
    editState().clips = {{.start = 0, .end = 4}, {.start = 6, .end = 10}};
    const PixelRect track = timelineRect({1320, 820}, 96, false);
    for (const auto& [time, x] : {std::pair{2.0, 344}, std::pair{8.0, 976}}) {
        editState().playhead = time;
        EXPECT_EQ(playheadX(track, editedDuration(), currentEditedTime()), x);
        paint();
        for (const int other : {344, 976}) EXPECT_EQ(at(other, 600), other == x ? ORANGE : BACK);
        EXPECT_EQ(at(x, 710), ORANGE);
    }
}

TEST_F(WindowPaint, TheBarAtTheBottomHasALineAboveIt) {
    loadTwoClips();
    paint();
    EXPECT_EQ(at(5, 783), BACK);
    EXPECT_EQ(at(5, 784), BAR_LINE);
    EXPECT_EQ(at(5, 785), BAR_FILL);
    EXPECT_EQ(at(5, 819), BAR_FILL);
}

TEST_F(WindowPaint, TheTextsTellOfClipVideoAndStatus) {
    loadTwoClips();
    editState().playhead = 2.5;
    editState().statusText = L"Goal & shot";
    openState().videoSize = {1234, 567};
    openState().fileSize = 89 * 1048576;
    paint();
    const FillItem bar = {{0, 785, 1320, 820}, BAR_FILL};
    expectPicture({bar, TextItem{L"Clip 2/2  ·  00:02.500 / 00:10.000",
                                 {28, 786, 437, 818},
                                 SOFT,
                                 Font::Monospace}},
                  {28, 786, 437, 818});
    expectPicture({bar, TextItem{L"1234×567  ·  89 MB",
                                 {449, 786, 870, 818},
                                 RGB(110, 105, 96),
                                 Font::Monospace,
                                 TextAlign::Centre}},
                  {449, 786, 870, 818});
    expectPicture(
        {bar,
         TextItem{L"Goal & shot", {870, 786, 1292, 818}, SOFT, Font::Monospace, TextAlign::Right}},
        {870, 786, 1320, 818});
}

TEST_F(WindowPaint, TheProgramsOwnFiguresStandAtTheTopRight) {
    for (const bool loaded : {false, true}) {
        if (loaded) loadTwoClips();
        ui().stats.workingSet = 61 * 1048576;
        paint();
        expectPicture({TextItem{formatResourceLine(ui().stats),
                                {0, 3, 1300, 22},
                                RGB(168, 162, 148),
                                Font::Monospace,
                                TextAlign::Right}},
                      {600, 0, 1320, 24});
    }
}

TEST_F(WindowPaint, ACardStandsForTheVideoUntilItsFirstPicture) {
    loadTwoClips();
    ui().firstFrameShown = false;
    paint();
    EXPECT_EQ(at(29, 29), RGB(0, 0, 0));
    EXPECT_EQ(at(24, 24), RGB(0, 0, 0));
    EXPECT_EQ(at(23, 24), BACK);
    EXPECT_THAT(in({612, 219, 708, 315}), Contains(Ne(RGB(0, 0, 0)))); // the icon
    ui().firstFrameShown = true;
    paint();
    EXPECT_EQ(at(29, 29), BACK);
}

// With as many dots as the clock says: at a time when it says some, and may go on during the paint.
TEST_F(WindowPaint, TheCardSaysThatItIsLoading) {
    loadTwoClips();
    ui().firstFrameShown = false;
    constexpr RECT PLACE = {400, 341, 920, 373};
    std::set<std::uint64_t> dots = {0};
    for (int tries = 0; tries < 100 && dots.contains(0); ++tries) {
        while (GetTickCount64() / 400 % 4 == 0) Sleep(10);
        const std::uint64_t before = GetTickCount64() / 400;
        paint();
        dots.clear();
        for (std::uint64_t step = before; step <= GetTickCount64() / 400; ++step)
            dots.insert(step % 4);
    }
    ASSERT_FALSE(dots.contains(0));
    std::vector<Pixels> pictures;
    for (const std::uint64_t count : dots)
        pictures.push_back(pictureOf({FillItem{{24, 24, 1296, 598}, 0},
                                      TextItem{L"Loading video" + std::wstring(count, L'.'),
                                               {0, 341, 1320, 373},
                                               SOFT,
                                               Font::Text,
                                               TextAlign::Centre}},
                                     PLACE));
    EXPECT_THAT(pictures, Contains(in(PLACE)));
}

TEST_F(WindowPaint, LengthsFollowTheDpi) {
    loadTwoClips();
    ui().firstFrameShown = false;
    changeDpi(144, {0, 0, 1400, 1000});
    paint();
    RECT client = {};
    GetClientRect(window, &client);
    EXPECT_EQ(at(36 + 5, 36 + 5), RGB(0, 0, 0));
    EXPECT_EQ(at(35, 36), BACK);
    EXPECT_EQ(at(5, client.bottom - 55), BACK);
    EXPECT_EQ(at(5, client.bottom - 54), BAR_LINE);
    const int middle = client.bottom - 246; // of the track, from 321 to 171 above the bottom
    EXPECT_EQ(at(38, middle), BACK);        // left of the playhead's line
    EXPECT_EQ(at(300, middle), BLOCK);
    // The bar at the selected clip's end is 5 pixels wide, and there is one behind it.
    const int right = client.right - 42;
    EXPECT_THAT(in({right - 6, middle, right - 2, middle + 1}), Each(EDGE));
    EXPECT_EQ(at(right - 7, middle), SELECTED_BLOCK);
    ui().firstFrameShown = true;
    paint();
    EXPECT_EQ(at(36 + 5, 36 + 5), BACK);
}

TEST_F(WindowPaint, InFullscreenThereIsOnlyTheBackground) {
    loadTwoClips();
    toggleFullscreen();
    ASSERT_TRUE(ui().fullscreen);
    ShowWindow(ui().transport, SW_HIDE);
    paint();
    RECT client = {};
    GetClientRect(window, &client);
    EXPECT_THAT(in({0, client.bottom - 240, client.right, client.bottom}), Each(BACK));
    EXPECT_THAT(in({0, 0, client.right, 24}), Each(BACK));
}

TEST_F(WindowPaint, AnExportFillsItsStrip) {
    loadTwoClips();
    exportJob().exportExpected = 10;
    exportJob().exportProgress = 2.5;
    paint();
    EXPECT_EQ(at(5, 817), BAR_FILL); // none runs
    editState().exportBusy = true;
    paint();
    EXPECT_EQ(at(5, 814), BAR_FILL);
    EXPECT_EQ(at(0, 815), ORANGE);
    EXPECT_EQ(at(329, 819), ORANGE);
    EXPECT_EQ(at(330, 819), BOX);
    EXPECT_EQ(at(1319, 815), BOX);
    exportJob().exportExpected = 0; // it isn't known how long it will be
    paint();
    EXPECT_EQ(at(5, 817), BAR_FILL);
    editState().exportBusy = false;
}

TEST_F(WindowPaint, ACutThatIsDraggedIsMarked) {
    loadTwoClips();
    timelineMouse().drag = CutDrag{.cut = 0};
    paint();
    EXPECT_EQ(at(660, 600), BRIGHT);
    EXPECT_EQ(at(28, 600), BACK); // there is no playhead meanwhile
    timelineMouse() = {};
    paint();
    EXPECT_EQ(at(660, 600), BACK);
    EXPECT_EQ(at(28, 600), ORANGE);
}

TEST_F(WindowPaint, TheSelectedCutIsBright) {
    loadTwoClips();
    editState().rollCutIndex = 0;
    paint();
    EXPECT_EQ(at(30, 650), EDGE);
    EXPECT_EQ(at(657, 650), BRIGHT);
    endGesture();
    paint();
    EXPECT_EQ(at(657, 650), BLOCK);
}

TEST_F(WindowPaint, TheNameUnderRenameIsNotDrawn) {
    loadTwoClips();
    constexpr RECT LABEL = {36, 611, 600, 636};
    paint();
    EXPECT_THAT(in(LABEL), Contains(Ne(BLOCK)));
    renameState().target = 0;
    paint();
    EXPECT_THAT(in(LABEL), Each(BLOCK));
    renameState() = {};
    paint();
    EXPECT_THAT(in(LABEL), Contains(Ne(BLOCK)));
}

// Its box is 110 wide and 20 high, 4 above the track.
TEST_F(WindowPaint, ThePointersTimeIsShown) {
    loadTwoClips();
    paint();
    EXPECT_EQ(at(646, 583), BACK);
    timelineMouse().hoverX = 700;
    paint();
    EXPECT_EQ(at(646, 583), BOX);
    EXPECT_EQ(at(754, 601), BOX);
    EXPECT_EQ(at(755, 601), BACK);
    timelineMouse().scrub = Scrub{};
    paint();
    EXPECT_EQ(at(646, 583), BACK);
    timelineMouse().scrub.reset();
    renameState().open = true;
    renameState().target = timelineMouse().hoverClip = 1;
    paint();
    EXPECT_EQ(at(646, 583), BACK) << "the box would lie around the field";
    renameState().target = 0;
    paint();
    EXPECT_EQ(at(646, 583), BOX);
    renameState() = {};
}

TEST_F(WindowPaint, UnderTheVideoThePointersTimeIsInTheTrack) {
    loadTwoClips();
    timelineMouse().hoverX = 700;
    ShowWindow(ui().video, SW_SHOWNA);
    paint();
    EXPECT_EQ(at(646, 611), BOX);
    EXPECT_EQ(at(754, 629), BOX);
    EXPECT_EQ(at(754, 630), SELECTED_BLOCK);
    ShowWindow(ui().video, SW_HIDE);
    paint();
    EXPECT_EQ(at(646, 583), BOX);
    EXPECT_EQ(at(754, 629), SELECTED_BLOCK);
}

// Where the video ends is meant in the window, wherever the window is on the screen.
TEST_F(WindowPaint, OverAVideoThatEndsAboveItThePointersTimeStays) {
    loadTwoClips();
    timelineMouse().hoverX = 700;
    SetWindowPos(window, nullptr, 30, 40, 0, 0, SWP_NOSIZE | SWP_NOZORDER | SWP_NOACTIVATE);
    SetWindowPos(ui().video, nullptr, 24, 24, 1272, 558,
                 SWP_NOZORDER | SWP_NOACTIVATE | SWP_SHOWWINDOW);
    paint();
    EXPECT_EQ(at(646, 583), BOX);
    EXPECT_EQ(at(754, 629), SELECTED_BLOCK);
}

} // namespace
} // namespace velkantrix
