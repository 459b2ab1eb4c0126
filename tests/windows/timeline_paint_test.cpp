// What the main window paints, read back from the window itself: it is on the screen meanwhile.
#include "app/timeline_paint.h"

#include <cstdint>
#include <set>
#include <string>
#include <utility>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/drawing_gdi.h"
#include "app/placing.h"
#include "app/timeline_layout.h"
#include "app/window_tick.h"
#include "edit/timeline_map.h"
#include "playback/diagnostics_text.h"
#include "tests/windows/canvas.h"
#include "tests/windows/window_fixture.h"

namespace velkantrix {
namespace {

using testing::Contains;
using testing::Each;
using testing::Ne;

constexpr COLORREF BACK = RGB(22, 21, 16);
constexpr COLORREF BAR_FILL = RGB(30, 28, 22);
constexpr COLORREF BAR_LINE = RGB(51, 49, 42);
constexpr COLORREF TRACK_FILL = RGB(18, 17, 13);
constexpr COLORREF BLOCK = RGB(38, 36, 30);
constexpr COLORREF SELECTED_BLOCK = RGB(58, 30, 26);
constexpr COLORREF ORANGE = RGB(226, 91, 69);
constexpr COLORREF SOFT = RGB(154, 148, 138);
constexpr COLORREF BRIGHT = RGB(248, 246, 240);
constexpr COLORREF EDGE = RGB(198, 190, 175);
constexpr COLORREF BOX = RGB(40, 38, 30);

class PaintEnvironment : public testing::Environment {
public:
    void SetUp() override {
        SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
        registerWindowClasses(GetModuleHandleW(nullptr));
    }
};
const auto* const environment = testing::AddGlobalTestEnvironment(new PaintEnvironment);

// A client area of 1320 by 820, with the track at 28..1292 and 606..706.
class WindowPaint : public WindowTest {
protected:
    WindowPaint() {
        changeDpi(96, {0, 0, 1400, 900});
        fitClient(1320, 820);
        ShowWindow(window, SW_SHOWNOACTIVATE);
    }

    void fitClient(LONG width, LONG height) const {
        RECT client = {};
        GetClientRect(window, &client);
        const RECT outer = place();
        SetWindowPos(window, nullptr, 0, 0, outer.right - outer.left - client.right + width,
                     outer.bottom - outer.top - client.bottom + height,
                     SWP_NOZORDER | SWP_NOACTIVATE);
        GetClientRect(window, &client);
        EXPECT_EQ(client.right, width);
        EXPECT_EQ(client.bottom, height);
    }

    // Two clips of the same length, the second one selected.
    static void loadTwoClips() {
        startEdit(10);
        splitClip(0, 5);
        ui().firstFrameShown = true;
    }

    void paint() const {
        InvalidateRect(window, nullptr, FALSE);
        UpdateWindow(window);
    }

    [[nodiscard]] COLORREF at(int x, int y) const {
        const HDC dc = GetDC(window);
        const COLORREF colour = GetPixel(dc, x, y);
        ReleaseDC(window, dc);
        return colour;
    }

    [[nodiscard]] Pixels in(const RECT& rect) const {
        const Canvas copy(rect.right - rect.left, rect.bottom - rect.top, 0);
        const HDC dc = GetDC(window);
        BitBlt(copy.dc(), 0, 0, rect.right - rect.left, rect.bottom - rect.top, dc, rect.left,
               rect.top, SRCCOPY);
        ReleaseDC(window, dc);
        return copy.all();
    }

    // What a drawing looks like there, on a window of that size.
    static Pixels pictureOf(const Drawing& drawing, const RECT& rect) {
        const Canvas canvas(1320, 820, BACK);
        carryOut(canvas.dc(), drawing);
        return canvas.in(rect);
    }

    void expectPicture(const Drawing& drawing, const RECT& rect) const {
        const Pixels expected = pictureOf(drawing, rect);
        EXPECT_THAT(expected, Contains(Ne(expected.front()))); // it shows something
        EXPECT_EQ(in(rect), expected);
    }

