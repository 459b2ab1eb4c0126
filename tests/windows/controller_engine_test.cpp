// The controller with its own threads and device, and an engine that does what the test says.
#include <windows.h>

#include <mfapi.h>
#include <mferror.h>

#include <cstdint>
#include <limits>
#include <string>
#include <vector>

#include "tests/windows/controller_engine_fixture.h"

namespace velkantrix {
namespace {

constexpr HRESULT UNUSUAL = static_cast<HRESULT>(0x80041234); // that nothing else returns

TEST_F(ControllerEngineTest, TheEngineIsMadeForFramesOnTheControllersDevice) {
    beginOpening();
    EXPECT_EQ(engines.making.asked, 1);
    EXPECT_EQ(engines.making.flags, 0u);
    EXPECT_EQ(engines.making.outputFormat, 87u); // B8G8R8A8_UNORM
    EXPECT_TRUE(engines.making.hasManager);
    EXPECT_TRUE(engines.making.hasCallback);
}

TEST_F(ControllerEngineTest, VolumeAndMutingAreSetBeforeTheSource) {
    controller.setVolume(0.25);
    controller.setMuted(true);
    beginOpening();
    EXPECT_EQ(engine().calls(),
              (Calls{"SetAutoPlay 0", "SetVolume 0.25", "SetMuted 1", "SetSource"}));
    EXPECT_EQ(engine().source(), mediaFile(L"no-such-file"));
}

TEST_F(ControllerEngineTest, TheVolumeIsKeptWithinItsRange) {
    beginOpening();
    engine().forgetCalls();
    for (const double volume : {7.0, -1.0, 0.5, std::numeric_limits<double>::quiet_NaN()})
        controller.setVolume(volume);
    EXPECT_EQ(engine().calls(), (Calls{"SetVolume 1", "SetVolume 0", "SetVolume 0.5"}));
}

TEST_F(ControllerEngineTest, TheOpenFileIsMutedAtOnce) {
    beginOpening();
    engine().forgetCalls();
    controller.setMuted(true);
    controller.setMuted(false);
    EXPECT_EQ(engine().calls(), (Calls{"SetMuted 1", "SetMuted 0"}));
}

TEST_F(ControllerEngineTest, VolumeAndMutingAreKeptFromFileToFile) {
    beginOpening();
    controller.setVolume(7);
    controller.setMuted(true);
    beginOpening();
    EXPECT_EQ(engines.making.asked, 2);
    EXPECT_EQ(engine().calls(), (Calls{"SetAutoPlay 0", "SetVolume 1", "SetMuted 1", "SetSource"}));
    controller.setVolume(0.5);
    controller.setMuted(false);
    controller.close();
    beginOpening();
    EXPECT_EQ(engine().calls(),
              (Calls{"SetAutoPlay 0", "SetVolume 0.5", "SetMuted 0", "SetSource"}));
}

TEST_F(ControllerEngineTest, WithoutAClassFactoryOpeningFailsWithItsReason) {
    engines.making.factory = UNUSUAL;
    expectFailedOnce(open(L"no-such-file"), UNUSUAL);
    EXPECT_EQ(engines.making.asked, 0);
}

TEST_F(ControllerEngineTest, AnEngineThatCantBeMadeFailsWithItsReason) {
    engines.making.creation = UNUSUAL;
    expectFailedOnce(open(L"no-such-file"), UNUSUAL);
    EXPECT_FALSE(controller.hasEngine());
}

TEST_F(ControllerEngineTest, SuccessWithoutAnEngineIsAFailure) {
    engines.making.givesEngine = false;
    expectFailedOnce(open(L"no-such-file"), E_FAIL);
    EXPECT_FALSE(controller.hasEngine());
}

TEST_F(ControllerEngineTest, ARefusedSourceFailsWithItsReason) {
    engines.making.script.source = UNUSUAL;
    expectFailedOnce(open(L"no-such-file"), UNUSUAL);
    fire(FAILED_EVENT); // such an engine may say so once more
    fire(METADATA_EVENT);
    EXPECT_EQ(notices, Notices{PLAYBACK_FAILED});
    EXPECT_EQ(controller.state(), PlaybackState::Closed);
}

TEST_F(ControllerEngineTest, AnErrorOnceReadyIsNotReported) {
    openScripted();
    fire(FAILED_EVENT);
    EXPECT_EQ(notices, Notices{PLAYBACK_READY});
    EXPECT_EQ(controller.state(), PlaybackState::Paused);
}

TEST_F(ControllerEngineTest, AnErrorWhileOpeningIsReportedOnce) {
    beginOpening();
    fire(FAILED_EVENT);
    fire(FAILED_EVENT);
    fire(METADATA_EVENT);
    EXPECT_EQ(notices, Notices{PLAYBACK_FAILED});
    EXPECT_EQ(controller.state(), PlaybackState::Closed);
}

TEST_F(ControllerEngineTest, ReadyIsReportedOnce) {
    beginOpening();
    fire(METADATA_EVENT);
    fire(METADATA_EVENT);
    EXPECT_EQ(notices, Notices{PLAYBACK_READY});
}

TEST_F(ControllerEngineTest, TheEnginesSizeCountsMoreThanTheFiles) {
    engines.making.script.width = 640;
    engines.making.script.height = 360;
    ASSERT_EQ(open(L"closed"), S_OK);
    expectVideoSize(320, 180);
    fire(METADATA_EVENT);
    expectVideoSize(640, 360);
    ASSERT_TRUE(waitFor([&] { return !engine().transfers().empty(); }));
    EXPECT_EQ(engine().transfers().front().surface.Width, 640u);
    EXPECT_EQ(engine().transfers().front().surface.Height, 360u);
}

TEST_F(ControllerEngineTest, AnEngineThatKnowsNoSizeLeavesTheFiles) {
    struct Case {
        HRESULT size;
        DWORD width, height;
    };
    for (const Case& one : {Case{S_OK, 0, 360}, Case{S_OK, 640, 0}, Case{E_FAIL, 640, 360}}) {
        notices.clear();
        engines.making.script.size = one.size;
        engines.making.script.width = one.width;
        engines.making.script.height = one.height;
        ASSERT_EQ(open(L"closed"), S_OK);
        fire(METADATA_EVENT);
        EXPECT_EQ(notices, Notices{PLAYBACK_READY});
        expectVideoSize(320, 180);
    }
}

// What the window refuses then: the size that the file states is of pictures that can't be decoded.
TEST_F(ControllerEngineTest, WithoutAVideoForTheEngineThereIsNoSize) {
    engines.making.script.hasVideo = false;
    ASSERT_EQ(open(L"closed"), S_OK);
    fire(METADATA_EVENT);
    EXPECT_EQ(notices, Notices{PLAYBACK_READY});
    expectVideoSize(0, 0);
}

TEST_F(ControllerEngineTest, OnlyPlainSuccessIsANewFrame) {
    openScripted();
    for (const HRESULT result : {S_FALSE, static_cast<HRESULT>(2), E_FAIL})
        engine().offer(result, 5 * SECOND);
    waitForTicks();
    EXPECT_EQ(controller.enginePresentCount(), 1u);
    EXPECT_EQ(engine().transfers().size(), 1u);
    engine().offer(S_OK, 5 * SECOND);
    waitForTicks();
    EXPECT_EQ(controller.enginePresentCount(), 2u);
}

TEST_F(ControllerEngineTest, ASeekLandsAtNoFrameThatIsntNew) {
    openScripted();
    controller.seek(2);
    for (const HRESULT result : {S_FALSE, static_cast<HRESULT>(2), E_FAIL})
        engine().offer(result, 2 * SECOND);
    waitForTicks();
    EXPECT_TRUE(controller.isSeeking());
    engine().offer(S_OK, 2 * SECOND);
    waitForTicks();
    EXPECT_FALSE(controller.isSeeking());
    EXPECT_EQ(controller.settledPts(), 2 * SECOND);
}

TEST_F(ControllerEngineTest, AllOfTheFrameIsTakenOverWithAnOpaqueBlackBorder) {
    openScripted();
    const std::vector<EngineTransfer> transfers = engine().transfers();
    ASSERT_EQ(transfers.size(), 1u);
    const EngineTransfer& one = transfers.front();
    EXPECT_EQ(one.surface.Width, 320u);
    EXPECT_EQ(one.surface.Height, 180u);
    EXPECT_EQ(one.surface.Format, DXGI_FORMAT_B8G8R8A8_UNORM);
    EXPECT_FALSE(one.hasSource); // all of it
    ASSERT_TRUE(one.hasDestination);
    const RECT whole = {0, 0, 320, 180};
    EXPECT_TRUE(EqualRect(&one.destination, &whole));
    ASSERT_TRUE(one.hasBorder);
    EXPECT_EQ(one.border.rgbRed, 0);
    EXPECT_EQ(one.border.rgbGreen, 0);
    EXPECT_EQ(one.border.rgbBlue, 0);
    EXPECT_EQ(one.border.rgbAlpha, 255);
}

TEST_F(ControllerEngineTest, AFrameThatCantBeTakenOverIsTriedAgain) {
    openScripted();
    engine().failTransfers(2);
    controller.seek(2);
    engine().offer(S_OK, 2 * SECOND);
    ASSERT_TRUE(waitFor([&] { return !controller.isSeeking(); }));
    EXPECT_EQ(controller.settledPts(), 2 * SECOND);
    EXPECT_EQ(controller.enginePresentCount(), 2u);
    EXPECT_EQ(engine().transfers().size(), 4u);
}

// It would wait for ever if the controller held a lock that the events need.
TEST_F(ControllerEngineTest, EventsWhileTheEngineShutsDownNeitherBlockNorCount) {
    openScripted();
    controller.beginScrub();
    controller.endScrub(8, true); // the next PLAYING would issue a seek
    engine().forgetCalls();
    engine().script.eventsOfShutdown = {PLAYING_EVENT, ENDED_EVENT};
    controller.close();
    EXPECT_FALSE(engine().shutdownWaitedForEver);
    EXPECT_EQ(engine().calls(), Calls{"Shutdown"});
    EXPECT_EQ(controller.state(), PlaybackState::Closed);
    pump();
    EXPECT_EQ(notices, Notices{PLAYBACK_READY});
}

TEST_F(ControllerEngineTest, AScrubThatResumesSeeksOnceTheEnginePlays) {
    openScripted();
    controller.play();
    ASSERT_TRUE(controller.beginScrub());
    engine().forgetCalls();
    controller.endScrub(8, true);
    EXPECT_EQ(engine().calls(), Calls{"Play"});
    EXPECT_EQ(controller.state(), PlaybackState::Paused);
    fire(PLAYING_EVENT);
    EXPECT_EQ(engine().calls(), (Calls{"Play", "SetCurrentTime 8"}));
    fire(PLAYING_EVENT); // the seek's own end is one, too
    EXPECT_EQ(engine().calls(), (Calls{"Play", "SetCurrentTime 8"}));
    EXPECT_TRUE(controller.isSeeking());
    engine().offer(S_OK, 8 * SECOND);
    EXPECT_TRUE(waitFor([&] { return controller.state() == PlaybackState::Playing; }));
    EXPECT_FALSE(controller.isSeeking());
}

TEST_F(ControllerEngineTest, AScrubThatDoesntResumeOnlySeeks) {
    openScripted();
    controller.beginScrub();
    engine().forgetCalls();
    controller.endScrub(8, false);
    EXPECT_EQ(engine().calls(), Calls{"SetCurrentTime 8"});
}

// Looking for notices of the file before takes it out of the queue, whatever is looked for.
TEST_F(ControllerEngineTest, AQuitMessageOutlivesTheOpening) {
    PostMessageW(receiver, WM_PLAYBACK_NOTIFY, PLAYBACK_ENDED, 0);
    PostQuitMessage(7);
    beginOpening();
    MSG message = {};
    ASSERT_TRUE(PeekMessageW(&message, nullptr, WM_QUIT, WM_QUIT, PM_REMOVE));
    EXPECT_EQ(message.message, static_cast<UINT>(WM_QUIT));
    EXPECT_EQ(message.wParam, 7u);
    pump();
    EXPECT_EQ(notices, Notices{});
}

// The stand-in is as the system's engine: reaching the end doesn't pause it.
TEST_F(ControllerEngineTest, AtTheEndItIsPausedThoughTheSeekThereHasNotLanded) {
    openScripted();
    controller.play();
    controller.seek(12);
    fire(ENDED_EVENT);
    EXPECT_TRUE(controller.isSeeking());
    engine().forgetCalls();
    controller.pauseAfterEnd(); // as the window does when it is told
    EXPECT_EQ(engine().calls(), Calls{"Pause"});
    controller.play();
    engine().forgetCalls();
    controller.pauseAfterEnd(); // too late: it is to play again
    EXPECT_EQ(engine().calls(), Calls{});
}

TEST_F(ControllerEngineTest, WithoutAnyOtherStatementTheEnginesDurationCounts) {
    engines.making.script.duration = 42;
    beginOpening();
    EXPECT_EQ(controller.duration(), 0);
    fire(METADATA_EVENT);
    EXPECT_EQ(controller.duration(), 42);
}

TEST_F(ControllerEngineTest, ADurationThatIsNoneIsZero) {
    for (const double wrong : {0.0, -1.0, std::numeric_limits<double>::infinity(),
                               std::numeric_limits<double>::quiet_NaN()}) {
        engines.making.script.duration = wrong;
        beginOpening();
        fire(METADATA_EVENT);
        EXPECT_EQ(controller.duration(), 0);
    }
}

TEST_F(ControllerEngineTest, PlayDuringASeekIsPlayingOnlyOnceItLanded) {
    openScripted();
    controller.seek(6);
    controller.play();
    EXPECT_EQ(engine().calls(), (Calls{"SetCurrentTime 6", "Play"}));
    EXPECT_EQ(controller.state(), PlaybackState::Paused);
    fire(PLAYING_EVENT);
    EXPECT_EQ(engine().calls(), (Calls{"SetCurrentTime 6", "Play", "SetCurrentTime 6"}));
    EXPECT_EQ(controller.state(), PlaybackState::Paused);
    engine().offer(S_OK, 3 * SECOND); // from before the seek
    waitForTicks();
    EXPECT_EQ(controller.state(), PlaybackState::Paused);
    engine().offer(S_OK, 6 * SECOND);
    EXPECT_TRUE(waitFor([&] { return controller.state() == PlaybackState::Playing; }));
}

} // namespace
} // namespace velkantrix
