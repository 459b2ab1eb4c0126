// What the presenter draws, read back and compared with the formulas, computed here in double.
#include <algorithm>
#include <array>
#include <cmath>
#include <string>
#include <vector>

#include "playback/open_rules.h"
#include "playback/shader_source.h"
#include "tests/support/random_choices.h"
#include "tests/windows/presenter_fixture.h"

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

void expectColour(const std::uint8_t* bgra, Colour expected, const std::string& what) {
    EXPECT_NEAR(bgra[2], expected.red * 255, 2) << what << ": red";
    EXPECT_NEAR(bgra[1], expected.green * 255, 2) << what << ": green";
    EXPECT_NEAR(bgra[0], expected.blue * 255, 2) << what << ": blue";
    EXPECT_EQ(bgra[3], 255) << what;
}

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
    ASSERT_TRUE(uploadPreview(presenter, pixels));
    for (const double exposure : {0.0, 0.0005, 0.002, 0.3, 1.0, -0.5, -1.0}) {
        for (const double dim : {1.0, 0.5, 0.0}) {
            const std::vector<std::uint8_t> result =
                drawn(SIDE, SIDE, {.isPreview = true, .exposure = exposure, .dim = dim});
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
    ASSERT_TRUE(uploadPreview(presenter, black));
    for (const double exposure : {1.0, -1.0}) {
        const auto result = drawn(4, 4, {.isPreview = true, .exposure = exposure});
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
    ASSERT_TRUE(uploadPreview(presenter, white));
    const auto result = drawn(100, 100, {.isPreview = true});
    const PictureRect place = fitRect(100, 100, 48, 20);
    ASSERT_EQ(place, (PictureRect{0, 29, 100, 41}));
    for (int y = 0; y < 100; ++y) {
        const bool inside = y >= place.top && y < place.top + place.height;
        const double light = inside ? 1 : 0;
        expectColour(&result[static_cast<std::size_t>((y * 100 + 50) * 4)], {light, light, light},
                     "row " + std::to_string(y));
    }
}

TEST_F(PresenterTest, APreviewWithTooFewPixelsIsNotTaken) {
    const std::vector<std::uint8_t> pixels(8 * 8 * 4, 255);
    EXPECT_FALSE(uploadPreview(presenter, pixels)) << "there is no texture";
    setVideoSize(presenter, 8, 8);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    EXPECT_FALSE(uploadPreview(presenter, {pixels.begin(), pixels.end() - 1}));
    EXPECT_TRUE(uploadPreview(presenter, pixels));
}

// It would be drawn from whatever the frame texture holds.
TEST_F(PresenterTest, AnNv12PreviewWithoutATextureOfItsOwnIsNotDrawn) {
    setVideoSize(presenter, 16, 16);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    EXPECT_FALSE(drawInto(presenter, nullptr, 8, 8, nullptr, {.isPreview = true, .isNv12 = true}));
    makePlanes(16, 128, 128);
    presenter.chromaView.reset();
    EXPECT_FALSE(drawInto(presenter, nullptr, 8, 8, nullptr, {.isPreview = true, .isNv12 = true}));
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

struct ConstantsCase {
    PictureLook look;
    bool planes = false;
    ShaderConstants expected;
};

TEST_F(PresenterTest, TheShaderIsToldHowThePictureIsToLook) {
    setVideoSize(presenter, 16, 16);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    // 0.001 itself is still none.
    const ConstantsCase cases[] = {
        {{.isPreview = true, .exposure = 0.0005}, false, {.exposure = 0.0005F}},
        {{.isPreview = true, .exposure = 0.001}, false, {.exposure = 0.001F}},
        {{.isPreview = true, .exposure = -0.001}, false, {.exposure = -0.001F}},
        {{.isPreview = true, .exposure = 0.002}, false, {.exposure = 0.002F, .enabled = 1}},
        {{.isPreview = true, .exposure = -0.002}, false, {.exposure = -0.002F, .enabled = 1}},
        {{.isPreview = true, .dim = 0.375}, false, {.dim = 0.375F}},
        {{.isPreview = true}, true, {}},
        {{.isPreview = true, .isNv12 = true}, true, {.nv12 = 1}},
        {{.isPreview = true, .isNv12 = true}, false, {}},
    };
    for (const ConstantsCase& one : cases) {
        makePlanes(81, 90, 200);
        if (!one.planes) {
            presenter.previewView = presenter.frameView; // it has another picture of its own
            presenter.lumaView.reset();
            presenter.chromaView.reset();
        }
        drawn(16, 16, one.look);
        const ShaderConstants given = constants();
        EXPECT_EQ(given.exposure, one.expected.exposure);
        EXPECT_EQ(given.enabled, one.expected.enabled) << one.look.exposure;
        EXPECT_EQ(given.dim, one.expected.dim);
        EXPECT_EQ(given.nv12, one.expected.nv12) << one.look.isNv12 << one.planes;
    }
}

// Two pixels over 64: from one's middle to the other's the colour runs evenly, and beyond the
// middles it stands still.
TEST_F(PresenterTest, PixelsBlendIntoOneAnotherButNotAroundTheEdges) {
    constexpr UINT WIDTH = 64;
    setVideoSize(presenter, 2, 1);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    ASSERT_TRUE(uploadPreview(presenter, {0, 0, 0, 255, 255, 0, 0, 255})); // black, blue
    const auto result = drawn(WIDTH, WIDTH / 2, {.isPreview = true});
    for (std::size_t x = 0; x < WIDTH; ++x) {
        const double share = within01((static_cast<double>(x) + 0.5) / WIDTH * 2 - 0.5);
        expectColour(&result[x * 4], {0, 0, share}, "column " + std::to_string(x));
    }
}

// Up to a luma of 1e-4 a colour is left alone: lighting it up would divide by next to nothing. What
// is that dark and isn't black comes only from blending, so the picture is one of floats.
TEST_F(PresenterTest, AlmostBlackIsNotLitUp) {
    constexpr float DARKER = 0.0013F; // of blue, whose share in the luma is 0.0722
    constexpr float LIGHTER = 0.0015F;
    setVideoSize(presenter, 2, 1);
    ASSERT_TRUE(ensureFrameTexture(presenter));
    const std::array<float, 8> pixels = {0, 0, DARKER, 1, 0, 0, LIGHTER, 1};
    const auto own = texture(2, 1, DXGI_FORMAT_R32G32B32A32_FLOAT, D3D11_BIND_SHADER_RESOURCE,
                             D3D11_USAGE_DEFAULT, pixels.data(), static_cast<UINT>(sizeof pixels));
    ASSERT_EQ(
        presenter.device->CreateShaderResourceView(own.get(), nullptr, presenter.previewView.put()),
        S_OK);
    const auto result = drawn(2, 1, {.isPreview = true, .isNv12 = true, .exposure = 1});
    expectColour(result.data(), {}, "below the limit");
    expectColour(&result[4], {0, 0, 0.66}, "above the limit");
}

} // namespace
} // namespace velkantrix
