#include "edit/roll_cut.h"

#include "edit/history.h"
#include "edit/operations.h"
#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

class RollCut : public EditTest {};

TEST_F(RollCut, TheGapMovesWithTheCut) {
    load(20, {clip(0, 10), clip(12, 20)});
    rollCut(0, 11);
    EXPECT_EQ(state.clips, (ClipList{clip(0, 11), clip(13, 20)}));
    rollCut(0, 3);
    EXPECT_EQ(state.clips, (ClipList{clip(0, 3), clip(5, 20)}));
}

TEST_F(RollCut, StopsWhereAClipWouldGetTooShort) {
    struct Row {
        double t;
        double end;
    };
    for (const Row& row : {Row{17.95, 17.9}, Row{30, 17.9}, Row{INF, 17.9}, Row{2.05, 2.1},
                           Row{-30, 2.1}, Row{-INF, 2.1}, Row{17.9, 17.9}, Row{2.1, 2.1}}) {
        load(20, {clip(2, 10), clip(12, 20)});
        rollCut(0, row.t);
        EXPECT_DOUBLE_EQ(state.clips[0].end, row.end) << row.t;
        EXPECT_DOUBLE_EQ(state.clips[1].start, row.end + 2) << row.t;
        EXPECT_EQ(state.clips[0].start, 2);
        EXPECT_EQ(state.clips[1].end, 20);
    }
}

TEST_F(RollCut, TheLeftEndNeverPassesTheDuration) {
    // Only a list that reaches past the source gets this far.
    EXPECT_EQ(rolledCut({clip(0, 10), clip(10, 30)}, 20, 0, 25), 20);
}

TEST_F(RollCut, ARightClipThatOverlapsNeverStartsBeforeTheSource) {
    // Its start is 3 before the cut, so the cut stops at 3.
    EXPECT_EQ(rolledCut({clip(0, 8), clip(5, 20)}, 20, 0, 1), 3);
}

TEST_F(RollCut, LeavesTheOtherClipsAlone) {
    load(30, {clip(0, 4), clip(4, 9), clip(10, 20), clip(20, 30)});
    rollCut(1, 6);
    EXPECT_EQ(state.clips, (ClipList{clip(0, 4), clip(4, 6), clip(7, 20), clip(20, 30)}));
    EXPECT_EQ(state.selectedClip, 1);
}

TEST_F(RollCut, TellsTheCutAndTheKeysThatMoveIt) {
    load(20, {clip(0, 4), clip(4, 10), clip(12, 20)});
    rollCut(1, 11);
    EXPECT_EQ(state.statusText, L"Cut 2–3  00:11.000   ·   ← → 5 s   ·   , . frame   ·   Esc done");
    EXPECT_THAT(recorder.calls, ElementsAre("repaint"));
    EXPECT_TRUE(recorder.during("repaint") == state);
}

TEST_F(RollCut, ShortensFadesOfBothClips) {
    load(20, {clip(0, 10, 0, 4), clip(10, 20, 5, 6)});
    rollCut(0, 3);
    EXPECT_EQ(state.clips, (ClipList{clip(0, 3, 0, 3), clip(3, 20, 5, 6)}));
    rollCut(0, 14);
    EXPECT_EQ(state.clips, (ClipList{clip(0, 14, 0, 3), clip(14, 20, 5, 1)}));
}

TEST_F(RollCut, RecordsOncePerGesture) {
    load(20, {clip(0, 4), clip(5, 10), clip(12, 20)});
    rollCut(1, 11);
    rollCut(1, 12);
    rollCut(1, 13);
    ASSERT_EQ(state.undoStack.size(), 1u);
    EXPECT_EQ(state.undoStack[0].clips, (ClipList{clip(0, 4), clip(5, 10), clip(12, 20)}));
    EXPECT_EQ(state.undoStack[0].selectedClip, 0);
    EXPECT_EQ(state.undoStack[0].label, std::wstring(L"roll cut"));
    EXPECT_TRUE(state.gestureRecorded);
    EXPECT_TRUE(state.edited);
}

