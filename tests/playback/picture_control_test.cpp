#include "playback/picture_control.h"

#include <cmath>
#include <limits>

#include "tests/playback/picture_fixture.h"

namespace velkantrix {
namespace {

constexpr double NAN_SECONDS = std::numeric_limits<double>::quiet_NaN();

class PictureControlTest : public Picture {};

TEST_F(PictureControlTest, PlayStartsTheEngine) {
    makeReady();
    playPicture(control);
    EXPECT_EQ(takeAsked(), Texts{"play"});
    EXPECT_EQ(control.state, PlaybackState::Playing);
    EXPECT_FALSE(control.waitPlay);
    EXPECT_FALSE(control.resumeAfterSeek);
}

TEST_F(PictureControlTest, PlayForgetsAPreviewThatWaits) {
    makeReady();
    control.scrub.previewPending = true;
    playPicture(control);
    EXPECT_FALSE(control.scrub.previewPending);
}

TEST_F(PictureControlTest, PauseStopsTheEngine) {
    makeReady();
    playPicture(control);
    takeAsked();
    pausePicture(control);
    EXPECT_EQ(takeAsked(), Texts{"pause"});
    EXPECT_EQ(control.state, PlaybackState::Paused);
}

TEST_F(PictureControlTest, NothingPlaysPausesOrSeeksBeforeTheFileIsReady) {
    playPicture(control);
    pausePicture(control);
    seekPicture(control, 1);
    EXPECT_FALSE(beginScrub(control));
    endScrub(control, 1, true);
    EXPECT_EQ(takeAsked(), Texts{});
    EXPECT_EQ(control.state, PlaybackState::Opening);
    EXPECT_EQ(control.owner, PictureOwner::Engine);
    EXPECT_EQ(control.generation, 0u);
}

TEST_F(PictureControlTest, NothingPlaysAfterTheOpeningFailed) {
    EXPECT_TRUE(failOpening(control));
    playPicture(control);
    pausePicture(control);
    seekPicture(control, 1);
    EXPECT_EQ(takeAsked(), Texts{});
    EXPECT_EQ(control.state, PlaybackState::Closed);
}

TEST_F(PictureControlTest, NothingHappensWithoutAnEngine) {
    makeReady();
    detachEngine(control);
    playPicture(control);
    pausePicture(control);
    seekPicture(control, 1);
    EXPECT_FALSE(beginScrub(control));
    EXPECT_EQ(takeAsked(), Texts{});
    EXPECT_EQ(control.owner, PictureOwner::Engine);
    EXPECT_EQ(engineTime(control), 0);
}

TEST_F(PictureControlTest, TheTimeIsTheEngines) {
    engineAt = 3.25;
    EXPECT_EQ(engineTime(control), 3.25);
}

TEST_F(PictureControlTest, SeekFreezesThePictureAndAsksTheEngine) {
    makeReady();
    control.redrawRequested = false;
    control.scrub.previewPending = true;
    control.settledPts = 5;
    control.waitPlay = true;
    seekPicture(control, 2.00000004);
    EXPECT_EQ(takeAsked(), Texts{"seek 2"});
    EXPECT_EQ(control.owner, PictureOwner::Frozen);
    EXPECT_EQ(control.generation, 1u);
    EXPECT_EQ(control.seekTarget, 20'000'000);
    EXPECT_EQ(control.settledPts, NO_TICKS);
    EXPECT_FALSE(control.waitPlay);
    EXPECT_FALSE(control.resumeAfterSeek);
    EXPECT_TRUE(control.redrawRequested);
    EXPECT_FALSE(control.scrub.previewPending);
    EXPECT_TRUE(isSeeking(control));
}

TEST_F(PictureControlTest, SeekTargetsAreRoundedToTheNearestTick) {
    makeReady();
    seekPicture(control, 0.00000016);
    EXPECT_EQ(control.seekTarget, 2);
}

TEST_F(PictureControlTest, SeeksAreKeptWithinTheVideo) {
    makeReady();
    seekPicture(control, -1);
    seekPicture(control, 11);
    EXPECT_EQ(takeAsked(), (Texts{"seek 0", "seek 10"}));
    EXPECT_EQ(control.seekTarget, 100'000'000);
}

TEST_F(PictureControlTest, WithoutADurationSeeksAreOnlyKeptFromBelow) {
    makeReady();
    control.duration = 0;
    seekPicture(control, -1);
    seekPicture(control, 11);
    EXPECT_EQ(takeAsked(), (Texts{"seek 0", "seek 11"}));
}

TEST_F(PictureControlTest, ATimeThatIsNoNumberSeeksNowhere) {
    makeReady();
    seekPicture(control, NAN_SECONDS);
    EXPECT_EQ(takeAsked(), Texts{});
    EXPECT_EQ(control.owner, PictureOwner::Engine);
}

TEST_F(PictureControlTest, ASecondSeekReplacesTheTargetAndTheGeneration) {
    makeReady();
    seekPicture(control, 2);
    seekPicture(control, 5);
    EXPECT_EQ(control.seekTarget, 50'000'000);
    EXPECT_EQ(control.generation, 2u);
    EXPECT_EQ(control.owner, PictureOwner::Frozen);
}

TEST_F(PictureControlTest, ASeekWhilePlayingPlaysOnOnceItLanded) {
    makeReady();
    playPicture(control);
    seekPicture(control, 2);
    EXPECT_TRUE(control.resumeAfterSeek);
    seekPicture(control, 3);
    EXPECT_TRUE(control.resumeAfterSeek);
    EXPECT_EQ(control.state, PlaybackState::Playing);
}

TEST_F(PictureControlTest, PlayDuringALandingSeekWaitsForIt) {
    makeReady();
    seekPicture(control, 2);
    takeAsked();
    playPicture(control);
    EXPECT_EQ(takeAsked(), Texts{"play"});
    EXPECT_EQ(control.state, PlaybackState::Paused);
    EXPECT_TRUE(control.waitPlay);
    EXPECT_TRUE(control.resumeAfterSeek);
    stepWithFrame(2);
    EXPECT_EQ(control.state, PlaybackState::Playing);
    EXPECT_FALSE(control.waitPlay);
    EXPECT_FALSE(control.resumeAfterSeek);
}

TEST_F(PictureControlTest, PlayWhilePlayingWithASeekOnItsWayPlaysOnAfterIt) {
    makeReady();
    playPicture(control);
    seekPicture(control, 2);
    playPicture(control);
    EXPECT_EQ(control.state, PlaybackState::Playing);
    EXPECT_FALSE(control.waitPlay);
    stepWithFrame(2);
    EXPECT_EQ(control.state, PlaybackState::Playing);
}

TEST_F(PictureControlTest, ASeekAfterPlayDuringALandingSeekStillPlaysOn) {
    makeReady();
    seekPicture(control, 2);
    playPicture(control);
    seekPicture(control, 4);
    EXPECT_TRUE(control.resumeAfterSeek);
    EXPECT_FALSE(control.waitPlay);
}

TEST_F(PictureControlTest, PauseDuringALandingSeekTellsTheTargetAgain) {
    makeReady();
    seekPicture(control, 2);
    playPicture(control);
    takeAsked();
    pausePicture(control);
    EXPECT_EQ(takeAsked(), (Texts{"pause", "seek 2"}));
    EXPECT_FALSE(control.waitPlay);
    EXPECT_FALSE(control.resumeAfterSeek);
    EXPECT_EQ(control.state, PlaybackState::Paused);
    stepWithFrame(2);
    EXPECT_EQ(control.state, PlaybackState::Paused);
}

TEST_F(PictureControlTest, PauseWithoutAWaitingPlayTellsNoTarget) {
    makeReady();
    seekPicture(control, 2);
    takeAsked();
    pausePicture(control);
    EXPECT_EQ(takeAsked(), Texts{"pause"});
}

TEST_F(PictureControlTest, OpeningFailsOnce) {
    EXPECT_TRUE(failOpening(control));
    EXPECT_FALSE(failOpening(control));
}

TEST_F(PictureControlTest, AReadyFileCantFailToOpen) {
    makeReady();
    EXPECT_FALSE(failOpening(control));
    EXPECT_EQ(control.state, PlaybackState::Paused);
}

TEST_F(PictureControlTest, ExposureIsDrawnAtOnce) {
    control.redrawRequested = false;
    setExposure(control, 0.3);
    EXPECT_EQ(control.exposure, 0.3);
    EXPECT_TRUE(control.redrawRequested);
    setExposure(control, NAN_SECONDS);
    EXPECT_EQ(control.exposure, 0.3);
}

TEST_F(PictureControlTest, DimIsKeptWithinItsRange) {
    setDim(control, -1);
    EXPECT_EQ(control.dim, 0);
    setDim(control, 2);
    EXPECT_EQ(control.dim, 1);
    setDim(control, NAN_SECONDS);
    EXPECT_EQ(control.dim, 1);
}

TEST_F(PictureControlTest, AChangeOfDimTooSmallToBeSeenDrawsNothing) {
    control.redrawRequested = false;
    setDim(control, 1 - 1.0 / 512 + 1e-9);
    EXPECT_EQ(control.dim, 1);
    EXPECT_FALSE(control.redrawRequested);
    setDim(control, 1 - 1.0 / 512);
    EXPECT_EQ(control.dim, 1 - 1.0 / 512);
    EXPECT_TRUE(control.redrawRequested);
}

TEST_F(PictureControlTest, ResetForgetsTheFileButKeepsTheDim) {
    makeReady();
    setDim(control, 0.5);
    setExposure(control, 0.5);
    playPicture(control);
    stepWithFrame(1);
    beginScrub(control);
    seekPicture(control, 2);
    control.scrub.previewPending = true;
    control.scrub.previewTime = 2;
    step();
    endScrub(control, 2, true);
    detachEngine(control);
    resetPicture(control);
    EXPECT_EQ(control.state, PlaybackState::Closed);
    EXPECT_EQ(control.owner, PictureOwner::Engine);
    EXPECT_EQ(control.generation, 0u);
    EXPECT_EQ(control.seekTarget, NO_TICKS);
    EXPECT_EQ(control.settledPts, NO_TICKS);
    EXPECT_EQ(control.lastEnginePts, NO_TICKS);
    EXPECT_FALSE(control.waitPlay);
    EXPECT_FALSE(control.resumeAfterSeek);
    EXPECT_FALSE(control.engineReady);
    EXPECT_FALSE(control.redrawRequested);
    EXPECT_FALSE(control.enginePresented);
    EXPECT_EQ(control.enginePresentCount, 0u);
    EXPECT_EQ(control.previewPresentCount, 0u);
    EXPECT_EQ(control.exposure, 0);
    EXPECT_EQ(control.dim, 0.5);
    EXPECT_EQ(control.duration, 0);
    EXPECT_EQ(control.fps, 30);
    EXPECT_EQ(control.scrub.previewShownTime, -1.0);
    EXPECT_EQ(control.scrub.previewShownId, -1);
    EXPECT_FALSE(control.scrub.previewPending);
}

} // namespace
} // namespace velkantrix
