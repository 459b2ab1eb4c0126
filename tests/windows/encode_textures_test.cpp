// Pictures in graphics memory: what a re-encode copies of them, and which it passes on.
#include "tests/windows/encode_shell.h"

#include <d3d11.h>
#include <mfapi.h>
#include <mferror.h>
#include <mftransform.h>

#include <algorithm>

#include "export/encode_samples.h"
#include "platform/graphics_device.h"
#include "tests/windows/idle_transform.h"

namespace velkantrix {
namespace {

ComPtr<IMFMediaBuffer> textureOf(ID3D11Device* device, const Content& content, FrameSize size,
                                 DXGI_FORMAT format = DXGI_FORMAT_NV12, UINT bytesOfPixel = 1) {
    const D3D11_TEXTURE2D_DESC description = {.Width = size.width,
                                              .Height = size.height,
                                              .MipLevels = 1,
                                              .ArraySize = 1,
                                              .Format = format,
                                              .SampleDesc = {1, 0},
                                              .Usage = D3D11_USAGE_DEFAULT,
                                              .BindFlags = D3D11_BIND_SHADER_RESOURCE};
    const D3D11_SUBRESOURCE_DATA data = {content.data(), size.width * bytesOfPixel, 0};
    ComPtr<ID3D11Texture2D> texture;
    ComPtr<IMFMediaBuffer> buffer;
    EXPECT_EQ(device->CreateTexture2D(&description, &data, texture.put()), S_OK);
    EXPECT_EQ(
        MFCreateDXGISurfaceBuffer(__uuidof(ID3D11Texture2D), texture.get(), 0, FALSE, buffer.put()),
        S_OK);
    return buffer;
}

class EncodeTexturesTest : public EncodeShell {
protected:
    void SetUp() override { ASSERT_EQ(createGraphicsDevice(device), S_OK); }

    GraphicsDevice device;
};

TEST_F(EncodeTexturesTest, ATextureIsCopiedAsItIsSeenWhateverItsAlignment) {
    for (const FrameSize whole : {FrameSize{16, 12}, {16, 16}, {16, 32}, {32, 14}, {128, 128}}) {
        Content content(std::size_t{whole.width} * whole.height * 3 / 2);
        for (std::size_t i = 0; i < content.size(); i++) {
            content[i] = static_cast<std::uint8_t>(16 + i * 7 % 201);
        }
        ComPtr<IMFSample> sample, copy;
        ASSERT_EQ(MFCreateSample(sample.put()), S_OK);
        ASSERT_EQ(sample->AddBuffer(textureOf(device.device.get(), content, whole).get()), S_OK);
        const PictureChange change = {{16, 12}, {16, 12}, {}};
        ASSERT_EQ(copyPicture(sample.get(), change, makePicturePool({16, 12}), copy), S_OK);
        Content wanted;
        for (std::size_t y = 0; y < 18; y++) {
            const std::size_t line = y < 12 ? y : whole.height + y - 12;
            const auto first = content.begin() + static_cast<std::ptrdiff_t>(line * whole.width);
            wanted.insert(wanted.end(), first, first + 16);
        }
        EXPECT_EQ(contentOf(copy.get()), wanted) << whole.width << " x " << whole.height;
    }
}

ComPtr<IMFAttributes> attributesOf(bool knowsTextures, bool isDevice) {
    const ComPtr<IMFAttributes> attributes = noAttributes();
    EXPECT_EQ(attributes->SetUINT32(MF_SA_D3D11_AWARE, knowsTextures ? TRUE : FALSE), S_OK);
    if (!isDevice) return attributes;
    EXPECT_EQ(attributes->SetString(MFT_ENUM_HARDWARE_URL_Attribute, L"encoder"), S_OK);
    return attributes;
}

ScriptedTransformOf encoderOf(const ComPtr<IMFAttributes>& attributes) {
    return {MFT_CATEGORY_VIDEO_ENCODER, transformWith(attributes)};
}

// What a re-encode to an encoder with these transforms passes on of textures of a size.
class PassingOn : public EncodeTexturesTest {
protected:
    using List = std::vector<ScriptedTransformOf>;
    using Transforms = std::optional<List>;

