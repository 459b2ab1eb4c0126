#include "edit/history.h"

#include "edit/fades.h"
#include "edit/operations.h"
#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

class HistoryTest : public EditTest {};

TEST_F(HistoryTest, APushKeepsTheWholeStateAndSetsEdited) {
    load(20, {clip(0, 8, 1, 2, L"a"), clip(9, 20)});
    state.selectedClip = 1;
    state.playhead = 9.5;
    state.redoStack.push_back({});
    const wchar_t* const label = L"trim";
    pushHistory(label);
    ASSERT_EQ(state.undoStack.size(), 1u);
    EXPECT_EQ(state.undoStack[0],
              (HistoryEntry{{clip(0, 8, 1, 2, L"a"), clip(9, 20)}, 1, 9.5, label}));
    EXPECT_TRUE(state.redoStack.empty());
    EXPECT_TRUE(state.edited);
}

TEST_F(HistoryTest, AfterSixtyEditsTheLastFiftyCanBeUndone) {
    load(100, {clip(0, 100)});
    for (int i = 1; i <= 60; ++i) {
        pushHistory(L"trim");
        state.clips[0].end = 100 - i;
    }
    ASSERT_EQ(state.undoStack.size(), 50u);
    for (int i = 0; i < 50; ++i) undo();
    EXPECT_EQ(state.clips[0].end, 90); // the state after the first ten
    EXPECT_EQ(state.redoStack.size(), 50u);
    expectNothingHappens([] { undo(); });
    for (int i = 0; i < 50; ++i) redo();
    EXPECT_EQ(state.clips[0].end, 40);
    EXPECT_EQ(state.undoStack.size(), 50u);
    expectNothingHappens([] { redo(); });
}

TEST_F(HistoryTest, UndoRestoresListSelectionAndPlayhead) {
    load(20, {clip(0, 8), clip(9, 20)});
    state.selectedClip = 1;
    state.playhead = 9.5;
    pushHistory(L"split");
    state.clips = {clip(0, 3)};
    state.selectedClip = 0;
    state.playhead = 2;
    state.rollCutIndex = 0;
    state.gestureRecorded = true;
    undo();
    EXPECT_EQ(state.clips, (ClipList{clip(0, 8), clip(9, 20)}));
    EXPECT_EQ(state.selectedClip, 1);
    EXPECT_EQ(state.playhead, 9.5);
    EXPECT_EQ(state.rollCutIndex, -1);
    EXPECT_FALSE(state.gestureRecorded);
    ASSERT_EQ(state.redoStack.size(), 1u);
    EXPECT_EQ(state.redoStack[0].clips, ClipList{clip(0, 3)});
    EXPECT_EQ(state.redoStack[0].selectedClip, 0);
    EXPECT_EQ(state.redoStack[0].playhead, 2);
    EXPECT_EQ(state.redoStack[0].label, std::wstring(L"split"));
    EXPECT_EQ(state.statusText, L"Undid split — Ctrl+Y to redo");
}

TEST_F(HistoryTest, UndoRestoresThenSeeksThenWritesTheStatusThenRefreshes) {
    load(20, {clip(0, 8), clip(9, 20)});
    state.selectedClip = 1;
    state.playhead = 4;
    pushHistory(L"fade in");
    state.clips = {clip(0, 3)};
    state.selectedClip = 0;
    state.statusText = L"before";
    undo();
    EXPECT_THAT(recorder.calls, ElementsAre("seek 4", "dim 1", "repaint", "refreshUi"));
    const EditState seeking = recorder.during("seek 4");
    EXPECT_EQ(seeking.clips, (ClipList{clip(0, 8), clip(9, 20)}));
    EXPECT_EQ(seeking.selectedClip, 1);
    EXPECT_EQ(seeking.statusText, L"before");
    EXPECT_EQ(recorder.during("refreshUi").statusText, L"Undid fade in — Ctrl+Y to redo");
}

TEST_F(HistoryTest, RedoRestoresWhatUndoTook) {
    load(20, {clip(0, 8), clip(9, 20)});
    const wchar_t* const label = L"remove clip";
    pushHistory(label);
    state.clips = {clip(9, 20)};
    state.playhead = 12;
    undo();
    state.selectedClip = 1; // what undo left is looked at before the redo
    state.playhead = 5;
    recorder.forget();
    redo();
    EXPECT_EQ(state.clips, ClipList{clip(9, 20)});
    EXPECT_EQ(state.selectedClip, 0);
    EXPECT_EQ(state.playhead, 12);
    EXPECT_EQ(state.statusText, L"Redid remove clip");
    EXPECT_TRUE(state.redoStack.empty());
    ASSERT_EQ(state.undoStack.size(), 1u);
    EXPECT_EQ(state.undoStack[0], (HistoryEntry{{clip(0, 8), clip(9, 20)}, 1, 5, label}));
    EXPECT_THAT(recorder.calls, ElementsAre("seek 12", "dim 1", "repaint", "refreshUi"));
    const EditState seeking = recorder.during("seek 12");
    EXPECT_EQ(seeking.clips, ClipList{clip(9, 20)});
    EXPECT_EQ(seeking.selectedClip, 0);
    EXPECT_EQ(seeking.statusText, L"Undid remove clip — Ctrl+Y to redo");
    EXPECT_TRUE(recorder.during("refreshUi") == state);
}