TEST_F(RollCut, AMoveOfAMicrosecondIsNoChange) {
    load(20, {clip(0, 4), clip(5, 10), clip(12, 20)}); // clip 0 is selected, and stays so
    expectNothingHappens([] { rollCut(1, 10 + 0.9e-6); });
    expectNothingHappens([] { rollCut(1, 10 - 0.9e-6); });
    rollCut(1, 10 + 1.1e-6);
    EXPECT_EQ(state.undoStack.size(), 1u);
}

TEST_F(RollCut, NumbersMayHaveTwoDigits) {
    ClipList clips;
    for (int i = 0; i < 10; ++i) clips.push_back(clip(2 * i, 2 * i + 2));
    load(20, clips);
    rollCut(8, 17);
    EXPECT_EQ(state.statusText,
              L"Cut 9–10  00:17.000   ·   ← → 5 s   ·   , . frame   ·   Esc done");
}

TEST_F(RollCut, OfClipsTooShortToShareTheLeftOneGrowsToTheRightOnesMinimum) {
    for (const double t : {-INF, -1.0, 0.02, 0.07, 0.09, 1.0, INF}) {
        load(20, {clip(0, 0.05), clip(1.05, 1.18)});
        rollCut(0, t);
        EXPECT_NEAR(state.clips[0].end, 0.08, 1e-12) << t;
        EXPECT_NEAR(state.clips[1].start, 1.08, 1e-12) << t;
        EXPECT_EQ(state.undoStack.size(), 1u) << t;
    }
}

TEST_F(RollCut, OfClipsTooShortToShareTheLeftOneNeverPays) {
    const ClipList lists[] = {
        {clip(0, 0.13), clip(0.13, 0.18)},            // 0.08 would be left of it
        {clip(0, 0.06), clip(0.06, 0.1001)},          // next to nothing
        {clip(1, 1.05), clip(1.05, 1.1), clip(2, 3)}, // nothing at all
    };
    for (const ClipList& clips : lists) {
        load(20, clips);
        for (const double t : {0.0, 0.05, 0.08, 0.15, 0.5, 1.02, 1.07, 2.0, INF, -INF}) {
            expectNothingHappens([&] { rollCut(0, t); });
        }
    }
}

TEST_F(RollCut, BadArgumentsDoNothing) {
    load(20, {clip(0, 10), clip(12, 20)});
    expectNothingHappens([&] { rollCut(0, NOT_A_NUMBER); });
    for (const std::int32_t i : {-1, 1, 2, LOWEST, HIGHEST}) {
        expectNothingHappens([&] { rollCut(i, 5); });
    }
    state.exportBusy = true;
    expectNothingHappens([] { rollCut(0, 11); });
    state.exportBusy = false;
    startEdit(20);
    expectNothingHappens([] { rollCut(0, 11); });
    emptyEdit();
    expectNothingHappens([] { rollCut(0, 11); });
}

class RollNudge : public EditTest {};

TEST_F(RollNudge, MovesTheSelectedCutAndPutsThePlayheadOnIt) {
    load(40, {clip(0, 10), clip(12, 40)});
    state.rollCutIndex = 0;
    rollNudge(5);
    EXPECT_EQ(state.clips, (ClipList{clip(0, 15), clip(17, 40)}));
    EXPECT_EQ(state.playhead, 15);
    EXPECT_THAT(recorder.calls, ElementsAre("repaint", "seek 15", "dim 1", "repaint"));
    rollNudge(-0.04);
    EXPECT_DOUBLE_EQ(state.clips[0].end, 14.96);
    EXPECT_DOUBLE_EQ(state.playhead, 14.96);
    EXPECT_EQ(state.undoStack.size(), 1u);
    EXPECT_EQ(state.rollCutIndex, 0);
}

TEST_F(RollNudge, AtTheLimitThePlayheadStillGoesToTheCut) {
    load(20, {clip(0, 0.1), clip(12, 20)});
    state.rollCutIndex = 0;
    state.playhead = 15;
    rollNudge(-5);
    EXPECT_TRUE(state.undoStack.empty());
    EXPECT_EQ(state.playhead, 0.1);
}

