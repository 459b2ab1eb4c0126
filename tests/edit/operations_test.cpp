#include "edit/operations.h"

#include "edit/history.h"
#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

// What only an operation that happens may end.
void startGesture() {
    editState().rollCutIndex = 0;
    editState().gestureRecorded = true;
}

class SplitClip : public EditTest {};

TEST_F(SplitClip, LeavesTheFadeInLeftTheFadeOutRightAndTheNameOnBoth) {
    load(20, {clip(0, 20, 1, 2, L"beach")});
    splitClip(0, 8);
    EXPECT_EQ(state.clips, (ClipList{clip(0, 8, 1, 0, L"beach"), clip(8, 20, 0, 2, L"beach")}));
    EXPECT_EQ(state.selectedClip, 1);
    EXPECT_EQ(state.statusText, L"Split created");
    EXPECT_TRUE(state.edited);
}

TEST_F(SplitClip, InsertsBehindTheClip) {
    load(20, {clip(0, 4), clip(5, 9), clip(10, 20)});
    splitClip(1, 6);
    EXPECT_EQ(state.clips, (ClipList{clip(0, 4), clip(5, 6), clip(6, 9), clip(10, 20)}));
    EXPECT_EQ(state.selectedClip, 2);
}

TEST_F(SplitClip, RecordsThenChangesThenRefreshes) {
    load(20, {clip(0, 20)});
    startGesture();
    const ClipList before = state.clips;
    splitClip(0, 8);
    EXPECT_EQ(state.rollCutIndex, -1);
    EXPECT_FALSE(state.gestureRecorded);
    ASSERT_EQ(state.undoStack.size(), 1u);
    EXPECT_EQ(state.undoStack[0].clips, before);
    EXPECT_EQ(state.undoStack[0].selectedClip, 0);
    EXPECT_EQ(state.undoStack[0].label, std::wstring(L"split"));
    EXPECT_THAT(recorder.calls, ElementsAre("refreshUi"));
    EXPECT_TRUE(recorder.during("refreshUi") == state);
}

TEST_F(SplitClip, ShortensFadesToTheirPieces) {
    load(20, {clip(0, 20, 5, 6)});
    splitClip(0, 2);
    EXPECT_EQ(state.clips[0], clip(0, 2, 2, 0));
    EXPECT_EQ(state.clips[1], clip(2, 20, 0, 6));
    undo();
    splitClip(0, 19);
    EXPECT_EQ(state.clips[0], clip(0, 19, 5, 0));
    EXPECT_EQ(state.clips[1], clip(19, 20, 0, 1));
}

TEST_F(SplitClip, FortyMillisecondsFromEitherEdgeDoesNothing) {
    struct Row {
        double t;
        bool splits;
    };
    for (const Row& row :
         {Row{2.04, false}, Row{2.041, true}, Row{2.02, false}, Row{2, false}, Row{1, false},
          Row{9.96, false}, Row{9.959, true}, Row{9.98, false}, Row{10, false}, Row{11, false},
          Row{-INF, false}, Row{INF, false}, Row{NOT_A_NUMBER, false}}) {
        load(20, {clip(2, 10)});
        startGesture();
        if (row.splits) {
            splitClip(0, row.t);
            EXPECT_EQ(state.clips.size(), 2u) << row.t;
        } else {
            expectNothingHappens([&] { splitClip(0, row.t); });
        }
    }
}

TEST_F(SplitClip, WhereThereIsNoClipNothingHappens) {
    load(20, {clip(0, 20)});
    startGesture();
    for (const std::int32_t i : {-1, 1, LOWEST, HIGHEST}) {
        expectNothingHappens([&] { splitClip(i, 10); });
    }
}

TEST_F(SplitClip, WhileAJobRunsOrWithoutAVideoNothingHappens) {
    load(20, {clip(0, 20)});
    startGesture();
    state.exportBusy = true;
    expectNothingHappens([] { splitClip(0, 10); });
    state.exportBusy = false;
    state.videoLoaded = false;
    expectNothingHappens([] { splitClip(0, 10); });
}

