// How a decoded picture becomes the preview that is drawn.
#include "playback/preview_delivery.h"

#include <cmath>

#include "tests/windows/presenter_fixture.h"

namespace velkantrix {
namespace {

class PreviewDelivery : public PresenterTest {
protected:
    void setSize(std::int32_t width, std::int32_t height) {
        setVideoSize(presenter, width, height);
    }

    // A decoded picture of one luma; the decoder's texture has another one around it.
    DecodedTexture decoded(UINT width, UINT height, PictureSize shown, std::uint8_t luma) {
        std::vector<std::uint8_t> bytes(std::size_t{width} * height * 3 / 2, 128);
        for (UINT y = 0; y < height; ++y)
            for (UINT x = 0; x < width; ++x) {
                const bool inside =
                    x < static_cast<UINT>(shown.width) && y < static_cast<UINT>(shown.height);
                bytes[y * width + x] = inside ? luma : std::uint8_t{235};
            }
        DecodedTexture made;
        made.texture = texture(width, height, DXGI_FORMAT_NV12, D3D11_BIND_SHADER_RESOURCE,
                               D3D11_USAGE_DEFAULT, bytes.data(), width);
        made.shown = shown;
        return made;
    }

    ScrubOutcome deliver(const DecodedTexture& picture, std::int64_t number, bool exact) {
        return deliverTexture(presenter, scrub, picture,
                              {.number = number, .seconds = 0.5, .exact = exact});
    }

    // The green of a drawn pixel, as luma.
    int lumaAt(const std::vector<std::uint8_t>& pixels, std::size_t width, std::size_t x,
               std::size_t y) {
        return static_cast<int>(std::lround(16 + pixels[(y * width + x) * 4 + 1] * 219 / 255.0));
    }

    int lumaShown() {
        const PictureLook look{.isPreview = true, .isNv12 = true};
        return lumaAt(drawn(64, 36, look), 64, 32, 18);
    }

    D3D11_TEXTURE2D_DESC previewDescription() {
        D3D11_TEXTURE2D_DESC description = {};
        presenter.previewTexture->GetDesc(&description);
        return description;
    }

