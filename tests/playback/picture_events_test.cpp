#include "playback/picture_events.h"

#include "tests/playback/picture_fixture.h"

namespace velkantrix {
namespace {

class PictureEventsTest : public Picture {};

TEST_F(PictureEventsTest, MetadataMakesAnOpeningFileReadyOnce) {
    EXPECT_TRUE(metadataArrived(control));
    EXPECT_EQ(control.state, PlaybackState::Paused);
    EXPECT_TRUE(control.engineReady);
    EXPECT_TRUE(control.redrawRequested);
    EXPECT_FALSE(metadataArrived(control));
}

TEST_F(PictureEventsTest, MetadataWhilePlayingDrawsAgainAndPlaysOn) {
    makeReady();
    playPicture(control);
    control.redrawRequested = false;
    EXPECT_FALSE(metadataArrived(control));
    EXPECT_EQ(control.state, PlaybackState::Playing);
    EXPECT_TRUE(control.redrawRequested);
}

TEST_F(PictureEventsTest, MetadataAfterAFailureIsTooLate) {
    EXPECT_TRUE(failOpening(control));
    EXPECT_FALSE(metadataArrived(control));
    EXPECT_FALSE(control.engineReady);
    EXPECT_EQ(control.state, PlaybackState::Closed);
}

TEST_F(PictureEventsTest, PlayingTellsAWaitingTargetAgainOnce) {
    makeReady();
    seekPicture(control, 2);
    playPicture(control);
    takeAsked();
    playingBegan(control);
    EXPECT_EQ(takeAsked(), Texts{"seek 2"});
    EXPECT_FALSE(control.waitPlay);
    playingBegan(control);
    EXPECT_EQ(takeAsked(), Texts{});
}

TEST_F(PictureEventsTest, PlayingWithoutAWaitingTargetSeeksNowhere) {
    makeReady();
    seekPicture(control, 2);
    takeAsked();
    playingBegan(control);
    control.seekTarget = NO_TICKS;
    control.waitPlay = true;
    playingBegan(control);
    EXPECT_EQ(takeAsked(), Texts{});
}

TEST_F(PictureEventsTest, TheEndPausesAndForgetsWhatWaited) {
    makeReady();
    seekPicture(control, 2);
    playPicture(control);
    EXPECT_TRUE(endReached(control));
    EXPECT_EQ(control.state, PlaybackState::Paused);
    EXPECT_FALSE(control.waitPlay);
    EXPECT_FALSE(control.resumeAfterSeek);
}

TEST_F(PictureEventsTest, TheEndOfAFileThatIsNotReadyIsNoNews) {
    EXPECT_FALSE(endReached(control));
    EXPECT_EQ(control.state, PlaybackState::Opening);
    EXPECT_TRUE(failOpening(control));
    EXPECT_FALSE(endReached(control));
    EXPECT_EQ(control.state, PlaybackState::Closed);
}

} // namespace
} // namespace velkantrix
