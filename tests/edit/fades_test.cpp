#include "edit/fades.h"

#include "edit/history.h"
#include "tests/support/edit_fixture.h"

namespace velkantrix {
namespace {

using testing::ElementsAre;

class SetFade : public EditTest {};

TEST_F(SetFade, StaysWithinWhatTheOtherFadeLeaves) {
    struct Row {
        bool isOut;
        double seconds;
        double fade;
    };
    for (const Row& row :
         {Row{false, 1, 1}, Row{true, 1.5, 1.5}, Row{false, 9, 7}, Row{false, INF, 7},
          Row{true, 9, 8}, Row{false, 0.05, 0.05}, Row{true, 7.999, 7.999}}) {
        load(20, {clip(0, 1), clip(5, 15, row.isOut ? 2 : 0, row.isOut ? 0 : 3)});
        setFade(1, row.isOut, row.seconds);
        EXPECT_EQ(row.isOut ? state.clips[1].fadeOut : state.clips[1].fadeIn, row.fade)
            << row.isOut << row.seconds;
        EXPECT_EQ(row.isOut ? state.clips[1].fadeIn : state.clips[1].fadeOut, row.isOut ? 2 : 3);
        EXPECT_EQ(state.clips[0], clip(0, 1));
        EXPECT_EQ(state.selectedClip, 1);
    }
}

TEST_F(SetFade, TooShortAFadeIsNone) {
    for (const double seconds : {0.049, 0.0, -3.0, -INF}) {
        load(20, {clip(0, 10, 1, 1)});
        setFade(0, false, seconds);
        EXPECT_EQ(state.clips[0], clip(0, 10, 0, 1)) << seconds;
    }
}

TEST_F(SetFade, RecordsThenChangesThenTells) {
    load(20, {clip(0, 10), clip(10, 20)});
    const ClipList before = state.clips;
    setFade(1, true, 1.25);
    ASSERT_EQ(state.undoStack.size(), 1u);
    EXPECT_EQ(state.undoStack[0].clips, before);
    EXPECT_EQ(state.undoStack[0].selectedClip, 0);
    EXPECT_EQ(state.undoStack[0].label, std::wstring(L"fade out"));
    EXPECT_EQ(state.statusText, L"Fade out 1.2 s — renders on export (re-encode)");
    EXPECT_THAT(recorder.calls, ElementsAre("refreshUi"));
    EXPECT_TRUE(recorder.during("refreshUi") == state);
    setFade(1, false, 2.36);
    EXPECT_EQ(state.undoStack[1].label, std::wstring(L"fade in"));
    EXPECT_EQ(state.statusText, L"Fade in 2.4 s — renders on export (re-encode)");
}

TEST_F(SetFade, RemovingAFadeSaysTheSameSentence) {
    load(20, {clip(0, 10, 1, 1)});
    setFade(0, false, 0);
    EXPECT_EQ(state.statusText, L"Fade in 0.0 s — renders on export (re-encode)");
    setFade(0, true, 0.04);
    EXPECT_EQ(state.statusText, L"Fade out 0.0 s — renders on export (re-encode)");
    EXPECT_EQ(state.clips[0], clip(0, 10));
}

TEST_F(SetFade, WithoutRoomTheClipIsTooShort) {
    load(20, {clip(3, 3.5, 0, 0.46)});
    setFade(0, false, 1);
    EXPECT_EQ(state.statusText, L"This clip is too short to fade");
    EXPECT_EQ(state.clips, ClipList{clip(3, 3.5, 0, 0.46)});
    EXPECT_TRUE(state.undoStack.empty());
    EXPECT_FALSE(state.edited);
    EXPECT_THAT(recorder.calls, ElementsAre("repaint"));
    EXPECT_EQ(recorder.during("repaint").statusText, L"This clip is too short to fade");

    load(20, {clip(3, 3.5, 0.46, 0)});
    state.statusText.clear();
    setFade(0, true, 1);
    EXPECT_EQ(state.statusText, L"This clip is too short to fade");
    load(20, {clip(0, 0.045)});
    state.statusText.clear();
    setFade(0, true, 1);
    EXPECT_EQ(state.statusText, L"This clip is too short to fade");
}

TEST_F(SetFade, RemovingAFadeWithoutRoomSaysSoTooAndSelectsNothing) {
    load(20, {clip(0, 2), clip(3, 3.045)});
    setFade(1, false, 0);
    EXPECT_EQ(state.statusText, L"This clip is too short to fade");
    EXPECT_EQ(state.selectedClip, 0);
    EXPECT_TRUE(state.undoStack.empty());
}

// 79.128 - 76.377 - 0.05 is rounded up: a fade-in of that length would leave less than 0.05.
TEST_F(SetFade, ALongestFadeInLeavesTheFadeOutItsLength) {
    load(100, {clip(76.377, 79.128, 0, 0.05)});
    ASSERT_LT(clipLength(state.clips[0]) - (clipLength(state.clips[0]) - 0.05), 0.05);
    setFade(0, false, 9);
    EXPECT_NEAR(state.clips[0].fadeIn, 2.701, 1e-12);
    const ClipList before = state.clips;
    normalizeFades();
    EXPECT_EQ(state.clips, before);
    EXPECT_EQ(state.clips[0].fadeOut, 0.05);
}

// 17.704 - 13.436 less this fade-out is a hair below 0.05, yet the fade-in of 0.05 is there.
TEST_F(SetFade, AFadeThatExistsCanAlwaysBeRemoved) {
    const Segment full = clip(13.436, 17.704, 0.05, 4.218000000000001);
    ASSERT_LT(clipLength(full) - full.fadeOut, 0.05);
    EXPECT_TRUE(canFade(full, false));
    EXPECT_EQ(fadeRoom(full, false), 0.05);
    load(20, {full});
    normalizeFades();
    ASSERT_EQ(state.clips, ClipList{full});
    setFade(0, false, 0);
    EXPECT_EQ(state.clips, ClipList{clip(13.436, 17.704, 0, 4.218000000000001)});
    EXPECT_EQ(state.statusText, L"Fade in 0.0 s — renders on export (re-encode)");
    load(20, {full});
    toggleFade(0, false);
    EXPECT_EQ(state.clips[0].fadeIn, 0);
    load(20, {full});
    expectNothingHappens([] { setFade(0, false, 1); });
}

TEST_F(SetFade, TheRunningGestureGoesOn) {
    load(20, {clip(0, 10), clip(10, 20)});
    state.rollCutIndex = 0;
    state.gestureRecorded = true;
    setFade(1, false, 2);
    EXPECT_EQ(state.undoStack.size(), 1u);
    EXPECT_EQ(state.rollCutIndex, 0);
    EXPECT_TRUE(state.gestureRecorded);
}

TEST_F(SetFade, NoChangeIsSilent) {
    load(20, {clip(0, 10), clip(10, 20, 1, 0)}); // clip 0 is selected, and stays so
    expectNothingHappens([] { setFade(1, false, 1); });
    expectNothingHappens([] { setFade(1, false, 1 + 0.9e-6); });
    expectNothingHappens([] { setFade(1, true, 0.03); });
    setFade(1, false, 1 + 1.1e-6);
    EXPECT_EQ(state.undoStack.size(), 1u);
}

TEST_F(SetFade, BadArgumentsDoNothing) {
    load(20, {clip(0, 10), clip(10, 10.02)});
    expectNothingHappens([&] { setFade(0, false, NOT_A_NUMBER); });
    expectNothingHappens([&] { setFade(1, true, NOT_A_NUMBER); });
    for (const std::int32_t i : {-1, 2, LOWEST, HIGHEST}) {
        expectNothingHappens([&] { setFade(i, true, 1); });
        expectNothingHappens([&] { toggleFade(i, true); });
    }
    state.exportBusy = true;
    expectNothingHappens([] { setFade(0, false, 1); });
    expectNothingHappens([] { setFade(1, false, 1); });
    expectNothingHappens([] { toggleFade(0, false); });
}

TEST_F(SetFade, RoomIsWhatTheOtherFadeLeaves) {
    EXPECT_DOUBLE_EQ(fadeRoom(clip(0, 3, 1, 0.5), false), 2.5);
    EXPECT_DOUBLE_EQ(fadeRoom(clip(0, 3, 1, 0.5), true), 2);
    EXPECT_EQ(fadeRoom(clip(0, 3, 5, 0), true), 0);
    EXPECT_TRUE(canFade(clip(0, 0.05), true));
    EXPECT_FALSE(canFade(clip(0, 0.049), true));
}

TEST_F(SetFade, LengthsAreWrittenInTenths) {
    EXPECT_EQ(formatFadeLength(0), L"0.0 s");
    EXPECT_EQ(formatFadeLength(1), L"1.0 s");
    EXPECT_EQ(formatFadeLength(0.25), L"0.2 s");
    EXPECT_EQ(formatFadeLength(0.26), L"0.3 s");
    EXPECT_EQ(formatFadeLength(12.96), L"13.0 s");
    EXPECT_EQ(formatFadeLength(1e300).size(), 305u);
}

class ToggleFade : public EditTest {};

TEST_F(ToggleFade, SetsOneSecondOrNone) {
    load(20, {clip(0, 10), clip(10, 20)});
    toggleFade(1, false);
    toggleFade(1, true);
    EXPECT_EQ(state.clips[1], clip(10, 20, 1, 1));
    EXPECT_EQ(state.statusText, L"Fade out 1.0 s — renders on export (re-encode)");
    toggleFade(1, false);
    EXPECT_EQ(state.clips[1], clip(10, 20, 0, 1));
    toggleFade(1, true);
    EXPECT_EQ(state.clips[1], clip(10, 20));
    EXPECT_EQ(state.undoStack.size(), 4u);
}

TEST_F(ToggleFade, AnyLengthCountsAsOn) {
    load(20, {clip(0, 10, 0.05, 4)});
    toggleFade(0, false);
    toggleFade(0, true);
    EXPECT_EQ(state.clips[0], clip(0, 10));
}

TEST_F(ToggleFade, InAShortClipTakesWhatThereIs) {
    load(20, {clip(0, 0.6)});
    toggleFade(0, true);
    EXPECT_EQ(state.clips[0], clip(0, 0.6, 0, 0.6));
}

TEST_F(ToggleFade, TheMenuTogglesTheSelectedClip) {
    load(20, {clip(0, 10), clip(10, 20)});
    state.selectedClip = 1;
    toggleFadeOfSelectedClip(true);
    EXPECT_EQ(state.clips[1].fadeOut, 1);
    toggleFadeOfSelectedClip(false);
    EXPECT_EQ(state.clips[1].fadeIn, 1);
    state.selectedClip = -1;
    expectNothingHappens([] { toggleFadeOfSelectedClip(true); });
}

class FadePreview : public EditTest {};

TEST_F(FadePreview, RampsWithinTheFades) {
    struct Row {
        double playhead;
        double gain;
    };
    for (const Row& row :
         {Row{9.98, 1}, Row{9.989, 1}, Row{9.991, 0}, Row{20.009, 0}, Row{20.011, 1}, Row{9.995, 0},
          Row{10, 0}, Row{10.5, 0.25}, Row{11, 0.5}, Row{12, 1}, Row{14, 1}, Row{16, 1},
          Row{18, 0.5}, Row{19, 0.25}, Row{20, 0}, Row{20.005, 0}, Row{20.02, 1}, Row{0, 1}}) {
        load(30, {clip(0, 8, 4, 4), clip(10, 20, 2, 4)});
        state.selectedClip = 1;
        state.playhead = row.playhead;
        EXPECT_DOUBLE_EQ(fadePreviewGain(), row.gain) << row.playhead;
    }
}

TEST_F(FadePreview, OnlyTheSelectedClipCounts) {
    load(30, {clip(0, 8, 4, 4), clip(10, 20)});
    state.selectedClip = 1;
    state.playhead = 1;
    EXPECT_EQ(fadePreviewGain(), 1.0);
    state.selectedClip = 0;
    EXPECT_EQ(fadePreviewGain(), 0.25);
}

TEST_F(FadePreview, WhereFadesMeetTheDarkerCounts) {
    EXPECT_DOUBLE_EQ(fadePreviewGain(clip(0, 4, 3, 1), 2), 2.0 / 3);
    EXPECT_DOUBLE_EQ(fadePreviewGain(clip(0, 4, 4, 4), 3), 0.25); // damaged: they overlap
    EXPECT_DOUBLE_EQ(fadePreviewGain(clip(0, 4, 4, 4), 1), 0.25);
}

TEST_F(FadePreview, WithoutVideoOrSelectionThePictureIsFull) {
    load(30, {clip(0, 8, 4, 4)});
    for (const std::int32_t i : {-1, 1, LOWEST, HIGHEST}) {
        state.selectedClip = i;
        EXPECT_EQ(fadePreviewGain(), 1.0) << i;
    }
    state.selectedClip = 0;
    state.videoLoaded = false;
    EXPECT_EQ(fadePreviewGain(), 1.0);
}

TEST_F(FadePreview, IsHandedToTheEngineThatExists) {
    load(30, {clip(0, 8, 4, 4)});
    state.playhead = 2;
    applyFadePreview();
    EXPECT_THAT(recorder.calls, ElementsAre("dim 0.5"));
    state.videoLoaded = false;
    applyFadePreview();
    EXPECT_THAT(recorder.calls, ElementsAre("dim 0.5", "dim 1"));
    recorder.engine = false;
    expectNothingHappens([] { applyFadePreview(); });
    editHost() = {};
    expectNothingHappens([] { applyFadePreview(); });
}

} // namespace
} // namespace velkantrix