    // What is to be painted, once `ask` has asked for it.
    template <class Ask>
    [[nodiscard]] RECT asked(Ask ask) const {
        ValidateRect(window, nullptr);
        ask();
        RECT rect = {};
        GetUpdateRect(window, &rect, FALSE);
        return rect;
    }
};

MATCHER_P4(IsRect, left, top, right, bottom, "") {
    return arg.left == left && arg.top == top && arg.right == right && arg.bottom == bottom;
}

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
    renameState().open = true; // the box would lie around the field
    paint();
    EXPECT_EQ(at(646, 583), BACK);
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

TEST_F(WindowPaint, APartAloneCanBePaintedAndThenAllAgain) {
    loadTwoClips();
    paint();
    editState().selectedClip = 0;
    repaintDiagnostics();
    UpdateWindow(window);
    EXPECT_EQ(at(300, 650), BLOCK);
    repaintTimeline();
    UpdateWindow(window);
    EXPECT_EQ(at(300, 650), SELECTED_BLOCK);
    ui().firstFrameShown = false;
    paint();
    EXPECT_EQ(at(29, 29), RGB(0, 0, 0));
}

// Clips that last less than the milliseconds that the kept picture's key counts in: their cut can
// be moved without a new key, which shows whether the strip is drawn again.
class KeptStrip : public WindowPaint {
protected:
    KeptStrip() {
        startEdit(0.002);
        ui().firstFrameShown = true;
        editState().selectedClip = 1;
        moveCut(0.0006); // to x = 407
        paint();
        EXPECT_EQ(at(300, 650), BLOCK);
        EXPECT_EQ(at(600, 650), SELECTED_BLOCK);
        moveCut(0.0014); // to x = 912
    }

    static void moveCut(double time) {
        editState().clips = {{.start = 0, .end = time}, {.start = time, .end = 0.002}};
    }

    void expectOld() const { EXPECT_EQ(at(600, 650), SELECTED_BLOCK); }
    void expectNew() const { EXPECT_EQ(at(600, 650), BLOCK); }
};

TEST_F(KeptStrip, IsShownAgainWhileItsKeyIsTheSame) {
    paint();
    expectOld();
    timelineMouse().hoverX = 700; // what lies over it isn't part of it
    editState().statusText = L"Playing";
    paint();
    expectOld();
}

TEST_F(KeptStrip, IsDrawnAnewWithAnotherKey) {
    std::wstring name;
    const auto expectDrawnAfter = [&](auto change) {
        name += L"a"; // a key of its own for each change
        for (const double time : {0.0006, 0.0014}) {
            moveCut(time);
            editState().clips[0].name = name;
            paint();
            expectOld();
        }
        change();
        paint();
        expectNew();
    };
    expectDrawnAfter([] { editState().clips[1].name = L"b"; });
    expectDrawnAfter([] { editState().rollCutIndex = 0; });
    expectDrawnAfter([] { renameState().target = 1; });
    expectDrawnAfter([] { editState().duration = 7; }); // the waveform is laid over all of it
    expectDrawnAfter([] { ui().dpi = 97; });
}

TEST_F(KeptStrip, IsDrawnAnewInAWindowOfAnotherSize) {
    fitClient(1320, 780);
    paint();
    EXPECT_EQ(at(600, 610), BLOCK);
    EXPECT_EQ(at(1000, 610), SELECTED_BLOCK);
    fitClient(1220, 780);
    paint();
    EXPECT_EQ(at(600, 610), BLOCK);
    EXPECT_EQ(at(1191, 610), ORANGE);
    EXPECT_EQ(at(1200, 610), BACK);
}

TEST_F(KeptStrip, IsDrawnEachTimeWhileACutIsDragged) {
    timelineMouse().drag = CutDrag{.cut = 0};
    paint();
    expectNew();
    timelineMouse().drag.reset();
    paint();
    expectOld(); // the picture was left as it was
}

TEST_F(WindowPaint, TheSecondsTimerRepaintsTheProgramsFigures) {
    loadTwoClips();
    paint();
    const auto tick = [this] {
        send(WM_TIMER, 201);
    };
    EXPECT_THAT(asked(tick), IsRect(0, 0, 1320, 24));
    changeDpi(144, {0, 0, 1400, 1000});
    RECT client = {};
    GetClientRect(window, &client);
    EXPECT_THAT(asked(tick), IsRect(0, 0, client.right, 36));
    toggleFullscreen();
    ASSERT_TRUE(ui().fullscreen);
    EXPECT_THAT(asked(tick), IsRect(0, 0, 0, 0));
}

TEST_F(WindowPaint, TheTimeRepaintsTheTimeline) {
    loadTwoClips();
    paint();
    EXPECT_THAT(asked(repaintTimeline), IsRect(0, 580, 1320, 820));
    changeDpi(144, {0, 0, 1400, 1000});
    RECT client = {};
    GetClientRect(window, &client);
    EXPECT_THAT(asked(repaintTimeline),
                IsRect(0, client.bottom - 360, client.right, client.bottom));
    toggleFullscreen();
    ASSERT_TRUE(ui().fullscreen);
    EXPECT_THAT(asked(repaintTimeline), IsRect(0, 0, 0, 0));
}

} // namespace
} // namespace velkantrix
