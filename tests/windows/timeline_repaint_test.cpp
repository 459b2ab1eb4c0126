// What of the main window is painted again, and when.
#include <string>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "app/placing.h"
#include "app/timeline_paint.h"
#include "app/window_tick.h"
#include "tests/windows/paint_fixture.h"

namespace velkantrix {
namespace {

MATCHER_P4(IsRect, left, top, right, bottom, "") {
    return arg.left == left && arg.top == top && arg.right == right && arg.bottom == bottom;
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
