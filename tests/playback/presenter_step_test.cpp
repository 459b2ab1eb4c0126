#include "playback/presenter_step.h"

#include "tests/playback/picture_fixture.h"

namespace velkantrix {
namespace {

class PresenterStepTest : public Picture {
protected:
    PresenterTask taskWithFrame(double seconds) {
        offered = nearestTicks(seconds);
        return nextTask(control, memory, calls);
    }
};

TEST_F(PresenterStepTest, WithoutMetadataItIdlesFiveMilliseconds) {
    EXPECT_EQ(stepWithFrame(0), 5);
    EXPECT_EQ(takeDrawn(), Texts{});
    EXPECT_TRUE(offered) << "the engine was asked";
}

TEST_F(PresenterStepTest, ANewFrameOfTheEngineIsDrawn) {
    makeReady();
    control.redrawRequested = false;
    EXPECT_EQ(stepWithFrame(1.5), 0);
    EXPECT_EQ(takeDrawn(), Texts{"engine"});
    EXPECT_EQ(control.lastEnginePts, 15'000'000);
    EXPECT_TRUE(control.enginePresented);
    EXPECT_EQ(control.enginePresentCount, 1u);
    EXPECT_EQ(control.generation, 0u);
    EXPECT_EQ(step(), 1);
    EXPECT_EQ(takeDrawn(), Texts{});
}

TEST_F(PresenterStepTest, ARedrawHasNoTimeAndKeepsTheLastOne) {
    makeReady();
    stepWithFrame(1.5);
    takeDrawn();
    logged.clear();
    control.redrawRequested = true;
    EXPECT_EQ(step(), 0);
    EXPECT_EQ(takeDrawn(), Texts{"engine"});
    EXPECT_EQ(control.lastEnginePts, 15'000'000);
    EXPECT_EQ(control.enginePresentCount, 2u);
    EXPECT_FALSE(control.redrawRequested);
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_EQ(logged[0].pts, NO_TICKS);
}

TEST_F(PresenterStepTest, AFrameThatMeetsARedrawIsDrawnOnce) {
    makeReady();
    EXPECT_EQ(stepWithFrame(1), 0);
    EXPECT_EQ(takeDrawn(), Texts{"engine"});
    EXPECT_EQ(step(), 1);
}

TEST_F(PresenterStepTest, AFrozenPictureShowsNoFrameFarFromItsTarget) {
    makeReady();
    seekPicture(control, 5);
    EXPECT_EQ(stepWithFrame(1), 1);
    EXPECT_EQ(stepWithFrame(4.9), 1);
    EXPECT_EQ(stepWithFrame(5.1), 1);
    EXPECT_EQ(takeDrawn(), Texts{});
    EXPECT_EQ(control.owner, PictureOwner::Frozen);
    EXPECT_EQ(step(), 1);
}

TEST_F(PresenterStepTest, TheFrameThatASeekWaitsForLandsIt) {
    makeReady();
    seekPicture(control, 5);
    EXPECT_EQ(stepWithFrame(4.96), 0);
    EXPECT_EQ(takeDrawn(), Texts{"engine"});
    EXPECT_EQ(control.owner, PictureOwner::Engine);
    EXPECT_EQ(control.generation, 2u);
    EXPECT_EQ(control.seekTarget, NO_TICKS);
    EXPECT_EQ(control.settledPts, 49'600'000);
    EXPECT_EQ(control.lastEnginePts, 49'600'000);
    EXPECT_EQ(control.state, PlaybackState::Paused);
}

// 1.25 frames of 25 a second are 0.05 s.
TEST_F(PresenterStepTest, TheToleranceIncludesItsBounds) {
    struct Row {
        Ticks pts;
        bool lands;
    };
    for (const Row& row : {Row{49'499'999, false}, Row{49'500'000, true}, Row{50'500'000, true},
                           Row{50'500'001, false}}) {
        resetPicture(control);
        control.state = PlaybackState::Opening;
        control.fps = 25;
        makeReady();
        seekPicture(control, 5);
        offered = row.pts;
        EXPECT_EQ(step(), row.lands ? 0 : 1) << row.pts;
        EXPECT_EQ(control.owner == PictureOwner::Engine, row.lands) << row.pts;
    }
}

TEST_F(PresenterStepTest, TheToleranceIsAtLeastFiveMilliseconds) {
    EXPECT_EQ(landingTolerance(25), 500'000);
    EXPECT_EQ(landingTolerance(250), 50'000);
    EXPECT_EQ(landingTolerance(1000), 50'000);
    EXPECT_EQ(landingTolerance(249), 50'201);  // 1.25 / 249 s
    EXPECT_EQ(landingTolerance(1.0), 416'667); // no rate is that of 30 frames
    EXPECT_EQ(landingTolerance(0), 416'667);
}

TEST_F(PresenterStepTest, AFrozenPictureIsNotDrawnAgain) {
    makeReady();
    stepWithFrame(0);
    takeDrawn();
    seekPicture(control, 5);
    EXPECT_TRUE(control.redrawRequested);
    EXPECT_EQ(step(), 1);
    EXPECT_EQ(takeDrawn(), Texts{});
    EXPECT_FALSE(control.redrawRequested);
}

TEST_F(PresenterStepTest, AWaitingPreviewIsDrawnInAScrub) {
    makeReady();
    beginScrub(control);
    EXPECT_EQ(stepWithFrame(1), 2) << "no preview yet";
    EXPECT_FALSE(offered) << "the engine's clock is kept moving";
    control.scrub.previewRequestId = 7;
    control.scrub.previewTime = 4.5;
    control.scrub.previewPending = true;
    EXPECT_EQ(step(), 0);
    EXPECT_EQ(takeDrawn(), Texts{"preview"});
    EXPECT_EQ(control.scrub.previewShownId, 7);
    EXPECT_EQ(control.scrub.previewShownTime, 4.5);
    EXPECT_EQ(control.previewPresentCount, 1u);
    EXPECT_EQ(control.enginePresentCount, 0u);
    EXPECT_EQ(step(), 2);
}

TEST_F(PresenterStepTest, AShownPreviewIsDrawnAgainOnRequest) {
    makeReady();
    beginScrub(control);
    control.redrawRequested = true;
    EXPECT_EQ(step(), 2) << "nothing has been shown yet";
    control.scrub.previewShownTime = 0;
    control.redrawRequested = true;
    EXPECT_EQ(step(), 0);
    EXPECT_EQ(takeDrawn(), Texts{"preview"});
}

TEST_F(PresenterStepTest, TheEngineForgetsPreviewsThatWait) {
    makeReady();
    control.scrub.previewPending = true;
    step();
    EXPECT_FALSE(control.scrub.previewPending);
}

TEST_F(PresenterStepTest, WhatWasDecidedForAnOlderGenerationIsDropped) {
    makeReady();
    const PresenterTask task = taskWithFrame(1);
    EXPECT_TRUE(task.draws);
    seekPicture(control, 5);
    EXPECT_FALSE(present(control, memory, calls, task));
    EXPECT_EQ(takeDrawn(), Texts{});
    EXPECT_EQ(step(), 1) << "nor is it tried again";
    EXPECT_EQ(takeDrawn(), Texts{});
}

TEST_F(PresenterStepTest, WhatWasDecidedForAnotherOwnerIsDropped) {
    makeReady();
    PresenterTask task = taskWithFrame(1);
    beginScrub(control);
    task.generation = control.generation;
    EXPECT_FALSE(present(control, memory, calls, task));
    EXPECT_EQ(takeDrawn(), Texts{});
}

// Sound that is a little longer than the video makes the whole a little longer than its pictures.
TEST_F(PresenterStepTest, AtTheEndTheLastFrameLandsTheSeek) {
    control.fps = 60;
    control.videoEnd = 9.985;
    makeReady();
    seekPicture(control, 10);
    EXPECT_EQ(control.seekTarget, 100'000'000);
    EXPECT_EQ(stepWithFrame(9.985 - 3.0 / 60), 1) << "not the last one";
    EXPECT_EQ(stepWithFrame(9.985 - 1.0 / 60), 0);
    EXPECT_EQ(control.owner, PictureOwner::Engine);
    seekPicture(control, 5);
    EXPECT_EQ(stepWithFrame(9.96), 1) << "elsewhere the target counts";
    EXPECT_EQ(stepWithFrame(5), 0);
}

// With B-frames and no edit list the first frame often comes two frames late.
TEST_F(PresenterStepTest, BeforeTheFirstFrameItIsTheFirstThatLandsTheSeek) {
    control.videoStart = 1.5;
    makeReady();
    seekPicture(control, 0);
    EXPECT_EQ(control.seekTarget, 0);
    EXPECT_EQ(stepWithFrame(1.6), 1);
    EXPECT_EQ(stepWithFrame(1.5), 0);
    EXPECT_EQ(control.owner, PictureOwner::Engine);
    EXPECT_EQ(control.settledPts, 15'000'000);
}

// The first sample of the file needn't be the first that is shown.
TEST_F(PresenterStepTest, AFrameBeforeTheFirstSampleLandsTheSeekToo) {
    control.videoStart = 1.5;
    makeReady();
    seekPicture(control, 0);
    EXPECT_EQ(stepWithFrame(0), 0);
    EXPECT_EQ(control.owner, PictureOwner::Engine);
}

TEST_F(PresenterStepTest, OutsideAScrubAPreviewThatWaitsIsDropped) {
    makeReady();
    control.scrub.previewPending = true;
    step();
    EXPECT_FALSE(control.scrub.previewPending);
    EXPECT_EQ(control.previewPresentCount, 0u);
}

TEST_F(PresenterStepTest, ALandingIsNotTakenForThatOfALaterSeek) {
    makeReady();
    seekPicture(control, 5);
    const PresenterTask task = taskWithFrame(5);
    EXPECT_TRUE(present(control, memory, calls, task));
    seekPicture(control, 8);
    landSeek(control, task);
    EXPECT_EQ(control.owner, PictureOwner::Frozen);
    EXPECT_EQ(control.seekTarget, 80'000'000);
    EXPECT_EQ(control.settledPts, NO_TICKS);
}

TEST_F(PresenterStepTest, ALandingDuringAScrubChangesNothing) {
    makeReady();
    seekPicture(control, 5);
    PresenterTask task = taskWithFrame(5);
    EXPECT_TRUE(present(control, memory, calls, task));
    beginScrub(control);
    task.generation = control.generation;
    landSeek(control, task);
    EXPECT_EQ(control.owner, PictureOwner::Preview);
}

// The engine offers it once; without a second look the picture would stay frozen for good.
TEST_F(PresenterStepTest, AFrameThatComesWithItsSeekIsNotLost) {
    makeReady();
    calls.newFrame = [this]() -> std::optional<Ticks> {
        seekPicture(control, 5);
        return nearestTicks(5);
    };
    EXPECT_EQ(step(), 0);
    EXPECT_EQ(takeDrawn(), Texts{"engine"});
    EXPECT_EQ(control.owner, PictureOwner::Engine);
}

TEST_F(PresenterStepTest, AFrameThatCouldNotBeDrawnIsTriedAgain) {
    makeReady();
    seekPicture(control, 5);
    drawFails = true;
    EXPECT_EQ(stepWithFrame(5), 1);
    EXPECT_EQ(step(), 1);
    EXPECT_EQ(control.owner, PictureOwner::Frozen);
    EXPECT_FALSE(control.enginePresented);
    drawFails = false;
    EXPECT_EQ(step(), 0);
    EXPECT_EQ(control.settledPts, 50'000'000);
    EXPECT_EQ(control.owner, PictureOwner::Engine);
    EXPECT_EQ(step(), 1);
}

TEST_F(PresenterStepTest, AFrameThatCouldNotBeDrawnGivesWayToTheNext) {
    makeReady();
    drawFails = true;
    stepWithFrame(1);
    drawFails = false;
    stepWithFrame(2);
    EXPECT_EQ(control.lastEnginePts, 20'000'000);
    EXPECT_EQ(control.enginePresentCount, 1u);
    EXPECT_EQ(step(), 1);
}

TEST_F(PresenterStepTest, AFrameThatCouldNotBeDrawnIsForgottenWithItsGeneration) {
    makeReady();
    drawFails = true;
    stepWithFrame(5);
    drawFails = false;
    seekPicture(control, 5);
    EXPECT_EQ(step(), 1);
    EXPECT_EQ(takeDrawn(), Texts{});
}

TEST_F(PresenterStepTest, ARedrawThatFailedIsTriedAgain) {
    makeReady();
    drawFails = true;
    EXPECT_EQ(step(), 1);
    EXPECT_TRUE(control.redrawRequested);
    drawFails = false;
    EXPECT_EQ(step(), 0);
}

TEST_F(PresenterStepTest, APreviewThatCouldNotBeDrawnIsTriedAgain) {
    makeReady();
    beginScrub(control);
    control.scrub.previewTime = 2;
    control.scrub.previewPending = true;
    drawFails = true;
    EXPECT_EQ(step(), 2);
    EXPECT_EQ(control.scrub.previewShownTime, -1.0);
    EXPECT_EQ(control.previewPresentCount, 0u);
    drawFails = false;
    EXPECT_EQ(step(), 0);
    EXPECT_EQ(control.scrub.previewShownTime, 2);
}

TEST_F(PresenterStepTest, TheLogTellsWhatWasDrawn) {
    makeReady();
    seekPicture(control, 5);
    playPicture(control);
    stepWithFrame(5);
    ASSERT_EQ(logged.size(), 1u);
    EXPECT_FALSE(logged[0].isPreview);
    EXPECT_EQ(logged[0].pts, 50'000'000);
    EXPECT_EQ(logged[0].previewShownTime, -1.0);
    EXPECT_EQ(logged[0].seekTarget, 50'000'000);
    EXPECT_EQ(logged[0].owner, PictureOwner::Frozen);
    EXPECT_EQ(logged[0].generation, 1u);
    EXPECT_TRUE(logged[0].waitPlay);
    beginScrub(control);
    control.scrub.previewTime = 2.5;
    control.scrub.previewPending = true;
    step();
    ASSERT_EQ(logged.size(), 2u);
    EXPECT_TRUE(logged[1].isPreview);
    EXPECT_EQ(logged[1].previewShownTime, 2.5);
    EXPECT_EQ(logged[1].pts, NO_TICKS);
    EXPECT_EQ(logged[1].owner, PictureOwner::Preview);
    EXPECT_FALSE(logged[1].waitPlay);
}

TEST_F(PresenterStepTest, NoLogIsNeeded) {
    makeReady();
    calls.log = nullptr;
    EXPECT_EQ(stepWithFrame(1), 0);
}

} // namespace
} // namespace velkantrix
