// What the presenter draws, read back and compared with the formulas, computed here in double.
#include "playback/presenter.h"

#include <d3d11_3.h>

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <vector>

#include <gtest/gtest.h>

#include "playback/open_rules.h"
#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

struct Colour {
    double red = 0;
    double green = 0;
    double blue = 0;
};

double within01(double value) {
    return std::clamp(value, 0.0, 1.0);
}

Colour expectedColour(Colour c, double exposure, double dim) {
    if (std::abs(exposure) > 0.001) {
        const double luma = 0.2126 * c.red + 0.7152 * c.green + 0.0722 * c.blue;
        const double moved = std::pow(within01(luma), 1 / std::pow(3, exposure));
        const double factor = luma > 1e-4 ? moved / luma : 1;
        c = {c.red * factor, c.green * factor, c.blue * factor};
    }
    return {within01(c.red * dim), within01(c.green * dim), within01(c.blue * dim)};
}

Colour ofPlanes(double luma, double blueness, double redness) {
    const double y = (luma / 255 - 0.0625) * 1.164383;
    const double u = blueness / 255 - 0.5;
    const double v = redness / 255 - 0.5;
    return {y + 1.792741 * v, y - 0.213249 * u - 0.532909 * v, y + 2.112402 * u};
}

class PresenterTest : public testing::Test {
protected:
    void SetUp() override {
        window_ = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 320, 200, nullptr, nullptr,
                                  GetModuleHandleW(nullptr), nullptr);
        ASSERT_TRUE(setUpPresenter(presenter, window_));
    }
    void TearDown() override {
        releasePresenter(presenter);
        DestroyWindow(window_);
    }

    ComPtr<ID3D11Texture2D> texture(UINT width, UINT height, DXGI_FORMAT format, UINT bind,
                                    D3D11_USAGE usage, const void* data, UINT pitch) {
        D3D11_TEXTURE2D_DESC wanted = {};
        wanted.Width = width;
        wanted.Height = height;
        wanted.MipLevels = wanted.ArraySize = wanted.SampleDesc.Count = 1;
        wanted.Format = format;
        wanted.Usage = usage;
        wanted.BindFlags = bind;
        if (usage == D3D11_USAGE_STAGING) wanted.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
        const D3D11_SUBRESOURCE_DATA initial = {data, pitch, 0};
        ComPtr<ID3D11Texture2D> made;
        EXPECT_EQ(presenter.device->CreateTexture2D(&wanted, data ? &initial : nullptr, made.put()),
                  S_OK);
        return made;
    }

    // Draws a preview into a target of that size and reads its pixels: BGRA, row by row.
    std::vector<std::uint8_t> drawn(UINT width, UINT height, const PictureLook& look) {
        const auto target = texture(width, height, DXGI_FORMAT_B8G8R8A8_UNORM,
                                    D3D11_BIND_RENDER_TARGET, D3D11_USAGE_DEFAULT, nullptr, 0);
        ComPtr<ID3D11RenderTargetView> view;
        EXPECT_EQ(presenter.device->CreateRenderTargetView(target.get(), nullptr, view.put()),
                  S_OK);
        EXPECT_TRUE(drawInto(presenter, view.get(), static_cast<std::int32_t>(width),
                             static_cast<std::int32_t>(height), nullptr, look));
        const auto copy =
            texture(width, height, DXGI_FORMAT_B8G8R8A8_UNORM, 0, D3D11_USAGE_STAGING, nullptr, 0);
        presenter.context->CopyResource(copy.get(), target.get());
        D3D11_MAPPED_SUBRESOURCE mapped = {};
        EXPECT_EQ(presenter.context->Map(copy.get(), 0, D3D11_MAP_READ, 0, &mapped), S_OK);
        std::vector<std::uint8_t> pixels;
        for (UINT y = 0; y < height; ++y) {
            const auto* const row =
                static_cast<const std::uint8_t*>(mapped.pData) + y * mapped.RowPitch;
            pixels.insert(pixels.end(), row, row + width * 4);
        }
        presenter.context->Unmap(copy.get(), 0);
        return pixels;
    }

    // The planes of an NV12 preview of one colour each.
    void makePlanes(std::uint8_t luma, std::uint8_t blueness, std::uint8_t redness) {
        std::vector<std::uint8_t> bytes(16 * 16, luma);
        for (int i = 0; i < 8 * 8; ++i) {
            bytes.push_back(blueness);
            bytes.push_back(redness);
        }
        presenter.previewTexture = texture(16, 16, DXGI_FORMAT_NV12, D3D11_BIND_SHADER_RESOURCE,
                                           D3D11_USAGE_DEFAULT, bytes.data(), 16);
        ComPtr<ID3D11Device3> device;
        ASSERT_EQ(presenter.device->QueryInterface(__uuidof(ID3D11Device3), device.putVoid()),
                  S_OK);
        presenter.lumaView = planeView(device.get(), DXGI_FORMAT_R8_UNORM, 0);
        presenter.chromaView = planeView(device.get(), DXGI_FORMAT_R8G8_UNORM, 1);
    }

    ComPtr<ID3D11ShaderResourceView> planeView(ID3D11Device3* device, DXGI_FORMAT format,
                                               UINT plane) {
        D3D11_SHADER_RESOURCE_VIEW_DESC1 wanted = {};
        wanted.Format = format;
        wanted.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D;
        wanted.Texture2D.MipLevels = 1;
        wanted.Texture2D.PlaneSlice = plane;
        ComPtr<ID3D11ShaderResourceView1> view;
        EXPECT_EQ(
            device->CreateShaderResourceView1(presenter.previewTexture.get(), &wanted, view.put()),
            S_OK);
        return ComPtr<ID3D11ShaderResourceView>::share(view.get());
    }

    static void expectColour(const std::uint8_t* bgra, Colour expected, const std::string& what) {
        EXPECT_NEAR(bgra[2], expected.red * 255, 2) << what << ": red";
        EXPECT_NEAR(bgra[1], expected.green * 255, 2) << what << ": green";
        EXPECT_NEAR(bgra[0], expected.blue * 255, 2) << what << ": blue";
        EXPECT_EQ(bgra[3], 255) << what;
    }

    Presenter presenter;
    HWND window_ = nullptr;
};