TEST_F(SplitClip, CanSplitTellsTheMenu) {
    EXPECT_TRUE(canSplit(clip(0, 1), 0.5));
    EXPECT_FALSE(canSplit(clip(0, 1), 0.04));
    EXPECT_FALSE(canSplit(clip(0, 1), NOT_A_NUMBER));
}

class SplitAtPlayhead : public EditTest {};

TEST_F(SplitAtPlayhead, SplitsTheClipUnderIt) {
    load(20, {clip(0, 5), clip(5, 20)});
    state.playhead = 7;
    splitAtPlayhead();
    EXPECT_EQ(state.clips, (ClipList{clip(0, 5), clip(5, 7), clip(7, 20)}));
    EXPECT_EQ(state.selectedClip, 2);
    EXPECT_EQ(state.playhead, 7);
}

TEST_F(SplitAtPlayhead, NearACutOrInAGapDoesNothing) {
    load(20, {clip(0, 5), clip(5, 10), clip(12, 20)});
    startGesture();
    for (const double playhead : {0.0, 4.97, 5.0, 5.03, 11.0, 20.0}) {
        state.playhead = playhead;
        expectNothingHappens([] { splitAtPlayhead(); });
    }
}

TEST_F(SplitAtPlayhead, WithoutClipsNothingHappens) {
    expectNothingHappens([] { splitAtPlayhead(); });
}

class RemoveClip : public EditTest {};

TEST_F(RemoveClip, SelectsTheOneThatMovedIntoItsPlace) {
    load(20, {clip(0, 4), clip(5, 9), clip(10, 20)});
    state.selectedClip = 1;
    removeSelectedClip();
    EXPECT_EQ(state.clips, (ClipList{clip(0, 4), clip(10, 20)}));
    EXPECT_EQ(state.selectedClip, 1);
    EXPECT_EQ(state.statusText, L"Clip removed — Ctrl+Z to undo");
}

TEST_F(RemoveClip, TheLastOfSeveralSelectsTheNewLast) {
    load(20, {clip(0, 4), clip(5, 9), clip(10, 20)});
    state.selectedClip = 2;
    state.playhead = 15;
    removeSelectedClip();
    EXPECT_EQ(state.selectedClip, 1);
    EXPECT_EQ(state.playhead, 5);
}

TEST_F(RemoveClip, APlayheadInsideGoesToTheClipThenSelected) {
    struct Row {
        double before;
        double after;
    };
    for (const Row& row :
         {Row{5, 10}, Row{7, 10}, Row{9, 10}, Row{4.99, 4.99}, Row{9.01, 9.01}, Row{0, 0}}) {
        load(20, {clip(0, 4), clip(5, 9), clip(10, 20)});
        state.selectedClip = 1;
        state.playhead = row.before;
        removeSelectedClip();
        EXPECT_EQ(state.playhead, row.after) << row.before;
        EXPECT_EQ(recorder.calls.size(), row.before == row.after ? 1u : 4u) << row.before;
    }
}

TEST_F(RemoveClip, RecordsThenChangesThenSeeksThenRefreshes) {
    load(20, {clip(0, 4), clip(5, 20)});
    startGesture();
    state.selectedClip = 1;
    state.playhead = 6;
    const ClipList before = state.clips;
    removeSelectedClip();
    EXPECT_EQ(state.rollCutIndex, -1);
    EXPECT_FALSE(state.gestureRecorded);
    ASSERT_EQ(state.undoStack.size(), 1u);
    EXPECT_EQ(state.undoStack[0].clips, before);
    EXPECT_EQ(state.undoStack[0].selectedClip, 1);
    EXPECT_EQ(state.undoStack[0].playhead, 6);
    EXPECT_EQ(state.undoStack[0].label, std::wstring(L"remove clip"));
    EXPECT_THAT(recorder.calls, ElementsAre("seek 0", "dim 1", "repaint", "refreshUi"));
    EXPECT_EQ(recorder.during("seek 0").clips, ClipList{clip(0, 4)});
    EXPECT_EQ(recorder.during("seek 0").selectedClip, 0);
    EXPECT_EQ(recorder.during("seek 0").statusText, L"");
    EXPECT_TRUE(recorder.during("refreshUi") == state);
}

