#include "app/timeline_mouse.h"

#include "edit/history.h"
#include "edit/open_flow.h"
#include "edit/operations.h"
#include "edit/roll_cut.h"
#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

using testing::Contains;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::Not;

// A track of 1000 pixels from x 28, and 10 seconds kept: 10 ms a pixel. The cut is at 428.
class TimelineMouseTest : public EditTest {
protected:
    TimelineMouseTest() {
        load(20, {clip(0, 4), clip(6, 12)});
        timelineMouse() = {};
        timelineMouseHost() = {.beginScrub =
                                   [this] {
                                       recorder.record("begin scrub");
                                       return plays;
                                   },
                               .endScrub =
                                   [this](double time, bool resume) {
                                       recorder.record(resume ? "end scrub, play" : "end scrub",
                                                       time);
                                   },
                               .capture = [this] { recorder.record("capture"); },
                               .releaseCapture =
                                   [this] {
                                       recorder.record("release");
                                       timelineCaptureLost(); // as the system tells it
                                   },
                               .askForLeave = [this] { recorder.record("ask for leave"); },
                               .now =
                                   [this] {
                                       return now;
                                   }};
        recorder.keepsStates = false;
    }
    ~TimelineMouseTest() override {
        timelineMouse() = {};
        timelineMouseHost() = {};
    }
    TimelineMouseTest(const TimelineMouseTest&) = delete;
    TimelineMouseTest& operator=(const TimelineMouseTest&) = delete;

    void press(std::int32_t x, std::int32_t y = 650) { timelinePressed(place, x, y); }
    void move(std::int32_t x, std::int32_t y = 650) { timelineMoved(place, x, y); }
    void release(std::int32_t x) { timelineReleased(place, x); }

    TimelinePlace place{{28, 606, 1028, 706}, 96};
    bool plays = false;
    std::uint64_t now = 1000;
};

// Scrubbing

TEST_F(TimelineMouseTest, APressScrubsToThePoint) {
    state.rollCutIndex = 0;
    press(228);
    EXPECT_TRUE(isScrubbing());
    EXPECT_THAT(recorder.calls,
                ElementsAre("begin scrub", "seek 2", "dim 1", "repaint", "repaint", "capture"));
    EXPECT_EQ(state.playhead, 2);
    EXPECT_EQ(state.selectedClip, 0);
    EXPECT_EQ(state.rollCutIndex, -1);
    EXPECT_EQ(state.statusText, L"Scrubbing  00:02.000");
}

TEST_F(TimelineMouseTest, ScrubbingSelectsTheClipUnderThePointer) {
    press(228);
    now += 16;
    move(528);
    EXPECT_EQ(state.selectedClip, 1);
    EXPECT_EQ(state.playhead, 7);
    EXPECT_EQ(state.statusText, L"Scrubbing  00:05.000");
}

TEST_F(TimelineMouseTest, ScrubbingSeeksEachSixteenMilliseconds) {
    press(228);
    now += 15;
    move(328);
    EXPECT_EQ(state.playhead, 2);
    now += 1;
    move(338);
    EXPECT_EQ(state.playhead, 3.1);
    now += 15;
    move(400);
    EXPECT_EQ(state.playhead, 3.1);
    EXPECT_EQ(timelineMouse().scrub->lastX, 400);
}

TEST_F(TimelineMouseTest, ScrubbingStaysOnTheTrack) {
    press(228);
    now += 16;
    move(-500);
    EXPECT_EQ(state.playhead, 0);
    now += 16;
    move(5000, -90);
    EXPECT_EQ(state.playhead, 12);
}

TEST_F(TimelineMouseTest, AReleaseLandsAtItsPoint) {
    press(228);
    recorder.forget();
    release(328);
    EXPECT_FALSE(isScrubbing());
    EXPECT_THAT(recorder.calls, ElementsAre("release", "end scrub 3", "dim 1", "refreshUi"));
    EXPECT_EQ(state.playhead, 3);
    EXPECT_EQ(state.selectedClip, 0);
    EXPECT_EQ(state.statusText, L"Ready");
}

TEST_F(TimelineMouseTest, WhatPlayedBeforePlaysOnAfterTheRelease) {
    plays = true;
    press(228);
    recorder.forget();
    release(5000);
    EXPECT_THAT(recorder.calls, Contains("end scrub, play 12"));
    EXPECT_EQ(state.selectedClip, 1);
}

TEST_F(TimelineMouseTest, AScrubWhoseCaptureIsLostEndsWhereItIsWithoutPlaying) {
    plays = true;
    press(228);
    recorder.forget();
    timelineCaptureLost();
    EXPECT_FALSE(isScrubbing());
    EXPECT_THAT(recorder.calls, ElementsAre("end scrub 2", "dim 1", "refreshUi"));
    EXPECT_EQ(state.statusText, L"Ready");
}