    ScrubRequest scrub;
};

TEST_F(PreviewDelivery, TheFirstPictureMakesTheTextureAndItsViews) {
    setSize(640, 360);
    EXPECT_EQ(deliver(decoded(640, 368, {640, 360}, 100), 1, false), ScrubOutcome::Done);
    const D3D11_TEXTURE2D_DESC made = previewDescription();
    EXPECT_EQ(made.Width, 640u);
    EXPECT_EQ(made.Height, 360u);
    EXPECT_EQ(made.MipLevels, 1u);
    EXPECT_EQ(made.ArraySize, 1u);
    EXPECT_EQ(made.Format, DXGI_FORMAT_NV12);
    EXPECT_EQ(made.Usage, D3D11_USAGE_DEFAULT);
    EXPECT_EQ(made.BindFlags, static_cast<UINT>(D3D11_BIND_SHADER_RESOURCE));
    D3D11_SHADER_RESOURCE_VIEW_DESC luma = {};
    D3D11_SHADER_RESOURCE_VIEW_DESC chroma = {};
    presenter.lumaView->GetDesc(&luma);
    presenter.chromaView->GetDesc(&chroma);
    EXPECT_EQ(luma.Format, DXGI_FORMAT_R8_UNORM);
    EXPECT_EQ(chroma.Format, DXGI_FORMAT_R8G8_UNORM);
    EXPECT_NEAR(lumaShown(), 100, 1);
    EXPECT_EQ(scrub.previewRequestId, 1);
    EXPECT_EQ(scrub.previewTime, 0.5);
    EXPECT_TRUE(scrub.previewIsNv12);
    EXPECT_TRUE(scrub.previewPending);
}

TEST_F(PreviewDelivery, TheTextureIsMadeOnce) {
    setSize(64, 36);
    EXPECT_EQ(deliver(decoded(64, 48, {64, 36}, 100), 1, false), ScrubOutcome::Done);
    ID3D11Texture2D* const first = presenter.previewTexture.get();
    EXPECT_EQ(deliver(decoded(64, 48, {64, 36}, 60), 2, false), ScrubOutcome::Done);
    EXPECT_EQ(presenter.previewTexture.get(), first);
    EXPECT_NEAR(lumaShown(), 60, 1);
}

TEST_F(PreviewDelivery, AnotherSizeOfTheVideoHasATextureOfItsOwn) {
    setSize(64, 36);
    EXPECT_EQ(deliver(decoded(64, 48, {64, 36}, 100), 1, false), ScrubOutcome::Done);
    setSize(32, 18);
    EXPECT_EQ(deliver(decoded(32, 32, {32, 18}, 60), 2, false), ScrubOutcome::Done);
    EXPECT_EQ(previewDescription().Width, 32u);
    EXPECT_NEAR(lumaShown(), 60, 1);
}

TEST_F(PreviewDelivery, OddVideosAreOnePixelNarrowerOrLower) {
    setSize(63, 35);
    EXPECT_EQ(deliver(decoded(64, 48, {63, 35}, 100), 1, false), ScrubOutcome::Done);
    EXPECT_EQ(previewDescription().Width, 62u);
    EXPECT_EQ(previewDescription().Height, 34u);
    const std::vector<std::uint8_t> pixels = drawn(63, 35, {.isPreview = true, .isNv12 = true});
    // Nothing of what lies beside the picture is seen at its edges.
    EXPECT_NEAR(lumaAt(pixels, 63, 62, 34), 100, 1);
    EXPECT_NEAR(lumaAt(pixels, 63, 0, 0), 100, 1);
}

TEST_F(PreviewDelivery, AStaleFrameChangesNothing) {
    setSize(64, 36);
    EXPECT_EQ(deliver(decoded(64, 48, {64, 36}, 100), 7, true), ScrubOutcome::Done);
    scrub.previewPending = false;
    EXPECT_EQ(deliver(decoded(64, 48, {64, 36}, 60), 7, false), ScrubOutcome::Done);
    EXPECT_EQ(deliver(decoded(64, 48, {64, 36}, 60), 6, true), ScrubOutcome::Done);
    EXPECT_NEAR(lumaShown(), 100, 1);
    EXPECT_EQ(scrub.previewRequestId, 7);
    EXPECT_FALSE(scrub.previewPending);
}

TEST_F(PreviewDelivery, TheExactFrameReplacesTheKeyframe) {
    setSize(64, 36);
    EXPECT_EQ(deliver(decoded(64, 48, {64, 36}, 60), 7, false), ScrubOutcome::Done);
    EXPECT_EQ(deliver(decoded(64, 48, {64, 36}, 100), 7, true), ScrubOutcome::Done);
    EXPECT_NEAR(lumaShown(), 100, 1);
}

TEST_F(PreviewDelivery, APictureThatIsNotTheVideosCannotBeShownSo) {
    setSize(64, 36);
    EXPECT_EQ(deliver(decoded(36, 64, {36, 64}, 100), 1, false), ScrubOutcome::Unusable);
    EXPECT_EQ(deliver(decoded(48, 36, {48, 36}, 100), 1, false), ScrubOutcome::Unusable);
    DecodedTexture cropped = decoded(96, 48, {64, 36}, 100);
    cropped.atCorner = false;
    EXPECT_EQ(deliver(cropped, 1, false), ScrubOutcome::Unusable);
    EXPECT_FALSE(presenter.previewTexture);
    EXPECT_EQ(scrub.previewRequestId, 0);
}

TEST_F(PreviewDelivery, ATextureSmallerThanItsPictureIsNotRead) {
    setSize(64, 36);
    EXPECT_EQ(deliver(decoded(62, 36, {64, 36}, 100), 1, false), ScrubOutcome::Unusable);
    EXPECT_EQ(scrub.previewRequestId, 0);
}

TEST_F(PreviewDelivery, OnlyNv12IsShownSo) {
    setSize(64, 36);
    DecodedTexture other;
    other.texture = texture(64, 48, DXGI_FORMAT_B8G8R8A8_UNORM, D3D11_BIND_SHADER_RESOURCE,
                            D3D11_USAGE_DEFAULT, nullptr, 0);
    other.shown = {64, 36};
    EXPECT_EQ(deliver(other, 1, false), ScrubOutcome::Unusable);
}

TEST_F(PreviewDelivery, ASliceThatTheTextureDoesNotHaveIsNotRead) {
    setSize(64, 36);
    DecodedTexture picture = decoded(64, 48, {64, 36}, 100);
    picture.slice = 1;
    EXPECT_EQ(deliver(picture, 1, false), ScrubOutcome::Missed);
    EXPECT_EQ(scrub.previewRequestId, 0);
}

TEST_F(PreviewDelivery, ATextureOfAnotherDeviceIsNotRead) {
    setSize(64, 36);
    const DecodedTexture picture = decoded(64, 48, {64, 36}, 100);
    releasePresenter(presenter);
    EXPECT_EQ(deliver(picture, 1, false), ScrubOutcome::Missed) << "there is none";
    ASSERT_TRUE(setUpPresenter(presenter, window));
    setSize(64, 36);
    EXPECT_EQ(deliver(picture, 1, false), ScrubOutcome::Missed);
    EXPECT_EQ(scrub.previewRequestId, 0);
}

TEST_F(PreviewDelivery, PixelsAreExchangedForThoseThatWait) {
    setSize(4, 2);
    std::vector<std::uint8_t> waiting(32, 1);
    std::vector<std::uint8_t> pixels(32, 2);
    scrub.previewIsNv12 = true;
    EXPECT_EQ(deliverPixels(presenter, scrub, waiting, pixels, {4, 2},
                            {.number = 3, .seconds = 2, .exact = true}),
              ScrubOutcome::Done);
    EXPECT_EQ(waiting, std::vector<std::uint8_t>(32, 2));
    EXPECT_EQ(scrub.previewRequestId, 3);
    EXPECT_EQ(scrub.previewTime, 2);
    EXPECT_FALSE(scrub.previewIsNv12);
    EXPECT_TRUE(scrub.previewPending);
}

TEST_F(PreviewDelivery, StalePixelsOrThoseOfAnotherSizeAreNotTaken) {
    setSize(4, 2);
    std::vector<std::uint8_t> waiting(32, 1);
    std::vector<std::uint8_t> pixels(32, 2);
    scrub.previewRequestId = 3;
    EXPECT_EQ(deliverPixels(presenter, scrub, waiting, pixels, {4, 2}, {.number = 3}),
              ScrubOutcome::Done);
    EXPECT_EQ(deliverPixels(presenter, scrub, waiting, pixels, {2, 4}, {.number = 4}),
              ScrubOutcome::Missed);
    EXPECT_EQ(waiting, std::vector<std::uint8_t>(32, 1));
    EXPECT_EQ(scrub.previewRequestId, 3);
    EXPECT_FALSE(scrub.previewPending);
}

} // namespace
} // namespace velkantrix
