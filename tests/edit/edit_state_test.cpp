#include "edit/edit_state.h"

#include "edit/fades.h"
#include "edit/history.h"
#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

class EditStateTest : public EditTest {};

TEST_F(EditStateTest, WithoutAVideoThereIsNothing) {
    const EditState fresh;
    EXPECT_FALSE(fresh.videoLoaded);
    EXPECT_TRUE(fresh.clips.empty());
    EXPECT_EQ(fresh.playhead, 0);
    EXPECT_TRUE(fresh.undoStack.empty());
    EXPECT_TRUE(fresh.redoStack.empty());
    EXPECT_FALSE(fresh.edited);
    EXPECT_EQ(fresh.selectedClip, -1);
    EXPECT_EQ(fresh.rollCutIndex, -1);
    EXPECT_FALSE(fresh.gestureRecorded);
    EXPECT_FALSE(fresh.exportBusy);
}

TEST_F(EditStateTest, AStartedEditIsOneSelectedClipOverTheWholeVideo) {
    startEdit(12.5);
    EXPECT_EQ(state.duration, 12.5);
    EXPECT_EQ(state.clips, ClipList{clip(0, 12.5)});
    EXPECT_EQ(state.selectedClip, 0);
    EXPECT_TRUE(state.videoLoaded);
    EXPECT_FALSE(state.edited);
    EXPECT_EQ(state.playhead, 0);
}

TEST_F(EditStateTest, AnImpossibleDurationGivesAnEmptyVideo) {
    for (const double duration : {-1.0, NOT_A_NUMBER, INF, -INF, 0.0}) {
        startEdit(duration);
        EXPECT_EQ(state.duration, 0) << duration;
        EXPECT_EQ(state.clips, ClipList{clip(0, 0)}) << duration;
        EXPECT_TRUE(state.videoLoaded) << duration;
    }
}

TEST_F(EditStateTest, OpeningAnotherVideoEmptiesTheEdit) {
    load(20, {clip(0, 10), clip(10, 20)});
    pushHistory(L"split");
    pushHistory(L"split");
    undo();
    state.playhead = 4;
    state.rollCutIndex = 0;
    state.gestureRecorded = true;
    emptyEdit();
    EditState expected;
    expected.statusText = state.statusText;
    EXPECT_TRUE(state == expected);
}

TEST_F(EditStateTest, AStartedEditForgetsTheHistoryOfTheVideoBefore) {
    load(20, {clip(0, 10), clip(10, 20)});
    pushHistory(L"split");
    state.rollCutIndex = 0;
    startEdit(5);
    EXPECT_TRUE(state.undoStack.empty());
    EXPECT_EQ(state.rollCutIndex, -1);
}

TEST_F(EditStateTest, HasEditsComparesWithTheWholeVideo) {
    struct Row {
        ClipList clips;
        bool edits;
    };
    const Row rows[] = {
        {{clip(0, 20)}, false},
        {{clip(0.0009, 20)}, false},
        {{clip(0.001, 20)}, true},
        {{clip(0, 19.951)}, false},
        {{clip(0, 19.949)}, true},
        {{clip(0, 20.049)}, false},
        {{clip(0, 20.06)}, true},
        {{clip(0, 10), clip(10, 20)}, true},
        {{clip(0, 20, 1, 1, L"named")}, false},
    };
    for (const Row& row : rows) {
        load(20, row.clips);
        EXPECT_EQ(hasEdits(), row.edits) << row.clips[0].start << ' ' << row.clips[0].end;
    }
}

TEST_F(EditStateTest, MissingExactlyTheToleranceIsAnEdit) {
    EXPECT_TRUE(hasEdits(ClipList{clip(0, 0)}, 0.05));
    EXPECT_TRUE(hasEdits(ClipList{clip(0, 0.05)}, 0));
    EXPECT_FALSE(hasEdits(ClipList{clip(0, 0)}, std::nextafter(0.05, 0.0)));
}

TEST_F(EditStateTest, WithoutAVideoNothingIsEdited) {
    state.clips = {clip(0, 5), clip(6, 7)};
    state.duration = 20;
    EXPECT_FALSE(hasEdits());
}

TEST_F(EditStateTest, EndGestureForgetsCutAndRecord) {
    state.rollCutIndex = 3;
    state.gestureRecorded = true;
    endGesture();
    EXPECT_EQ(state.rollCutIndex, -1);
    EXPECT_FALSE(state.gestureRecorded);
}

