#include "edit/rename.h"

#include "edit/clip_name.h"
#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

class Rename : public EditTest {
protected:
    Rename() {
        load(30, {clip(0, 5), clip(5, 9, 0, 0, L"intro"), clip(9, 12)});
        state.selectedClip = 1;
    }

    void expectClosed() const { EXPECT_EQ(renameState(), RenameState{}); }
};

TEST_F(Rename, OpensOverTheSelectedClipWithItsName) {
    beginRename();
    EXPECT_EQ(renameState(), (RenameState{true, false, 1}));
    EXPECT_EQ(recorder.prefilled, L"intro");
    EXPECT_EQ(state.statusText, L"Type a clip name — Enter saves, Tab next clip, Esc cancels");
    EXPECT_THAT(recorder.calls, ElementsAre("open 1", "repaint"));
    EXPECT_TRUE(recorder.during("repaint") == state);
}

TEST_F(Rename, AFieldThatClosesWhileItIsMadeKeepsTheStatusOfItsCommit) {
    recorder.typed = L"other";
    editHost().openRenameField = [](std::int32_t, const std::wstring&) {
        commitRename(true);
        return true;
    };
    beginRename();
    EXPECT_EQ(state.statusText, L"Clip renamed — Ctrl+Z to undo");
    expectClosed();
}

TEST_F(Rename, ADefaultLabelIsNotPrefilled) {
    state.selectedClip = 2;
    recorder.prefilled = L"old";
    beginRename();
    EXPECT_EQ(recorder.prefilled, L"");
}

TEST_F(Rename, OpensOnlyWhereItMay) {
    state.videoLoaded = false;
    expectNothingHappens([] { beginRename(); });
    state.videoLoaded = true;
    state.exportBusy = true;
    expectNothingHappens([] { beginRename(); });
    state.exportBusy = false;
    recorder.fullscreen = true;
    expectNothingHappens([] { beginRename(); });
    recorder.fullscreen = false;
    recorder.labelRoom = false;
    expectNothingHappens([] { beginRename(); });
    recorder.labelRoom = true;
    for (const std::int32_t i : {-1, 3, LOWEST, HIGHEST}) {
        state.selectedClip = i;
        expectNothingHappens([] { beginRename(); });
    }
    state.selectedClip = 1;
    editHost() = {};
    expectNothingHappens([] { beginRename(); });
    expectClosed();
}

TEST_F(Rename, TheLabelOfTheSelectedClipNeedsTheRoom) {
    recorder.labelWithoutRoom = 1;
    expectNothingHappens([] { beginRename(); });
    expectClosed();
    for (const std::int32_t other : {0, 2}) {
        recorder.labelWithoutRoom = other;
        beginRename();
        EXPECT_EQ(renameState().target, 1) << other;
        commitRename(false);
    }
}

TEST_F(Rename, AnOpenFieldIsNotOpenedAgain) {
    beginRename();
    state.selectedClip = 2;
    expectNothingHappens([] { beginRename(); });
    EXPECT_EQ(renameState().target, 1);
}

TEST_F(Rename, AFieldThatCannotBeMadeLeavesNothingBehind) {
    recorder.fieldOpens = false;
    state.statusText = L"before";
    beginRename();
    expectClosed();
    EXPECT_EQ(state.statusText, L"before");
}

TEST_F(Rename, AcceptingGivesTheNameWithoutTheSpaceAroundIt) {
    beginRename();
    recorder.typed = L" \t Beach day \r\n";
    recorder.forget();
    commitRename(true);
    EXPECT_EQ(state.clips[1].name, L"Beach day");
    EXPECT_EQ(state.statusText, L"Clip renamed — Ctrl+Z to undo");
    ASSERT_EQ(state.undoStack.size(), 1u);
    EXPECT_EQ(state.undoStack[0].clips[1].name, L"intro");
    EXPECT_EQ(state.undoStack[0].label, std::wstring(L"rename"));
    EXPECT_TRUE(state.edited);
    EXPECT_THAT(recorder.calls, ElementsAre("destroy", "focus", "repaint"));
    EXPECT_EQ(recorder.during("destroy").clips[1].name, L"Beach day");
    expectClosed();
}

TEST_F(Rename, TheClipItWasOpenedForGetsTheNameWhateverIsSelectedThen) {
    beginRename();
    state.selectedClip = 2;
    recorder.typed = L"other";
    commitRename(true);
    EXPECT_EQ(state.clips[1].name, L"other");
    EXPECT_EQ(state.clips[2].name, L"");
    EXPECT_EQ(state.selectedClip, 2);
}