TEST_F(RemoveClip, TheOnlyOneStays) {
    load(20, {clip(0, 20)});
    startGesture();
    expectNothingHappens([] { removeSelectedClip(); });
}

TEST_F(RemoveClip, WithoutASelectionNothingHappens) {
    load(20, {clip(0, 4), clip(5, 20)});
    startGesture();
    for (const std::int32_t i : {-1, 2, LOWEST, HIGHEST}) {
        state.selectedClip = i;
        expectNothingHappens([] { removeSelectedClip(); });
    }
}

TEST_F(RemoveClip, WhileAJobRunsNothingHappens) {
    load(20, {clip(0, 4), clip(5, 20)});
    startGesture();
    state.exportBusy = true;
    expectNothingHappens([] { removeSelectedClip(); });
}

class TrimClip : public EditTest {};

TEST_F(TrimClip, MovesOneEdgeWithinItsNeighbours) {
    struct Row {
        std::int32_t i;
        bool atEnd;
        double t;
        double lands;
    };
    const Row rows[] = {
        {1, false, 7, 7},     {1, false, 1, 4},     {1, false, -INF, 4}, {1, false, 8.95, 8.9},
        {1, false, 30, 8.9},  {1, false, INF, 8.9}, {0, false, -5, 0},   {0, false, 2, 2},
        {1, true, 7, 7},      {1, true, 50, 10},    {1, true, INF, 10},  {1, true, 5.05, 5.1},
        {1, true, -INF, 5.1}, {2, true, 50, 20},    {2, true, 19, 19},   {0, true, 4.5, 4.5},
    };
    for (const Row& row : rows) {
        load(20, {clip(1, 4), clip(5, 9), clip(10, 19.5)});
        const ClipList before = state.clips;
        trimClip(row.i, row.atEnd, row.t);
        ClipList expected = before;
        Segment& trimmed = expected[static_cast<std::size_t>(row.i)];
        (row.atEnd ? trimmed.end : trimmed.start) = row.lands;
        EXPECT_EQ(state.clips, expected) << row.i << ' ' << row.atEnd << ' ' << row.t;
        EXPECT_EQ(state.selectedClip, row.i);
    }
}

TEST_F(TrimClip, TellsTheEdgeAndTheKeysThatMoveIt) {
    load(20, {clip(0, 4), clip(5, 9)});
    trimClip(1, true, 7.25);
    EXPECT_EQ(state.statusText,
              L"Clip 2 end  00:07.250   ·   ← → 5 s   ·   , . frame   ·   Esc done");
    EXPECT_THAT(recorder.calls, ElementsAre("repaint"));
    EXPECT_TRUE(recorder.during("repaint") == state);
    trimClip(1, false, 100);
    EXPECT_EQ(state.statusText,
              L"Clip 2 start  00:07.150   ·   ← → 5 s   ·   , . frame   ·   Esc done");
}

TEST_F(TrimClip, ShortensFadesWithTheClip) {
    load(20, {clip(0, 10, 2, 3)});
    trimClip(0, true, 4);
    EXPECT_EQ(state.clips[0], clip(0, 4, 2, 2));
    trimClip(0, true, 1.5);
    EXPECT_EQ(state.clips[0], clip(0, 1.5, 1.5, 0));
}

TEST_F(TrimClip, RecordsOncePerGesture) {
    load(20, {clip(0, 3), clip(4, 10)});
    trimClip(1, true, 9);
    trimClip(1, true, 8);
    trimClip(1, false, 5);
    ASSERT_EQ(state.undoStack.size(), 1u);
    EXPECT_EQ(state.undoStack[0].clips, (ClipList{clip(0, 3), clip(4, 10)}));
    EXPECT_EQ(state.undoStack[0].selectedClip, 0);
    EXPECT_EQ(state.undoStack[0].label, std::wstring(L"trim"));
    EXPECT_TRUE(state.gestureRecorded);
    EXPECT_TRUE(state.edited);
    endGesture();
    trimClip(0, true, 7);
    EXPECT_EQ(state.undoStack.size(), 2u);
}

