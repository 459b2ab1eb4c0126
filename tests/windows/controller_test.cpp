// The controller with the real engine, device and threads, on real recordings. The messages that it
// posts are counted; what is on screen is another test's matter.
#include "tests/support/random_choices.h"
#include "tests/windows/controller_fixture.h"

namespace velkantrix {
namespace {

class RealEngineTest : public ControllerTest {
protected:
    // What else may come has come: two more events of a playing engine.
    void letEventsCome() {
        const ULONGLONG begun = GetTickCount64();
        while (GetTickCount64() - begun < 300) {
            pump();
            Sleep(1);
        }
    }
};

TEST_F(RealEngineTest, AnOpenedFileIsReadyAndPaused) {
    ASSERT_EQ(open(L"closed"), S_OK);
    EXPECT_EQ(controller.state(), PlaybackState::Opening);
    ASSERT_TRUE(waitForNotice(PLAYBACK_READY));
    EXPECT_EQ(controller.state(), PlaybackState::Paused);
    std::int32_t width = 0;
    std::int32_t height = 0;
    EXPECT_TRUE(controller.videoSize(width, height));
    EXPECT_EQ(width, 320);
    EXPECT_EQ(height, 180);
    EXPECT_DOUBLE_EQ(controller.fps(), 30);
    EXPECT_NEAR(controller.duration(), 12, 0.05);
    EXPECT_EQ(controller.currentTime(), 0);
    EXPECT_TRUE(waitFor([&] { return controller.enginePresented(); }));
    letEventsCome();
    EXPECT_EQ(notices, Notices{PLAYBACK_READY});
}

TEST_F(RealEngineTest, WhatIsNoVideoFailsOnce) {
    for (const wchar_t* name : {L"text", L"empty", L"truncated", L"missing"}) {
        notices.clear();
        const HRESULT opened = open(name);
        EXPECT_TRUE(waitForNotice(PLAYBACK_FAILED)) << name;
        letEventsCome();
        EXPECT_EQ(notices, Notices{PLAYBACK_FAILED}) << name;
        EXPECT_EQ(controller.state(), PlaybackState::Closed) << name;
        EXPECT_TRUE(SUCCEEDED(opened) || controller.failurePosted()) << name;
        controller.play();
        controller.seek(1);
        EXPECT_EQ(controller.state(), PlaybackState::Closed) << name;
    }
}

TEST_F(RealEngineTest, AFileWithoutPicturesHasNoSize) {
    openAndWait(L"audio-only");
    std::int32_t width = 7;
    std::int32_t height = 7;
    EXPECT_FALSE(controller.videoSize(width, height));
}

TEST_F(RealEngineTest, AnEmptyPathFails) {
    const HRESULT opened = controller.open(nullptr, false, window, receiver);
    EXPECT_TRUE(waitForNotice(PLAYBACK_FAILED));
    EXPECT_TRUE(SUCCEEDED(opened) || controller.failurePosted());
}

TEST_F(RealEngineTest, NobodyNeedsToBeTold) {
    ASSERT_EQ(controller.open(mediaFile(L"closed").c_str(), false, window, nullptr), S_OK);
    EXPECT_TRUE(waitFor([&] { return controller.state() == PlaybackState::Paused; }));
    EXPECT_TRUE(FAILED(controller.open(mediaFile(L"closed").c_str(), false, nullptr, nullptr)));
    EXPECT_FALSE(controller.failurePosted());
}

TEST_F(RealEngineTest, WithoutAWindowForThePictureOpeningFails) {
    EXPECT_TRUE(FAILED(controller.open(mediaFile(L"closed").c_str(), false, nullptr, receiver)));
    EXPECT_TRUE(waitForNotice(PLAYBACK_FAILED));
    EXPECT_TRUE(controller.failurePosted());
    EXPECT_EQ(controller.state(), PlaybackState::Closed);
}

TEST_F(RealEngineTest, NoticesOfTheFileBeforeAreRemoved) {
    ASSERT_EQ(open(L"closed"), S_OK);
    // Its message is left in the queue.
    const ULONGLONG begun = GetTickCount64();
    while (controller.state() == PlaybackState::Opening && GetTickCount64() - begun < LONGEST_WAIT)
        Sleep(1);
    Sleep(50);
    ASSERT_EQ(open(L"mono"), S_OK);
    ASSERT_TRUE(waitForNotice(PLAYBACK_READY));
    letEventsCome();
    EXPECT_EQ(notices, Notices{PLAYBACK_READY});
}

TEST_F(RealEngineTest, PlayingEndsAtTheEnd) {
    openAndWait(L"closed");
    controller.seek(11.5);
    controller.play();
    EXPECT_TRUE(waitForNotice(PLAYBACK_ENDED));
    EXPECT_EQ(controller.state(), PlaybackState::Paused);
    EXPECT_EQ(notices, (Notices{PLAYBACK_READY, PLAYBACK_ENDED}));
}

TEST_F(RealEngineTest, PlayDuringASeekPlaysOnceItLanded) {
    openAndWait(L"closed");
    controller.seek(6);
    controller.play();
    EXPECT_TRUE(waitFor([&] { return controller.state() == PlaybackState::Playing; }));
    EXPECT_FALSE(controller.isSeeking());
    EXPECT_TRUE(waitFor([&] { return controller.currentTime() > 6.3; }));
    EXPECT_LT(controller.currentTime(), 9);
}

TEST_F(RealEngineTest, AScrubThatResumesPlaysFromWhereItEnded) {
    openAndWait(L"closed");
    controller.play();
    EXPECT_TRUE(controller.beginScrub());
    EXPECT_TRUE(controller.isSeeking());
    controller.seek(3);
    controller.seek(8);
    controller.endScrub(8, true);
    EXPECT_TRUE(waitFor([&] { return controller.state() == PlaybackState::Playing; }));
    EXPECT_TRUE(waitFor([&] { return controller.currentTime() > 8.1; }));
    EXPECT_LT(controller.currentTime(), 11);
}

TEST_F(RealEngineTest, AVideoThatEndsBeforeItsSoundEndsEarly) {
    openAndWait(L"video-short");
    EXPECT_NEAR(controller.duration(), 7, 0.05);
}

TEST_F(RealEngineTest, SoundThatEndsEarlyChangesNothing) {
    openAndWait(L"audio-short");
    EXPECT_NEAR(controller.duration(), 12, 0.05);
}

TEST_F(RealEngineTest, TheFrameRateIsTheFiles) {
    openAndWait(L"numbered-2997-30-0");
    EXPECT_DOUBLE_EQ(controller.fps(), 30000.0 / 1001);
    openAndWait(L"large");
    EXPECT_DOUBLE_EQ(controller.fps(), 60);
}

// Closed while it opens, plays, seeks, scrubs: at any moment, by the clock of a seeded choice.
TEST_F(RealEngineTest, ItCanBeClosedAtAnyMoment) {
    RandomChoices choices(7);
    const std::uint64_t rounds = propertyRounds(25);
    for (std::uint64_t round = 0; round < rounds; ++round) {
        notices.clear();
        ASSERT_EQ(open(choices.percent(50) ? L"closed" : L"pyramid"), S_OK);
        if (round % 2 == 1) { // otherwise what follows does nothing
            ASSERT_TRUE(waitForNotice(PLAYBACK_READY));
        }
        for (std::uint32_t left = choices.below(6); left > 0; --left) {
            switch (choices.below(6)) {
            case 0:
                controller.play();
                break;
            case 1:
                controller.seek(choices.between(0, 12));
                break;
            case 2:
                controller.beginScrub();
                break;
            case 3:
                controller.endScrub(choices.between(0, 12), choices.percent(50));
                break;
            case 4:
                controller.pause();
                break;
            default:
                Sleep(choices.below(40));
                break;
            }
            pump();
        }
        controller.close();
        ASSERT_EQ(controller.state(), PlaybackState::Closed);
        ASSERT_FALSE(controller.hasEngine());
        ASSERT_EQ(liveEngineCallbacks(), 0) << "round " << round;
    }
}

} // namespace
} // namespace velkantrix