TEST_F(TimelineMouseTest, WhileAJobRunsScrubbingWorksAndItsProgressStays) {
    state.exportBusy = true;
    press(430); // on the cut
    EXPECT_TRUE(isScrubbing());
    state.statusText = L"Exporting  10%";
    release(228);
    EXPECT_EQ(state.statusText, L"Exporting  10%");
    press(40, 615); // on the label
    EXPECT_TRUE(isScrubbing());
    EXPECT_FALSE(renameState().open);
}

TEST_F(TimelineMouseTest, APressOutsideTheTrackIsNothing) {
    for (const auto& [x, y] : {std::pair{27, 650}, {1028, 650}, {500, 605}, {500, 706}}) {
        press(x, y);
        EXPECT_FALSE(isScrubbing());
        EXPECT_FALSE(isDragging());
    }
}

TEST_F(TimelineMouseTest, WithoutAVideoOrATrackNothingHappens) {
    place.track = {};
    press(0, 0);
    move(0, 0);
    place.track = {28, 606, 1028, 706};
    state.videoLoaded = false;
    press(228);
    move(228);
    release(228);
    timelineCaptureLost();
    timelineLeft();
    EXPECT_EQ(timelineMouse(), TimelineMouse{});
    EXPECT_THAT(recorder.calls, IsEmpty());
}

TEST_F(TimelineMouseTest, UntilTheEngineHasTheFileAgainAPressIsNothing) {
    openState().phase = OpenPhase::Reopening;
    for (const auto& [x, y] : {std::pair{228, 650}, {428, 650}, {40, 615}}) {
        press(x, y);
        EXPECT_EQ(timelineMouse(), TimelineMouse{}) << x;
        EXPECT_FALSE(renameState().open) << x;
    }
    EXPECT_THAT(recorder.calls, IsEmpty());
    EXPECT_EQ(state.rollCutIndex, -1);
    openState() = {};
    press(228);
    EXPECT_TRUE(isScrubbing());
}

// Renaming

TEST_F(TimelineMouseTest, APressOnTheSelectedClipsLabelOpensItsField) {
    press(40, 615);
    EXPECT_TRUE(renameState().open);
    EXPECT_EQ(renameState().target, 0);
    EXPECT_FALSE(isScrubbing());
}

TEST_F(TimelineMouseTest, APressOnAnotherClipsLabelScrubs) {
    press(440, 615);
    EXPECT_FALSE(renameState().open);
    EXPECT_TRUE(isScrubbing());
    EXPECT_EQ(state.selectedClip, 1);
}

// The middle clip is at 328..448: its label at 334..443 reaches into the handles of both its cuts.
TEST_F(TimelineMouseTest, WhereALabelAndACutMeetTheLabelIsMeant) {
    load(20, {clip(0, 3), clip(4, 5.2), clip(6, 11.8)});
    for (const std::int32_t x : {334, 443}) {
        state.selectedClip = 1;
        press(x, 615);
        EXPECT_TRUE(renameState().open) << x;
        EXPECT_EQ(renameState().target, 1) << x;
        EXPECT_FALSE(isDragging()) << x;
        press(x, 650); // below the label
        EXPECT_FALSE(renameState().open) << x;
        EXPECT_TRUE(isDragging()) << x;
        release(x);
    }
}

TEST_F(TimelineMouseTest, APressElsewhereKeepsWhatWasTyped) {
    press(40, 615);
    recorder.typed = L"Goal";
    press(700);
    EXPECT_FALSE(renameState().open);
    EXPECT_EQ(state.clips[0].name, L"Goal");
    EXPECT_TRUE(isScrubbing());
}

// Dragging a cut

TEST_F(TimelineMouseTest, APressOnACutDragsIt) {
    press(430);
    EXPECT_TRUE(isDragging());
    EXPECT_EQ(*timelineMouse().drag, (CutDrag{0, 4, 430, 0.01}));
    EXPECT_EQ(state.rollCutIndex, 0);
    EXPECT_EQ(state.selectedClip, 0);
    EXPECT_EQ(state.playhead, 4);
    EXPECT_EQ(state.statusText,
              L"Cut 1–2 — drag to move   ·   ← → 5 s   ·   , . frame   ·   Esc done");
    EXPECT_THAT(recorder.calls, Contains("capture"));
}

TEST_F(TimelineMouseTest, APlayingVideoIsPausedByTheDrag) {
    recorder.playing = true;
    press(430);
    EXPECT_THAT(recorder.calls, Contains("pause"));
}

TEST_F(TimelineMouseTest, AHandleReachesALittleBelowTheTrack) {
    press(428, 710);
    EXPECT_TRUE(isDragging());
    release(428);
    press(428, 711);
    EXPECT_FALSE(isDragging());
    press(434, 650);
    EXPECT_TRUE(isDragging());
    release(434);
    press(435, 650);
    EXPECT_FALSE(isDragging());
}

