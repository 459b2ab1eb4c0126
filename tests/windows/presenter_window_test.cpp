// The presenter's device, and its swap chain in a window that changes.
#include <d3d10.h>

#include "tests/windows/presenter_fixture.h"
#include "tests/windows/scripted_device.h"
#include "tests/windows/scripted_engine.h"

namespace velkantrix {
namespace {

class PresenterWindowTest : public PresenterTest {
protected:
    DrawResult draw() { return drawPicture(presenter, engine.get(), {}); }

    void prepareFrame() {
        setVideoSize(presenter, 16, 16);
        ASSERT_TRUE(ensureFrameTexture(presenter));
    }

    void sizeWindow(int width, int height) {
        ASSERT_TRUE(SetWindowPos(window, nullptr, 0, 0, width, height,
                                 SWP_NOMOVE | SWP_NOZORDER | SWP_NOACTIVATE));
    }

    void expectChain(const SIZE& size) {
        DXGI_SWAP_CHAIN_DESC1 chain = {};
        ASSERT_EQ(presenter.swapChain->GetDesc1(&chain), S_OK);
        EXPECT_EQ(chain.Width, static_cast<UINT>(size.cx));
        EXPECT_EQ(chain.Height, static_cast<UINT>(size.cy));
    }

    ComPtr<ScriptedEngine> engine = ComPtr<ScriptedEngine>::adopt(new ScriptedEngine({}, nullptr));
};

TEST_F(PresenterWindowTest, TheSwapChainIsForPicturesOfAWindow) {
    DXGI_SWAP_CHAIN_DESC1 chain = {};
    ASSERT_EQ(presenter.swapChain->GetDesc1(&chain), S_OK);
    EXPECT_EQ(chain.Width, 320u);
    EXPECT_EQ(chain.Height, 200u);
    EXPECT_EQ(chain.Format, DXGI_FORMAT_B8G8R8A8_UNORM);
    EXPECT_FALSE(chain.Stereo);
    EXPECT_EQ(chain.SampleDesc.Count, 1u);
    EXPECT_EQ(chain.SampleDesc.Quality, 0u);
    EXPECT_EQ(chain.BufferUsage, DXGI_USAGE_RENDER_TARGET_OUTPUT);
    EXPECT_EQ(chain.BufferCount, 2u);
    EXPECT_EQ(chain.Scaling, DXGI_SCALING_STRETCH);
    EXPECT_EQ(chain.SwapEffect, DXGI_SWAP_EFFECT_FLIP_DISCARD);
    EXPECT_EQ(chain.AlphaMode, DXGI_ALPHA_MODE_IGNORE);
    EXPECT_EQ(chain.Flags, 0u);
}

TEST_F(PresenterWindowTest, TheDeviceIsForVideoAndForSeveralThreads) {
    EXPECT_EQ(presenter.device->GetCreationFlags(), 0x820u); // BGRA, video
    ComPtr<ID3D10Multithread> threads;
    ASSERT_EQ(presenter.device->QueryInterface(__uuidof(ID3D10Multithread), threads.putVoid()),
              S_OK);
    EXPECT_TRUE(threads->GetMultithreadProtected());
}

TEST_F(PresenterWindowTest, TheDeviceIsGivenToTheManager) {
    HANDLE handle = nullptr;
    ASSERT_EQ(presenter.deviceManager->OpenDeviceHandle(&handle), S_OK);
    ComPtr<ID3D11Device> device;
    EXPECT_EQ(
        presenter.deviceManager->GetVideoService(handle, __uuidof(ID3D11Device), device.putVoid()),
        S_OK);
    EXPECT_EQ(device.get(), presenter.device.get());
    EXPECT_EQ(presenter.deviceManager->CloseDeviceHandle(handle), S_OK);
}

TEST_F(PresenterWindowTest, BackBuffersFollowTheWindowWhenTheNextPictureIsDrawn) {
    prepareFrame();
    ASSERT_EQ(draw(), DrawResult::Presented);
    SIZE before = {320, 200};
    for (int i = 1; i <= 10; ++i) {
        // In turn the width and the height.
        const SIZE size = {300 + (i + 1) / 2 * 13, 240 - i / 2 * 7};
        sizeWindow(size.cx, size.cy);
        expectChain(before);
        ASSERT_EQ(draw(), DrawResult::Presented) << i;
        expectChain(size);
        before = size;
    }
}

TEST_F(PresenterWindowTest, AWindowWithoutAnAreaHasBackBuffersOfOnePixel) {
    prepareFrame();
    sizeWindow(0, 0);
    ASSERT_NE(draw(), DrawResult::DeviceLost);
    expectChain({1, 1});
    sizeWindow(320, 200);
    ASSERT_EQ(draw(), DrawResult::Presented);
    expectChain({320, 200});
}

TEST_F(PresenterWindowTest, ASetUpInAWindowWithoutAnAreaSucceeds) {
    releasePresenter(presenter);
    sizeWindow(0, 0);
    ASSERT_TRUE(setUpPresenter(presenter, window));
    expectChain({1, 1});
}

TEST_F(PresenterWindowTest, NothingIsDrawnWithoutAllThatItTakes) {
    EXPECT_FALSE(ensureFrameTexture(presenter)) << "the video's size isn't known";
    EXPECT_EQ(draw(), DrawResult::Skipped);
    prepareFrame();
    ASSERT_EQ(draw(), DrawResult::Presented);
    EXPECT_EQ(drawPicture(presenter, nullptr, {}), DrawResult::Skipped);

    const ComPtr<ID3D11Texture2D> texture = presenter.frameTexture;
    presenter.frameTexture.reset();
    EXPECT_EQ(draw(), DrawResult::Skipped);
    presenter.frameTexture = texture;

    const ComPtr<IDXGISwapChain1> chain = presenter.swapChain;
    presenter.swapChain.reset();
    EXPECT_EQ(draw(), DrawResult::Skipped);
    presenter.swapChain = chain;
    EXPECT_EQ(draw(), DrawResult::Presented);
    EXPECT_EQ(engine->transfers().size(), 2u);
}

TEST_F(PresenterWindowTest, APictureIsShownAtTheNextVerticalBlank) {
    prepareFrame();
    const ScriptedDevice device;
    ASSERT_EQ(draw(), DrawResult::Presented);
    ASSERT_EQ(device.presents().size(), 1u);
    EXPECT_EQ(device.presents()[0].interval, 1u);
    EXPECT_EQ(device.presents()[0].flags, 0u);
}

TEST_F(PresenterWindowTest, AnySuccessIsAPictureOnScreen) {
    prepareFrame();
    ScriptedDevice device;
    device.answerPresents({DXGI_STATUS_OCCLUDED, E_FAIL, DXGI_ERROR_WAS_STILL_DRAWING});
    EXPECT_EQ(draw(), DrawResult::Presented) << "it is covered";
    EXPECT_EQ(draw(), DrawResult::Skipped);
    EXPECT_EQ(draw(), DrawResult::Skipped);
    EXPECT_EQ(draw(), DrawResult::Presented);
}

TEST_F(PresenterWindowTest, WhereNothingCanBeDrawnTheDeviceSaysWhetherItIsLost) {
    prepareFrame();
    ScriptedDevice device;
    EXPECT_FALSE(deviceIsLost(presenter));
    device.lose();
    EXPECT_TRUE(deviceIsLost(presenter));
    device.answerPresents({DXGI_ERROR_DEVICE_REMOVED});
    EXPECT_EQ(draw(), DrawResult::DeviceLost);
    engine->failTransfers(1);
    EXPECT_EQ(draw(), DrawResult::DeviceLost);
    EXPECT_FALSE(deviceIsLost(Presenter{})) << "there is none";
}

// What is let go is destroyed only when the device gets to it.
TEST_F(PresenterWindowTest, WhoeverKeepsTheContextKeepsNothingAlive) {
    prepareFrame();
    ASSERT_EQ(draw(), DrawResult::Presented);
    const ComPtr<ID3D11DeviceContext> kept = presenter.context;
    const ComPtr<IDXGISwapChain1> chain = presenter.swapChain;
    ComPtr<ID3D11RenderTargetView> target;
    kept->OMGetRenderTargets(1, target.put(), nullptr);
    ASSERT_TRUE(target);
    target.reset();

    const WatchedFlushes flushes(kept.get(), chain.get());
    releasePresenter(presenter);
    kept->OMGetRenderTargets(1, target.put(), nullptr);
    EXPECT_FALSE(target);
    EXPECT_EQ(flushes.count(), 1);
    EXPECT_EQ(flushes.referencesAtLast(), 1u) << "the chain wasn't let go before";
}

TEST(PresenterSetUp, FailsWithoutAWindow) {
    Presenter presenter;
    EXPECT_FALSE(setUpPresenter(presenter, nullptr));
    EXPECT_FALSE(presenter.presenterReady);
    releasePresenter(presenter);
}

} // namespace
} // namespace velkantrix