TEST_F(TrimClip, AMoveOfAMicrosecondIsNoChange) {
    load(20, {clip(0, 4), clip(5, 10)}); // clip 0 is selected, and stays so
    expectNothingHappens([] { trimClip(1, true, 10 - 0.9e-6); });
    expectNothingHappens([] { trimClip(1, true, 10 + 0.9e-6); });
    expectNothingHappens([] { trimClip(1, false, 5 + 0.9e-6); });
    trimClip(1, true, 10 - 1.1e-6);
    EXPECT_EQ(state.undoStack.size(), 1u);
}

TEST_F(TrimClip, NumbersMayHaveTwoDigits) {
    ClipList clips;
    for (int i = 0; i < 11; ++i) clips.push_back(clip(2 * i, 2 * i + 2));
    load(22, clips);
    trimClip(10, true, 21);
    EXPECT_EQ(state.statusText,
              L"Clip 11 end  00:21.000   ·   ← → 5 s   ·   , . frame   ·   Esc done");
}

TEST_F(TrimClip, TooShortAClipGrowsAsFarAsItsNeighbour) {
    load(20, {clip(0, 4), clip(5, 5.05), clip(5.08, 20)});
    trimClip(1, true, 1); // not even the whole way makes it long enough
    EXPECT_EQ(state.clips[1], clip(5, 5.08));
    trimClip(1, false, 5.06);
    EXPECT_EQ(state.clips[1], clip(5.08 - 0.1, 5.08));
}

TEST_F(TrimClip, AnEdgeThatWouldLandInItsNeighbourStays) {
    load(20, {clip(0, 5), clip(5, 5.05), clip(6, 20)});
    for (const double t : {4.0, 5.02, 7.0, INF, -INF}) {
        expectNothingHappens([&] { trimClip(1, false, t); });
    }
    load(20, {clip(0, 0.05), clip(6, 20)}); // before the source begins
    for (const double t : {-1.0, 0.02, 7.0, INF}) {
        expectNothingHappens([&] { trimClip(0, false, t); });
    }
}

TEST_F(TrimClip, AClipBehindTheSourceHasNoPlaceForItsEnd) {
    EXPECT_EQ(trimmedEdge({clip(5, 6)}, 4, 0, true, 5.5), std::nullopt);
    EXPECT_EQ(trimmedEdge({clip(5, 6)}, 5, 0, true, 5.5), std::nullopt);
}

TEST_F(TrimClip, OfAnEmptyVideoDoesNothing) {
    startEdit(0);
    for (const double t : {-1.0, 0.0, 1.0, INF, -INF}) {
        expectNothingHappens([&] { trimClip(0, true, t); });
        expectNothingHappens([&] { trimClip(0, false, t); });
    }
}

TEST_F(TrimClip, BadArgumentsDoNothing) {
    load(20, {clip(0, 10)});
    expectNothingHappens([&] { trimClip(0, true, NOT_A_NUMBER); });
    expectNothingHappens([&] { trimClip(0, false, NOT_A_NUMBER); });
    for (const std::int32_t i : {-1, 1, LOWEST, HIGHEST}) {
        expectNothingHappens([&] { trimClip(i, true, 5); });
    }
    state.exportBusy = true;
    expectNothingHappens([] { trimClip(0, true, 5); });
}

class TrimClipToHere : public EditTest {};