TEST_F(TimelineMouseTest, TheCutGoesWithThePointer) {
    press(430);
    move(480);
    EXPECT_EQ(state.clips[0].end, 4.5);
    EXPECT_EQ(state.clips[1].start, 6.5);
    move(330);
    EXPECT_EQ(state.clips[0].end, 3);
    EXPECT_EQ(state.undoStack.size(), 1u);
}

TEST_F(TimelineMouseTest, ThePlayheadFollowsTheCutEach33Milliseconds) {
    press(430);
    move(480);
    EXPECT_EQ(state.playhead, 4.5);
    now += 32;
    move(490);
    EXPECT_EQ(state.playhead, 4.5);
    now += 1;
    move(500);
    EXPECT_EQ(state.playhead, 4.7);
}

// The last one too, and a drag that is broken off.
TEST_F(TimelineMouseTest, InTheEndThePlayheadIsAtTheCut) {
    for (const bool lost : {false, true}) {
        now += 100;
        press(lost ? 600 : 430);
        move(480);
        now += 5;
        move(600);
        EXPECT_NE(state.playhead, state.clips[0].end) << "too soon";
        if (lost)
            timelineCaptureLost();
        else
            release(600);
        EXPECT_EQ(state.playhead, state.clips[0].end);
    }
}

// The right clip keeps 0.1 s: the cut stops at 9.9, and comes back with the first pixel.
TEST_F(TimelineMouseTest, AtALimitTheDragStartsAnew) {
    press(430);
    move(1500);
    const double limit = state.clips[0].end;
    EXPECT_DOUBLE_EQ(limit, 9.9);
    move(1490);
    EXPECT_DOUBLE_EQ(state.clips[0].end, limit - 0.1);
}

TEST_F(TimelineMouseTest, AReleaseKeepsTheCutSelected) {
    press(430);
    move(480);
    recorder.forget();
    release(480);
    EXPECT_FALSE(isDragging());
    EXPECT_EQ(state.rollCutIndex, 0);
    EXPECT_EQ(state.statusText, L"Cut 1–2  00:04.500   ·   ← → 5 s   ·   , . frame   ·   Esc done");
    EXPECT_EQ(recorder.calls.front(), "release");
    EXPECT_THAT(recorder.calls, Not(Contains("end scrub")));
}

TEST_F(TimelineMouseTest, ALostCaptureDropsTheDrag) {
    press(430);
    move(480);
    recorder.forget();
    timelineCaptureLost();
    EXPECT_FALSE(isDragging());
    EXPECT_THAT(recorder.calls, ElementsAre("repaint"));
    move(600);
    EXPECT_EQ(state.clips[0].end, 4.5);
}

TEST_F(TimelineMouseTest, AGestureCanBeEndedFromOutside) {
    press(430);
    recorder.forget();
    endTimelineGesture();
    EXPECT_FALSE(isDragging());
    EXPECT_THAT(recorder.calls, ElementsAre("repaint", "release"));
    press(228);
    endTimelineGesture();
    EXPECT_FALSE(isScrubbing());
    recorder.forget();
    endTimelineGesture();
    EXPECT_THAT(recorder.calls, IsEmpty());
}

TEST_F(TimelineMouseTest, ACutThatIsGoneIsNotDragged) {
    press(430);
    state.clips.pop_back();
    move(480);
    EXPECT_EQ(state.clips[0].end, 4);
    release(480);
}

TEST_F(TimelineMouseTest, AJobThatBeginsStopsTheDrag) {
    press(430);
    state.exportBusy = true;
    move(480);
    EXPECT_EQ(state.clips[0].end, 4);
}

// Hovering

TEST_F(TimelineMouseTest, ThePointerOverTheTrackIsNoted) {
    move(500);
    EXPECT_EQ(timelineMouse().hoverX, 500);
    EXPECT_EQ(timelineMouse().hoverClip, 1);
    EXPECT_THAT(recorder.calls, ElementsAre("ask for leave", "repaint"));
}

TEST_F(TimelineMouseTest, OutsideItIsForgottenOnce) {
    move(500);
    recorder.forget();
    move(500, 400);
    EXPECT_EQ(timelineMouse(), TimelineMouse{});
    EXPECT_THAT(recorder.calls, ElementsAre("repaint"));
    recorder.forget();
    move(500, 399);
    timelineLeft();
    EXPECT_THAT(recorder.calls, IsEmpty());
}

TEST_F(TimelineMouseTest, ThePointerLeavingTheWindowIsForgotten) {
    move(500);
    timelineLeft();
    EXPECT_EQ(timelineMouse(), TimelineMouse{});
}

// The cursor

TEST_F(TimelineMouseTest, TheCursorTellsACut) {
    EXPECT_TRUE(showsSizingCursor(place, 428, 650));
    EXPECT_FALSE(showsSizingCursor(place, 500, 650));
    state.exportBusy = true;
    EXPECT_FALSE(showsSizingCursor(place, 428, 650));
    state.exportBusy = false;
    press(428);
    EXPECT_TRUE(showsSizingCursor(place, 900, 20));
}

} // namespace
} // namespace velkantrix