TEST_F(Rename, TheRunningGestureGoesOn) {
    state.rollCutIndex = 0;
    state.gestureRecorded = true;
    beginRename();
    recorder.typed = L"other";
    commitRename(true);
    EXPECT_EQ(state.clips[1].name, L"other");
    EXPECT_EQ(state.rollCutIndex, 0);
    EXPECT_TRUE(state.gestureRecorded);
}

TEST_F(Rename, WhiteSpaceAloneClearsTheName) {
    beginRename();
    recorder.typed = L"   ";
    commitRename(true);
    EXPECT_EQ(state.clips[1].name, L"");
    EXPECT_EQ(clipLabel(1), L"CLIP 2");
    EXPECT_EQ(state.statusText, L"Clip name cleared");
    EXPECT_EQ(state.undoStack.size(), 1u);
}

TEST_F(Rename, WhiteSpaceOnAClipWithoutANameChangesNothing) {
    state.selectedClip = 2;
    beginRename();
    recorder.typed = L" \t ";
    state.statusText = L"before";
    commitRename(true);
    EXPECT_EQ(state.clips[2].name, L"");
    EXPECT_EQ(state.statusText, L"before");
    EXPECT_TRUE(state.undoStack.empty());
    EXPECT_FALSE(state.edited);
}

TEST_F(Rename, TheSameTextRecordsNothing) {
    beginRename();
    recorder.typed = L" intro ";
    commitRename(true);
    EXPECT_TRUE(state.undoStack.empty());
    EXPECT_FALSE(state.edited);
    EXPECT_EQ(state.statusText, L"Type a clip name — Enter saves, Tab next clip, Esc cancels");
    expectClosed();
}

TEST_F(Rename, CaseAndLengthCount) {
    for (const wchar_t* typed : {L"Intro", L"intro2", L"intr"}) {
        load(30, {clip(0, 5, 0, 0, L"intro")});
        recorder.typed = typed;
        beginRename();
        commitRename(true);
        EXPECT_EQ(state.clips[0].name, typed);
        EXPECT_EQ(state.undoStack.size(), 1u);
    }
}

TEST_F(Rename, OnlyTheFirst256CharactersAreRead) {
    beginRename();
    recorder.typed = std::wstring(5, L' ') + std::wstring(400, L'x');
    commitRename(true);
    EXPECT_EQ(state.clips[1].name, std::wstring(251, L'x'));
}

TEST_F(Rename, CancellingKeepsTheName) {
    beginRename();
    recorder.typed = L"other";
    recorder.forget();
    state.statusText = L"before";
    commitRename(false);
    EXPECT_EQ(state.clips[1].name, L"intro");
    EXPECT_EQ(state.statusText, L"before");
    EXPECT_TRUE(state.undoStack.empty());
    EXPECT_THAT(recorder.calls, ElementsAre("destroy", "focus", "repaint"));
    expectClosed();
}

TEST_F(Rename, TheTargetIsForgottenBeforeTheFocusReturns) {
    for (const bool accept : {false, true}) {
        beginRename();
        std::int32_t target = 99;
        editHost().focusMainWindow = [&target] {
            target = renameState().target;
        };
        commitRename(accept);
        EXPECT_EQ(target, -1) << accept;
    }
}

TEST_F(Rename, WithoutAFieldThereIsNothingToCommit) {
    recorder.typed = L"other";
    expectNothingHappens([] { commitRename(true); });
    expectNothingHappens([] { commitRename(false); });
    for (const RenameKey key :
         {RenameKey::Enter, RenameKey::Escape, RenameKey::Tab, RenameKey::ShiftTab}) {
        expectNothingHappens([&] { renameKey(key); });
    }
}

// Destroying the field takes its focus away, and losing the focus commits.
TEST_F(Rename, ACommitWithinACommitIsIgnored) {
    beginRename();
    recorder.typed = L"other";
    recorder.forget();
    editHost().destroyRenameField = [this] {
        recorder.record("destroy");
        commitRename(true);
        beginRename();
    };
    commitRename(false);
    EXPECT_EQ(state.clips[1].name, L"intro");
    EXPECT_THAT(recorder.calls, ElementsAre("destroy", "focus", "repaint"));
    expectClosed();
}