TEST_F(RollNudge, EndlessNudgesStopAtTheLimits) {
    load(20, {clip(0, 10), clip(12, 20)});
    state.rollCutIndex = 0;
    rollNudge(INF);
    EXPECT_DOUBLE_EQ(state.clips[0].end, 17.9);
    rollNudge(-INF);
    EXPECT_DOUBLE_EQ(state.clips[0].end, 0.1);
}

TEST_F(RollNudge, WithoutASelectedCutNothingHappens) {
    load(20, {clip(0, 10), clip(12, 20)});
    for (const std::int32_t i : {-1, 1, 2, LOWEST, HIGHEST}) {
        state.rollCutIndex = i;
        expectNothingHappens([] { rollNudge(1); });
    }
}

TEST_F(RollNudge, ByNoNumberOrWhileAJobRunsNothingHappens) {
    load(20, {clip(0, 10), clip(12, 20)});
    state.rollCutIndex = 0;
    expectNothingHappens([&] { rollNudge(NOT_A_NUMBER); });
    state.exportBusy = true;
    expectNothingHappens([] { rollNudge(1); });
}

class CutDrag : public EditTest {};

TEST_F(CutDrag, APressSelectsTheCutPausesAndGoesThere) {
    load(20, {clip(0, 4), clip(4, 10), clip(12, 20)});
    recorder.playing = true;
    state.gestureRecorded = true;
    beginCutDrag(1);
    EXPECT_EQ(state.rollCutIndex, 1);
    EXPECT_FALSE(state.gestureRecorded);
    EXPECT_EQ(state.selectedClip, 1);
    EXPECT_EQ(state.playhead, 10);
    EXPECT_EQ(state.statusText,
              L"Cut 2–3 — drag to move   ·   ← → 5 s   ·   , . frame   ·   Esc done");
    EXPECT_THAT(recorder.calls, ElementsAre("pause", "seek 10", "dim 1", "repaint", "repaint"));
    for (const char* call : {"pause", "seek 10"}) {
        EXPECT_EQ(recorder.during(call).rollCutIndex, 1) << call;
        EXPECT_EQ(recorder.during(call).selectedClip, 1) << call;
    }
    EXPECT_TRUE(recorder.during("repaint") == state);
    EXPECT_TRUE(state.undoStack.empty());
}

TEST_F(CutDrag, APressWhilePausedDoesNotPauseAgain) {
    load(20, {clip(0, 10), clip(12, 20)});
    beginCutDrag(0);
    EXPECT_THAT(recorder.calls, ElementsAre("seek 10", "dim 1", "repaint", "repaint"));
}

TEST_F(CutDrag, AVideoThatClosesWhileItPausesHasNoCutToGoTo) {
    load(20, {clip(0, 4), clip(4, 10), clip(12, 20)});
    recorder.playing = true;
    state.statusText = L"before";
    editHost().pause = [] {
        emptyEdit();
    };
    beginCutDrag(1);
    EXPECT_EQ(state.rollCutIndex, -1);
    EXPECT_EQ(state.playhead, 0);
    EXPECT_EQ(state.statusText, L"before");
    EXPECT_TRUE(recorder.calls.empty());
}

TEST_F(CutDrag, DraggingAndNudgingIsOneHistoryEntry) {
    load(40, {clip(0, 10), clip(12, 40)});
    beginCutDrag(0);
    for (int i = 1; i <= 30; ++i) dragCut(10 + 0.1 * i);
    endCutDrag();
    EXPECT_EQ(state.rollCutIndex, 0);
    EXPECT_TRUE(state.gestureRecorded);
    rollNudge(5);
    rollNudge(-frameDuration());
    ASSERT_EQ(state.undoStack.size(), 1u);
    EXPECT_EQ(state.undoStack[0].clips, (ClipList{clip(0, 10), clip(12, 40)}));

    beginCutDrag(0);
    dragCut(20);
    EXPECT_EQ(state.undoStack.size(), 2u);
    cancelGesture();
    beginCutDrag(0);
    dragCut(21);
    EXPECT_EQ(state.undoStack.size(), 3u);
}