    void expectPassedOn(const Transforms& transforms, FrameSize whole, bool passedOn) {
        SCOPED_TRACE(testing::Message() << whole.width << " x " << whole.height);
        Content content(std::size_t{whole.width} * whole.height * 3 / 2, 7);
        for (std::size_t y = 0; y < HEIGHT * 3 / 2; y++) {
            const std::size_t line = y < HEIGHT ? y : whole.height + y - HEIGHT;
            std::fill_n(&content[line * whole.width], WIDTH, y < HEIGHT ? LUMA : CHROMA);
        }
        const auto texture = textureOf(device.device.get(), content, whole);
        reset();
        writer->transforms = transforms;
        for (ScriptedRead& read : video()) read.content = texture;
        ASSERT_EQ(encode(), S_OK);
        ComPtr<IMFMediaBuffer> written;
        ASSERT_EQ(samplesOf(VIDEO_OUT)[9]->GetBufferByIndex(0, written.put()), S_OK);
        EXPECT_EQ(written.get() == texture.get(), passedOn);
        if (passedOn) return;
        EXPECT_EQ(contentOf(samplesOf(VIDEO_OUT)[9].get()), picture());
    }

    static constexpr FrameSize SEEN = {WIDTH, HEIGHT};
    static constexpr FrameSize CODED[] = {{WIDTH, 16}, {16, HEIGHT}, {16, 16}};
    static constexpr FrameSize LARGER[] = {{16, 32}, {32, 16}, {WIDTH, 6}, {128, 128}};
};

TEST_F(PassingOn, ToAnEncoderOfTheDeviceTexturesOfTheSeenOrTheCodedSize) {
    const Transforms ofDevice = List{encoderOf(attributesOf(true, true))};
    expectPassedOn(ofDevice, SEEN, true);
    for (const FrameSize size : CODED) expectPassedOn(ofDevice, size, true);
    for (const FrameSize size : LARGER) expectPassedOn(ofDevice, size, false);
}

TEST_F(PassingOn, ToAnyOtherThoseOfTheSeenSizeAlone) {
    const ScriptedTransformOf ofDevice = encoderOf(attributesOf(true, true));
    const ScriptedTransformOf processor = {MFT_CATEGORY_VIDEO_PROCESSOR, ofDevice.transform};
    const Transforms others[] = {
        std::nullopt,
        List{},
        List{encoderOf({})},
        List{encoderOf(noAttributes())},
        List{encoderOf(attributesOf(true, false))},
        List{encoderOf(attributesOf(false, true))},
        List{{MFT_CATEGORY_VIDEO_ENCODER, {}}},
        List{processor},
        List{processor, ofDevice},
        List{ofDevice, processor},
    };
    for (const Transforms& transforms : others) {
        SCOPED_TRACE(testing::Message() << &transforms - others);
        expectPassedOn(transforms, SEEN, true);
        for (const FrameSize size : CODED) expectPassedOn(transforms, size, false);
        expectPassedOn(transforms, LARGER[3], false);
    }
}

TEST_F(EncodeTexturesTest, ATextureThatIsTooSmallOrOfAnotherFormIsRefused) {
    ID3D11Device* const made = device.device.get();
    for (const auto& texture :
         {textureOf(made, Content(8 * 2 * 3 / 2), {8, 2}),
          textureOf(made, Content(4 * 16 * 3 / 2), {4, 16}),
          textureOf(made, Content(8 * 4 * 4), {8, 4}, DXGI_FORMAT_B8G8R8A8_UNORM, 4)}) {
        reset();
        for (ScriptedRead& read : video()) read.content = texture;
        EXPECT_EQ(encode(), MF_E_BUFFERTOOSMALL);
        EXPECT_TRUE(writtenTo(VIDEO_OUT).empty());
    }
}

} // namespace
} // namespace velkantrix
