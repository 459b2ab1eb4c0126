// Scrubs: beginning and ending them, and what they ask of the decoders.
#include "playback/picture_control.h"

#include <cmath>
#include <limits>

#include "tests/playback/picture_fixture.h"

namespace velkantrix {
namespace {

constexpr double NAN_SECONDS = std::numeric_limits<double>::quiet_NaN();

class PictureScrub : public Picture {};

TEST_F(PictureScrub, BeginScrubPausesAndGivesThePictureToThePreviews) {
    makeReady();
    playPicture(control);
    takeAsked();
    control.scrub.previewPending = true;
    control.scrub.previewTime = 4;
    control.scrub.previewShownTime = 4;
    control.scrub.previewShownId = 4;
    control.redrawRequested = true;
    EXPECT_TRUE(beginScrub(control));
    EXPECT_EQ(takeAsked(), Texts{"pause"});
    EXPECT_EQ(control.state, PlaybackState::Paused);
    EXPECT_EQ(control.owner, PictureOwner::Preview);
    EXPECT_EQ(control.generation, 1u);
    EXPECT_EQ(control.seekTarget, NO_TICKS);
    EXPECT_FALSE(control.redrawRequested);
    EXPECT_EQ(control.scrub.scrubRequested, 1);
    EXPECT_EQ(control.scrub.scrubClaimed, 1);
    EXPECT_EQ(control.scrub.previewRequestId, 1);
    EXPECT_EQ(control.scrub.previewTime, -1.0);
    EXPECT_EQ(control.scrub.previewShownTime, -1.0);
    EXPECT_EQ(control.scrub.previewShownId, -1);
    EXPECT_FALSE(control.scrub.previewPending);
    EXPECT_EQ(control.lastScrubRequestTime, -1e9);
    EXPECT_TRUE(isSeeking(control));
}

TEST_F(PictureScrub, BeginScrubWhilePausedSaysSo) {
    makeReady();
    EXPECT_FALSE(beginScrub(control));
}

TEST_F(PictureScrub, BeginScrubDuringALandingSeekKeepsTheWishToPlay) {
    makeReady();
    seekPicture(control, 2);
    playPicture(control);
    EXPECT_TRUE(beginScrub(control));
    EXPECT_FALSE(control.waitPlay);
    EXPECT_FALSE(control.resumeAfterSeek);
}

TEST_F(PictureScrub, SeeksDuringAScrubAskForPreviewsOnly) {
    makeReady();
    beginScrub(control);
    takeAsked();
    seekPicture(control, 0);
    EXPECT_EQ(takeAsked(), Texts{});
    EXPECT_EQ(control.scrub.scrubRequested, 2);
    EXPECT_EQ(control.scrub.scrubClaimed, 1);
    {
        const Lock held(control.scrub.lock);
        EXPECT_EQ(control.scrub.scrubTime, 0);
    }
    EXPECT_EQ(control.generation, 1u);
    seekPicture(control, 12);
    const Lock held(control.scrub.lock);
    EXPECT_EQ(control.scrub.scrubTime, 10);
}

TEST_F(PictureScrub, PreviewsLessThanHalfAFrameApartAreNotAskedFor) {
    makeReady();
    control.fps = 32; // half a frame is 1/64 s, an exact number
    beginScrub(control);
    seekPicture(control, 2);
    seekPicture(control, 2 + 1.0 / 64 - 1e-9);
    EXPECT_EQ(control.scrub.scrubRequested, 2);
    seekPicture(control, 2 + 1.0 / 64);
    EXPECT_EQ(control.scrub.scrubRequested, 3);
    seekPicture(control, 2);
    EXPECT_EQ(control.scrub.scrubRequested, 4);
}

TEST_F(PictureScrub, WithoutAFrameRatePreviewsAreSixteenMillisecondsApart) {
    makeReady();
    control.fps = 1.0;
    beginScrub(control);
    seekPicture(control, 0);
    seekPicture(control, 0.0159);
    EXPECT_EQ(control.scrub.scrubRequested, 2);
    seekPicture(control, 0.016);
    EXPECT_EQ(control.scrub.scrubRequested, 3);
}

TEST_F(PictureScrub, EndScrubSeeksTheEngine) {
    makeReady();
    beginScrub(control);
    seekPicture(control, 3);
    takeAsked();
    control.scrub.previewPending = true;
    control.scrub.previewTime = 3;
    control.redrawRequested = true;
    endScrub(control, 3.5, false);
    EXPECT_EQ(takeAsked(), Texts{"seek 3.5"});
    EXPECT_EQ(control.owner, PictureOwner::Frozen);
    EXPECT_EQ(control.generation, 2u);
    EXPECT_EQ(control.seekTarget, 35'000'000);
    EXPECT_EQ(control.settledPts, NO_TICKS);
    EXPECT_EQ(control.scrub.scrubRequested, 3);
    EXPECT_EQ(control.scrub.scrubClaimed, 3);
    EXPECT_EQ(control.scrub.previewRequestId, 3);
    EXPECT_EQ(control.scrub.previewTime, -1.0);
    EXPECT_FALSE(control.scrub.previewPending);
    EXPECT_FALSE(control.redrawRequested);
    EXPECT_FALSE(control.waitPlay);
    EXPECT_FALSE(control.resumeAfterSeek);
    EXPECT_EQ(control.state, PlaybackState::Paused);
}

TEST_F(PictureScrub, EndScrubWithResumePlaysFirstAndSeeksWhenItPlays) {
    makeReady();
    beginScrub(control);
    takeAsked();
    endScrub(control, 4, true);
    EXPECT_EQ(takeAsked(), Texts{"play"});
    EXPECT_TRUE(control.waitPlay);
    EXPECT_TRUE(control.resumeAfterSeek);
    EXPECT_EQ(control.state, PlaybackState::Paused);
    playingBegan(control);
    EXPECT_EQ(takeAsked(), Texts{"seek 4"});
    EXPECT_FALSE(control.waitPlay);
    stepWithFrame(4);
    EXPECT_EQ(control.state, PlaybackState::Playing);
    EXPECT_EQ(control.owner, PictureOwner::Engine);
}

TEST_F(PictureScrub, PlayWithinAScrubWaitsForItsEnd) {
    makeReady();
    beginScrub(control);
    takeAsked();
    control.scrub.previewPending = true;
    playPicture(control);
    EXPECT_EQ(takeAsked(), Texts{});
    EXPECT_EQ(control.state, PlaybackState::Paused);
    EXPECT_TRUE(control.scrub.previewPending);
    endScrub(control, 4, false);
    EXPECT_EQ(takeAsked(), Texts{"play"});
    EXPECT_TRUE(control.waitPlay);
    stepWithFrame(4);
    EXPECT_EQ(control.state, PlaybackState::Playing);
}

TEST_F(PictureScrub, PauseWithinAScrubTakesThePlayBack) {
    makeReady();
    beginScrub(control);
    playPicture(control);
    pausePicture(control);
    endScrub(control, 4, false);
    EXPECT_EQ(takeAsked(), (Texts{"pause", "pause", "seek 4"}));
}

TEST_F(PictureScrub, EndScrubIsKeptWithinTheVideo) {
    makeReady();
    beginScrub(control);
    endScrub(control, 11, false);
    EXPECT_EQ(control.seekTarget, 100'000'000);
    beginScrub(control);
    endScrub(control, NAN_SECONDS, false);
    EXPECT_EQ(control.seekTarget, 0);
}

TEST_F(PictureScrub, EndScrubWithoutAScrubDoesNothing) {
    makeReady();
    endScrub(control, 4, true);
    EXPECT_EQ(takeAsked(), Texts{});
    EXPECT_EQ(control.owner, PictureOwner::Engine);
    seekPicture(control, 1);
    takeAsked();
    endScrub(control, 4, true);
    EXPECT_EQ(takeAsked(), Texts{});
    EXPECT_EQ(control.seekTarget, 10'000'000);
}

TEST_F(PictureScrub, SeekingMeansAScrubOrATargetThatIsAwaited) {
    makeReady();
    EXPECT_FALSE(isSeeking(control));
    seekPicture(control, 1);
    EXPECT_TRUE(isSeeking(control));
    stepWithFrame(1);
    EXPECT_FALSE(isSeeking(control));
    beginScrub(control);
    EXPECT_TRUE(isSeeking(control));
}

} // namespace
} // namespace velkantrix