TEST_F(HistoryTest, RedoKeepsTheOtherStepsToRedoAndDoesNotTrim) {
    load(20, {clip(0, 20)});
    pushHistory(L"trim");
    pushHistory(L"split");
    undo();
    undo();
    state.undoStack.assign(50, HistoryEntry{{clip(0, 20)}, 0, 0, L"trim"});
    redo();
    EXPECT_EQ(state.undoStack.size(), 51u);
    EXPECT_EQ(state.redoStack.size(), 1u);
}

TEST_F(HistoryTest, RedoEndsTheGesture) {
    load(20, {clip(0, 8), clip(9, 20)});
    pushHistory(L"trim");
    undo();
    state.rollCutIndex = 0;
    state.gestureRecorded = true;
    redo();
    EXPECT_EQ(state.rollCutIndex, -1);
    EXPECT_FALSE(state.gestureRecorded);
}

TEST_F(HistoryTest, UndoAndRedoLeaveEditedAlone) {
    load(20, {clip(0, 20)});
    splitClip(0, 10);
    undo();
    EXPECT_TRUE(state.edited);
    EXPECT_FALSE(hasEdits());
    state.edited = false;
    redo();
    EXPECT_FALSE(state.edited);
    EXPECT_TRUE(hasEdits());
    undo();
    EXPECT_FALSE(state.edited);
    state.edited = true;
    redo();
    EXPECT_TRUE(state.edited);
}

TEST_F(HistoryTest, ANewEditAfterAnUndoEmptiesTheRedoStack) {
    load(20, {clip(0, 20)});
    splitClip(0, 10);
    undo();
    setFade(0, false, 1);
    EXPECT_TRUE(state.redoStack.empty());
    expectNothingHappens([] { redo(); });
}

TEST_F(HistoryTest, ARestoredSelectionIsKeptWithinTheList) {
    load(20, {clip(0, 20)});
    state.undoStack.push_back({{clip(0, 4), clip(5, 20)}, 7, 0, L"split"});
    undo();
    EXPECT_EQ(state.selectedClip, 1);
    state.undoStack.push_back({{clip(0, 4), clip(5, 20)}, -3, 0, L"split"});
    undo();
    EXPECT_EQ(state.selectedClip, 0);
    state.undoStack.push_back({{}, 5, 0, L"split"});
    undo();
    EXPECT_EQ(state.selectedClip, -1);
}

TEST_F(HistoryTest, ARestoredPlayheadIsKeptWithinTheVideo) {
    load(20, {clip(0, 20)});
    state.undoStack.push_back({{clip(0, 20)}, 0, 25, L"split"});
    undo();
    EXPECT_EQ(state.playhead, 20);
    EXPECT_EQ(recorder.calls.front(), "seek 20");
    state.undoStack.push_back({{clip(0, 20)}, 0, -2, L"split"});
    undo();
    EXPECT_EQ(state.playhead, 0);
}

TEST_F(HistoryTest, RedoKeepsSelectionAndPlayheadWithinTheVideo) {
    load(20, {clip(0, 20)});
    state.redoStack.push_back({{clip(0, 4), clip(5, 20)}, 7, 25, L"split"});
    redo();
    EXPECT_EQ(state.selectedClip, 1);
    EXPECT_EQ(state.playhead, 20);
    state.redoStack.push_back({{clip(0, 4), clip(5, 20)}, -3, -2, L"split"});
    redo();
    EXPECT_EQ(state.selectedClip, 0);
    EXPECT_EQ(state.playhead, 0);
}

TEST_F(HistoryTest, APlayheadThatIsNoNumberIsNotRestored) {
    load(20, {clip(0, 20)});
    state.playhead = 7;
    state.undoStack.push_back({{clip(0, 4)}, 0, NOT_A_NUMBER, L"split"});
    undo();
    EXPECT_EQ(state.clips, ClipList{clip(0, 4)});
    EXPECT_EQ(state.playhead, 7);
}

TEST_F(HistoryTest, WhileAJobRunsThereIsNoUndoAndNoRedo) {
    load(20, {clip(0, 20)});
    pushHistory(L"trim");
    pushHistory(L"trim");
    undo();
    state.exportBusy = true;
    state.rollCutIndex = 0;
    state.gestureRecorded = true;
    expectNothingHappens([] { undo(); });
    expectNothingHappens([] { redo(); });
}

TEST_F(HistoryTest, WithoutEntriesNothingHappens) {
    load(20, {clip(0, 20)});
    state.gestureRecorded = true;
    expectNothingHappens([] { undo(); });
    expectNothingHappens([] { redo(); });
}

} // namespace
} // namespace velkantrix