TEST_F(Rename, AKeyWithinACommitIsIgnored) {
    for (const RenameKey key :
         {RenameKey::Enter, RenameKey::Escape, RenameKey::Tab, RenameKey::ShiftTab}) {
        beginRename();
        editHost().destroyRenameField = [key] {
            renameKey(key);
        };
        commitRename(true);
        EXPECT_EQ(state.selectedClip, 1) << static_cast<int>(key);
        expectClosed();
    }
}

TEST_F(Rename, TheFieldDoesNotComeBackWhileItCloses) {
    beginRename();
    recorder.forget();
    editHost().focusMainWindow = [] {
        beginRename();
    };
    commitRename(false);
    EXPECT_THAT(recorder.calls, ElementsAre("destroy", "repaint"));
    expectClosed();
}

TEST_F(Rename, ATargetThatIsGoneIsNotRenamed) {
    state.selectedClip = 2;
    beginRename();
    state.clips.pop_back();
    recorder.typed = L"other";
    commitRename(true);
    EXPECT_TRUE(state.undoStack.empty());
    expectClosed();
}

TEST_F(Rename, AJobThatBeganMeanwhileKeepsTheOldName) {
    beginRename();
    state.exportBusy = true;
    recorder.typed = L"other";
    commitRename(true);
    EXPECT_EQ(state.clips[1].name, L"intro");
    EXPECT_TRUE(state.undoStack.empty());
    expectClosed();
}

TEST_F(Rename, WithoutCallbacksTheFieldStillCloses) {
    beginRename();
    editHost() = {};
    commitRename(true);
    EXPECT_EQ(state.clips[1].name, L"intro");
    expectClosed();
}

TEST_F(Rename, EnterCommitsAndEscapeCancels) {
    beginRename();
    recorder.typed = L"other";
    renameKey(RenameKey::Enter);
    EXPECT_EQ(state.clips[1].name, L"other");
    EXPECT_EQ(state.selectedClip, 1);
    expectClosed();
    beginRename();
    recorder.typed = L"third";
    renameKey(RenameKey::Escape);
    EXPECT_EQ(state.clips[1].name, L"other");
    EXPECT_EQ(state.selectedClip, 1);
    expectClosed();
}

TEST_F(Rename, TabCommitsAndGoesRoundTheClips) {
    struct Row {
        RenameKey key;
        std::int32_t from;
        std::int32_t to;
    };
    for (const Row& row : {Row{RenameKey::Tab, 0, 1}, Row{RenameKey::Tab, 1, 2},
                           Row{RenameKey::Tab, 2, 0}, Row{RenameKey::ShiftTab, 2, 1},
                           Row{RenameKey::ShiftTab, 1, 0}, Row{RenameKey::ShiftTab, 0, 2}}) {
        renameState() = {};
        load(30, {clip(0, 5), clip(5, 9), clip(9, 12)});
        state.selectedClip = row.from;
        beginRename();
        recorder.typed = L"typed";
        renameKey(row.key);
        EXPECT_EQ(state.clips[static_cast<std::size_t>(row.from)].name, L"typed");
        EXPECT_EQ(state.selectedClip, row.to) << row.from;
        EXPECT_EQ(renameState(), (RenameState{true, false, row.to}));
        EXPECT_EQ(state.statusText, L"Type a clip name — Enter saves, Tab next clip, Esc cancels");
    }
}

TEST_F(Rename, TabOnTheOnlyClipJustCommits) {
    load(30, {clip(0, 30)});
    beginRename();
    recorder.typed = L"typed";
    renameKey(RenameKey::Tab);
    EXPECT_EQ(state.clips[0].name, L"typed");
    EXPECT_EQ(state.selectedClip, 0);
    expectClosed();
}

TEST_F(Rename, TabWithALostSelectionStartsAtTheNearEnd) {
    beginRename();
    state.selectedClip = -1;
    renameKey(RenameKey::Tab);
    EXPECT_EQ(state.selectedClip, 0);
    state.selectedClip = HIGHEST;
    renameKey(RenameKey::ShiftTab);
    EXPECT_EQ(state.selectedClip, 2);
}

TEST_F(Rename, TabWhileAJobRunsOnlyCloses) {
    beginRename();
    state.exportBusy = true;
    renameKey(RenameKey::Tab);
    EXPECT_EQ(state.selectedClip, 1);
    expectClosed();
}

} // namespace
} // namespace velkantrix