TEST_F(EditStateTest, AFrameLastsAsLongAsTheRateSays) {
    struct Row {
        double rate;
        double seconds;
    };
    const Row rows[] = {{25, 0.04},      {1.001, 1 / 1.001}, {1, 1.0 / 30},
                        {0, 1.0 / 30},   {-5, 1.0 / 30},     {60, 1.0 / 60},
                        {INF, 1.0 / 30}, {-INF, 1.0 / 30},   {NOT_A_NUMBER, 1.0 / 30}};
    for (const Row& row : rows) {
        recorder.rate = row.rate;
        EXPECT_DOUBLE_EQ(frameDuration(), row.seconds) << row.rate;
    }
    editHost() = {};
    EXPECT_DOUBLE_EQ(frameDuration(), 1.0 / 30);
}

TEST_F(EditStateTest, SeekToMovesEngineThenPlayheadThenDimThenPaints) {
    load(20, {clip(0, 20, 4)});
    seekTo(1);
    EXPECT_THAT(recorder.calls, ElementsAre("seek 1", "dim 0.25", "repaint"));
    EXPECT_EQ(recorder.during("seek 1").playhead, 0);
    EXPECT_EQ(recorder.during("dim 0.25").playhead, 1);
}

TEST_F(EditStateTest, SeekToStaysWithinTheVideo) {
    struct Row {
        double to;
        double playhead;
    };
    for (const Row& row : {Row{-3, 0}, Row{25, 20}, Row{-INF, 0}, Row{INF, 20}, Row{20, 20}}) {
        load(20, {clip(0, 20)});
        state.playhead = 7;
        seekTo(row.to);
        EXPECT_EQ(state.playhead, row.playhead) << row.to;
        ASSERT_FALSE(recorder.calls.empty()) << row.to;
        EXPECT_EQ(recorder.calls.front(), row.playhead == 0 ? "seek 0" : "seek 20") << row.to;
    }
}

TEST_F(EditStateTest, SeekToNoNumberDoesNothing) {
    load(20, {clip(0, 20)});
    state.playhead = 7;
    expectNothingHappens([&] { seekTo(NOT_A_NUMBER); });
}

TEST_F(EditStateTest, SeekToWorksWhileAJobRuns) {
    load(20, {clip(0, 20)});
    state.exportBusy = true;
    seekTo(3);
    EXPECT_EQ(state.playhead, 3);
    EXPECT_THAT(recorder.calls, ElementsAre("seek 3", "dim 1", "repaint"));
}

TEST_F(EditStateTest, SeekToWithoutEngineOrVideoDoesNothing) {
    load(20, {clip(0, 20)});
    recorder.engine = false;
    expectNothingHappens([] { seekTo(3); });
    recorder.engine = true;
    state.videoLoaded = false;
    expectNothingHappens([] { seekTo(3); });
}

TEST_F(EditStateTest, AHostWithoutCallbacksIsNoEngine) {
    load(20, {clip(0, 20)});
    editHost() = {};
    seekTo(3);
    repaint();
    refreshUi();
    EXPECT_EQ(state.playhead, 0);
    editHost().engineExists = [] {
        return true;
    };
    seekTo(3);
    EXPECT_EQ(state.playhead, 3);
}

TEST_F(EditStateTest, NormalizeFadesFitsTheFadeInFirst) {
    struct Row {
        Segment before;
        double fadeIn;
        double fadeOut;
    };
    const Row rows[] = {
        {clip(0, 0.5, 0.3, 0.3), 0.3, 0.2},
        {clip(0, 1, 0.049, 0.05), 0, 0.05},
        {clip(0, 1, 0.05, 0.049), 0.05, 0},
        {clip(0, 1, -1, -2), 0, 0},
        {clip(0, 1, 5, 5), 1, 0},
        {clip(0, 1, 0, 5), 0, 1},
        // Too short a fade-in still takes its room before it goes.
        {clip(0, 1, 0.04, 1), 0, 0.96},
        {clip(0, 1, 0.98, 1), 0.98, 0},
        {clip(0, 1, NOT_A_NUMBER, NOT_A_NUMBER), 0, 0},
        {clip(0, 1, INF, INF), 1, 0},
        {clip(0, 1, 0.25, 0.75), 0.25, 0.75},
    };
    for (const Row& row : rows) {
        ClipList clips{row.before};
        normalizeFades(clips);
        EXPECT_NEAR(clips[0].fadeIn, row.fadeIn, 1e-12) << row.before.fadeIn;
        EXPECT_NEAR(clips[0].fadeOut, row.fadeOut, 1e-12) << row.before.fadeOut;
    }
}

TEST_F(EditStateTest, NormalizeFadesOfAShortenedClipKeepsTheFadeIn) {
    load(20, {clip(2, 2.3, 0.5, 0.5), clip(5, 9, 1, 1)});
    normalizeFades();
    EXPECT_DOUBLE_EQ(state.clips[0].fadeIn, 0.3);
    EXPECT_EQ(state.clips[0].fadeOut, 0);
    EXPECT_EQ(state.clips[1], clip(5, 9, 1, 1));
}

} // namespace
} // namespace velkantrix