// A picture of 64 x 64 colours, drawn pixel by pixel.
TEST_F(PresenterTest, ExposureAndDimChangeEveryColourAsTheFormulaSays) {
    constexpr std::int32_t SIDE = 64;
    setVideoSize(presenter, SIDE, SIDE);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    RandomChoices choices(4);
    std::vector<std::uint8_t> pixels;
    for (int i = 0; i < SIDE * SIDE; ++i) {
        for (int k = 0; k < 3; ++k) pixels.push_back(static_cast<std::uint8_t>(choices.below(256)));
        pixels.push_back(255);
    }
    for (const double exposure : {0.0, 0.0005, 0.002, 0.3, 1.0, -0.5, -1.0}) {
        for (const double dim : {1.0, 0.5, 0.0}) {
            const PictureLook look{
                .isPreview = true, .exposure = exposure, .dim = dim, .pixels = &pixels};
            const std::vector<std::uint8_t> result = drawn(SIDE, SIDE, look);
            for (std::size_t i = 0; i < pixels.size() && !HasFailure(); i += 4)
                expectColour(&result[i],
                             expectedColour(
                                 {pixels[i + 2] / 255.0, pixels[i + 1] / 255.0, pixels[i] / 255.0},
                                 exposure, dim),
                             "exposure " + std::to_string(exposure) + ", dim " +
                                 std::to_string(dim));
        }
    }
}

TEST_F(PresenterTest, BlackStaysBlackWhateverTheExposure) {
    setVideoSize(presenter, 4, 4);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    const std::vector<std::uint8_t> black(4 * 4 * 4, 0);
    for (const double exposure : {1.0, -1.0}) {
        const auto result =
            drawn(4, 4, {.isPreview = true, .exposure = exposure, .pixels = &black});
        for (std::size_t i = 0; i < result.size(); i += 4) expectColour(&result[i], {}, "black");
    }
}

TEST_F(PresenterTest, PlanesAreConvertedAsRec709) {
    setVideoSize(presenter, 16, 16);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    for (const std::array<std::uint8_t, 3> yuv :
         std::initializer_list<std::array<std::uint8_t, 3>>{{16, 128, 128},
                                                            {235, 128, 128},
                                                            {126, 128, 128},
                                                            {63, 102, 240},
                                                            {173, 42, 26},
                                                            {32, 240, 118},
                                                            {81, 90, 200},
                                                            {255, 255, 255},
                                                            {0, 0, 0}}) {
        makePlanes(yuv[0], yuv[1], yuv[2]);
        for (const double exposure : {0.0, 0.4}) {
            const auto result =
                drawn(16, 16, {.isPreview = true, .isNv12 = true, .exposure = exposure});
            expectColour(&result[(8 * 16 + 8) * 4],
                         expectedColour(ofPlanes(yuv[0], yuv[1], yuv[2]), exposure, 1),
                         "luma " + std::to_string(yuv[0]) + ", exposure " +
                             std::to_string(exposure));
        }
    }
}