TEST_F(CutDrag, OfALaterCutMovesThatCutThroughout) {
    load(40, {clip(0, 4), clip(4, 10), clip(12, 40)});
    beginCutDrag(1);
    dragCut(11);
    EXPECT_EQ(state.clips, (ClipList{clip(0, 4), clip(4, 11), clip(13, 40)}));
    EXPECT_EQ(state.playhead, 10);
    endCutDrag();
    EXPECT_EQ(state.statusText, L"Cut 2–3  00:11.000   ·   ← → 5 s   ·   , . frame   ·   Esc done");
    rollNudge(5);
    EXPECT_EQ(state.clips, (ClipList{clip(0, 4), clip(4, 16), clip(18, 40)}));
    EXPECT_EQ(state.playhead, 16);
    EXPECT_EQ(state.statusText, L"Cut 2–3  00:16.000   ·   ← → 5 s   ·   , . frame   ·   Esc done");
}

TEST_F(CutDrag, AfterAnotherOperationTheCutIsNoLongerSelected) {
    load(20, {clip(0, 10), clip(12, 20)});
    beginCutDrag(0);
    dragCut(11);
    endCutDrag();
    splitClip(0, 5);
    EXPECT_EQ(state.rollCutIndex, -1);
    expectNothingHappens([] { rollNudge(1); });
    expectNothingHappens([] { dragCut(3); });
    expectNothingHappens([] { endCutDrag(); });
}

TEST_F(CutDrag, TheReleaseTellsWhereTheCutIs) {
    load(20, {clip(0, 10), clip(12, 20)});
    beginCutDrag(0);
    recorder.forget();
    endCutDrag();
    EXPECT_EQ(state.statusText, L"Cut 1–2  00:10.000   ·   ← → 5 s   ·   , . frame   ·   Esc done");
    EXPECT_THAT(recorder.calls, ElementsAre("repaint"));
    EXPECT_TRUE(recorder.during("repaint") == state);
}

TEST_F(CutDrag, EscapeEndsTheMode) {
    load(20, {clip(0, 10), clip(12, 20)});
    beginCutDrag(0);
    dragCut(11);
    recorder.forget();
    cancelGesture();
    EXPECT_EQ(state.rollCutIndex, -1);
    EXPECT_FALSE(state.gestureRecorded);
    EXPECT_EQ(state.statusText, L"Ready");
    EXPECT_EQ(state.clips[0].end, 11); // what was dragged stays
    EXPECT_THAT(recorder.calls, ElementsAre("repaint"));
    EXPECT_TRUE(recorder.during("repaint") == state);
    expectNothingHappens([] { cancelGesture(); });
}

TEST_F(CutDrag, WhileAJobRunsItsStatusStays) {
    load(20, {clip(0, 10), clip(12, 20)});
    beginCutDrag(0);
    dragCut(11);
    state.exportBusy = true;
    state.statusText = L"12 %";
    expectNothingHappens([] { endCutDrag(); });
    cancelGesture();
    EXPECT_EQ(state.rollCutIndex, -1);
    EXPECT_FALSE(state.gestureRecorded);
    EXPECT_EQ(state.statusText, L"12 %");
    EXPECT_THAT(recorder.calls, ElementsAre("repaint"));
}

TEST_F(CutDrag, BadPressesDoNothing) {
    load(20, {clip(0, 10), clip(12, 20)});
    for (const std::int32_t i : {-1, 1, 2, LOWEST, HIGHEST}) {
        expectNothingHappens([&] { beginCutDrag(i); });
    }
    expectNothingHappens([] { dragCut(5); });
    state.exportBusy = true;
    expectNothingHappens([] { beginCutDrag(0); });
}

TEST_F(CutDrag, WithoutCallbacksTheCutIsStillSelected) {
    load(20, {clip(0, 10), clip(12, 20)});
    editHost() = {};
    beginCutDrag(0);
    dragCut(NOT_A_NUMBER);
    dragCut(11);
    endCutDrag();
    EXPECT_EQ(state.clips[0].end, 11);
    editHost().isPlaying = [] {
        return true;
    };
    beginCutDrag(0);
    EXPECT_EQ(state.rollCutIndex, 0);
}

} // namespace
} // namespace velkantrix