TEST_F(TrimClipToHere, TrimsSeeksToTheEdgeAndTells) {
    load(20, {clip(0, 4), clip(5, 9)});
    trimClipToHere(1, false, 6.5);
    EXPECT_EQ(state.clips[1], clip(6.5, 9));
    EXPECT_EQ(state.playhead, 6.5);
    EXPECT_EQ(state.selectedClip, 1);
    EXPECT_EQ(state.statusText, L"Clip 2 start trimmed to 00:06.500 — Ctrl+Z to undo");
    EXPECT_THAT(recorder.calls, ElementsAre("repaint", "seek 6.5", "dim 1", "repaint", "repaint"));
    EXPECT_TRUE(recorder.during("repaint") == state);
    trimClipToHere(0, true, 99);
    EXPECT_EQ(state.clips[0], clip(0, 6.5));
    EXPECT_EQ(state.statusText, L"Clip 1 end trimmed to 00:06.500 — Ctrl+Z to undo");
}

TEST_F(TrimClipToHere, SeeksToWhereTheEdgeLandedNotToWhereItWasAsked) {
    load(20, {clip(0, 4), clip(5, 9)});
    state.playhead = 15;
    trimClipToHere(1, false, 2);
    EXPECT_EQ(state.clips[1], clip(4, 9));
    EXPECT_EQ(state.playhead, 4);
    EXPECT_EQ(state.statusText, L"Clip 2 start trimmed to 00:04.000 — Ctrl+Z to undo");
    EXPECT_THAT(recorder.calls, ElementsAre("repaint", "seek 4", "dim 1", "repaint", "repaint"));
}

TEST_F(TrimClipToHere, EachIsAHistoryEntryOfItsOwn) {
    load(20, {clip(0, 10)});
    state.rollCutIndex = 0;
    state.gestureRecorded = true;
    trimClipToHere(0, true, 9);
    EXPECT_EQ(state.rollCutIndex, -1);
    EXPECT_FALSE(state.gestureRecorded);
    trimClipToHere(0, true, 8);
    ASSERT_EQ(state.undoStack.size(), 2u);
    EXPECT_EQ(state.undoStack[1].clips, ClipList{clip(0, 9)});
}

TEST_F(TrimClipToHere, OntoTheEdgeItselfRecordsNothingButStillSeeks) {
    load(20, {clip(0, 10)});
    trimClipToHere(0, true, 10);
    EXPECT_TRUE(state.undoStack.empty());
    EXPECT_EQ(state.playhead, 10);
    EXPECT_EQ(state.statusText, L"Clip 1 end trimmed to 00:10.000 — Ctrl+Z to undo");
}

// In doubles, 2.006 - 0.1 is less than 1.906: by a hair, this clip has no room.
TEST_F(TrimClipToHere, AnEdgeThatCannotMoveIsStillGoneToAndTold) {
    for (const Segment& minimal : {clip(1.906, 2.006), clip(1.906, 1.96)}) {
        ASSERT_LT(minimal.end - 0.1, minimal.start);
        load(20, {clip(0, 1.906), minimal, clip(6, 20)});
        const ClipList before = state.clips;
        startGesture();
        trimClipToHere(1, false, 1);
        EXPECT_EQ(state.clips, before);
        EXPECT_TRUE(state.undoStack.empty());
        EXPECT_EQ(state.rollCutIndex, -1);
        EXPECT_FALSE(state.gestureRecorded);
        EXPECT_EQ(state.playhead, 1.906);
        EXPECT_EQ(state.statusText, L"Clip 2 start trimmed to 00:01.906 — Ctrl+Z to undo");
        EXPECT_THAT(recorder.calls, ElementsAre("seek 1.906", "dim 1", "repaint", "repaint"));
    }
}

TEST_F(TrimClipToHere, BadArgumentsDoNothing) {
    load(20, {clip(0, 5), clip(5, 9), clip(10, 20)});
    startGesture();
    expectNothingHappens([&] { trimClipToHere(0, true, NOT_A_NUMBER); });
    for (const std::int32_t i : {-1, 3, LOWEST, HIGHEST}) {
        expectNothingHappens([&] { trimClipToHere(i, true, 1); });
    }
    state.exportBusy = true;
    expectNothingHappens([] { trimClipToHere(0, true, 1); });
}

} // namespace
} // namespace velkantrix