TEST_F(PresenterTest, WithoutPlanesThePreviewsOwnViewIsDrawn) {
    setVideoSize(presenter, 4, 4);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    const std::vector<std::uint8_t> blue = [] {
        std::vector<std::uint8_t> bytes;
        for (int i = 0; i < 16; ++i) bytes.insert(bytes.end(), {255, 0, 0, 255});
        return bytes;
    }();
    const auto own = texture(4, 4, DXGI_FORMAT_B8G8R8A8_UNORM, D3D11_BIND_SHADER_RESOURCE,
                             D3D11_USAGE_DEFAULT, blue.data(), 16);
    ASSERT_EQ(
        presenter.device->CreateShaderResourceView(own.get(), nullptr, presenter.previewView.put()),
        S_OK);
    const auto result = drawn(4, 4, {.isPreview = true, .isNv12 = true});
    expectColour(result.data(), {0, 0, 1}, "the preview's own view");
}

TEST_F(PresenterTest, ThePictureHasBlackBarsWhereTheShapesDiffer) {
    setVideoSize(presenter, 48, 20);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    std::vector<std::uint8_t> white(48 * 20 * 4, 255);
    const auto result = drawn(100, 100, {.isPreview = true, .pixels = &white});
    const PictureRect place = fitRect(100, 100, 48, 20);
    ASSERT_EQ(place, (PictureRect{0, 29, 100, 41}));
    for (int y = 0; y < 100; ++y) {
        const bool inside = y >= place.top && y < place.top + place.height;
        const double light = inside ? 1 : 0;
        expectColour(&result[static_cast<std::size_t>((y * 100 + 50) * 4)], {light, light, light},
                     "row " + std::to_string(y));
    }
}

TEST_F(PresenterTest, APreviewWithTooFewPixelsIsNotDrawn) {
    setVideoSize(presenter, 8, 8);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    const std::vector<std::uint8_t> few(8 * 8 * 4 - 1, 255);
    EXPECT_FALSE(drawInto(presenter, nullptr, 8, 8, nullptr, {.isPreview = true, .pixels = &few}));
    EXPECT_FALSE(drawInto(presenter, nullptr, 8, 8, nullptr, {.isPreview = true}));
}

TEST_F(PresenterTest, NothingIsDrawnWithoutAFrameTextureOrAnEngine) {
    EXPECT_FALSE(ensureFrameTexture(presenter)) << "the video's size isn't known";
    EXPECT_EQ(drawPicture(presenter, nullptr, {}), DrawResult::Skipped);
}

TEST_F(PresenterTest, ANewSizeOfTheVideoDropsWhatWasMadeForTheOld) {
    setVideoSize(presenter, 16, 16);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    makePlanes(16, 128, 128);
    const ID3D11Texture2D* const before = presenter.frameTexture.get();
    setVideoSize(presenter, 16, 16);
    EXPECT_EQ(presenter.frameTexture.get(), before);
    setVideoSize(presenter, 32, 16);
    EXPECT_FALSE(presenter.frameTexture);
    EXPECT_FALSE(presenter.previewTexture);
    EXPECT_FALSE(presenter.lumaView);
    EXPECT_FALSE(presenter.chromaView);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    D3D11_TEXTURE2D_DESC made = {};
    presenter.frameTexture->GetDesc(&made);
    EXPECT_EQ(made.Width, 32u);
    EXPECT_EQ(made.Height, 16u);
}

TEST_F(PresenterTest, TheDeviceIsProtectedAndGivenToTheManager) {
    DXGI_SWAP_CHAIN_DESC1 chain = {};
    ASSERT_EQ(presenter.swapChain->GetDesc1(&chain), S_OK);
    EXPECT_EQ(chain.Width, 320u);
    EXPECT_EQ(chain.Height, 200u);
    EXPECT_EQ(chain.BufferCount, 2u);
    EXPECT_EQ(chain.SwapEffect, DXGI_SWAP_EFFECT_FLIP_DISCARD);
    EXPECT_EQ(chain.Format, DXGI_FORMAT_B8G8R8A8_UNORM);
    HANDLE device = nullptr;
    ASSERT_EQ(presenter.deviceManager->OpenDeviceHandle(&device), S_OK);
    EXPECT_EQ(presenter.deviceManager->CloseDeviceHandle(device), S_OK);
}

TEST(PresenterSetUp, FailsWithoutAWindow) {
    Presenter presenter;
    EXPECT_FALSE(setUpPresenter(presenter, nullptr));
    EXPECT_FALSE(presenter.presenterReady);
    releasePresenter(presenter);
}

} // namespace
} // namespace velkantrix
