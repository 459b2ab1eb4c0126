// What the controller has drawn, read from the back buffers as they are shown, and what it does
// when its device is lost.
#include <atomic>
#include <cmath>

#include "tests/windows/controller_engine_fixture.h"
#include "tests/windows/scripted_device.h"

namespace velkantrix {
namespace {

constexpr int GREY = 128;
constexpr DWORD LONGER_THAN_A_CHECK = 300; // milliseconds: the device is asked every 250
constexpr int ALL = 1'000'000;

class ControllerDeviceTest : public ControllerEngineTest {
protected:
    ControllerDeviceTest() { engines.making.script.grey = GREY; }
    ~ControllerDeviceTest() override { controller.close(); }

    // The last picture's middle is of that grey once so many have been shown.
    void expectShown(std::uint32_t count, double grey) {
        ASSERT_TRUE(waitFor([&] { return controller.enginePresentCount() == count; }));
        const std::vector<PresentCall> presents = device.presents();
        ASSERT_EQ(presents.size(), count);
        for (std::size_t i = 0; i < 3; ++i) EXPECT_NEAR(presents.back().middle[i], grey, 2) << i;
    }

    void expectLossToldOnce() {
        ASSERT_TRUE(waitFor([&] { return notices.size() > 1; }));
        EXPECT_TRUE(engine().presenterThreadEnds());
        pump();
        EXPECT_EQ(notices, (Notices{PLAYBACK_READY, PLAYBACK_DEVICE_LOST}));
    }

    // The device goes while the next frame is taken over, which fails for that reason.
    void loseAtTransfer() {
        engine().failTransfers(ALL);
        goes = true;
        engine().offer(S_OK, 5 * SECOND);
    }

    ScriptedDevice device;
    std::atomic<bool> goes{false};
};

TEST_F(ControllerDeviceTest, TheExposureAndTheDimChangeThePicture) {
    openScripted();
    expectShown(1, GREY);
    controller.setDim(0.5);
    expectShown(2, GREY * 0.5);
    controller.setDim(1);
    expectShown(3, GREY);
    controller.setExposure(1);
    expectShown(4, 255 * std::pow(GREY / 255.0, 1.0 / 3));
    controller.setExposure(-1);
    expectShown(5, 255 * std::pow(GREY / 255.0, 3));
}

TEST_F(ControllerDeviceTest, TheDimOutlivesTheFileAndTheExposureDoesnt) {
    openScripted();
    controller.setDim(0.5);
    expectShown(2, GREY * 0.5);
    controller.setExposure(1);
    ASSERT_TRUE(waitFor([&] { return controller.enginePresentCount() == 3; }));
    notices.clear();
    openScripted();
    EXPECT_NEAR(device.presents().back().middle[0], GREY * 0.5, 2);
}

TEST_F(ControllerDeviceTest, APictureThatCouldNotBeShownIsShownLater) {
    device.answerPresents({E_FAIL, DXGI_ERROR_WAS_STILL_DRAWING});
    openScripted();
    EXPECT_EQ(device.presents().size(), 3u);
    controller.seek(2);
    device.answerPresents({E_FAIL});
    engine().offer(S_OK, 2 * SECOND);
    ASSERT_TRUE(waitFor([&] { return !controller.isSeeking(); }));
    EXPECT_EQ(controller.enginePresentCount(), 2u);
    EXPECT_EQ(device.presents().size(), 5u);
}

TEST_F(ControllerDeviceTest, APictureInACoveredWindowCountsAsShown) {
    device.answerPresents({DXGI_STATUS_OCCLUDED, DXGI_STATUS_OCCLUDED});
    openScripted();
    controller.seek(2);
    engine().offer(S_OK, 2 * SECOND);
    ASSERT_TRUE(waitFor([&] { return !controller.isSeeking(); }));
    EXPECT_EQ(controller.enginePresentCount(), 2u);
    EXPECT_EQ(device.presents().size(), 2u);
}

TEST_F(ControllerDeviceTest, ALossIsToldThoughThereIsNothingToDraw) {
    openScripted();
    device.lose();
    expectLossToldOnce();
    EXPECT_EQ(engine().transfers().size(), 1u);
}

TEST_F(ControllerDeviceTest, ALossEndsTheDrawingAtOnce) {
    engines.making.script.whileTransfer = [this] {
        if (goes) device.lose();
    };
    openScripted();
    loseAtTransfer();
    expectLossToldOnce();
    EXPECT_EQ(engine().transfers().size(), 2u);
}

TEST_F(ControllerDeviceTest, ALossIsToldOnceThoughItIsFoundTwice) {
    engines.making.script.whileTransfer = [this] {
        if (!goes) return;
        device.lose();
        Sleep(LONGER_THAN_A_CHECK); // so the next one follows at once
    };
    openScripted();
    loseAtTransfer();
    expectLossToldOnce();
}

TEST_F(ControllerDeviceTest, TheNextOpeningDrawsAgain) {
    openScripted();
    device.lose();
    expectLossToldOnce();
    device.bringBack();
    notices.clear();
    openScripted();
    EXPECT_EQ(device.presents().size(), 2u);
    controller.seek(2);
    engine().offer(S_OK, 2 * SECOND);
    EXPECT_TRUE(waitFor([&] { return !controller.isSeeking(); }));
}

} // namespace
} // namespace velkantrix
