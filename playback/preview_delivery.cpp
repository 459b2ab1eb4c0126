#include "playback/preview_delivery.h"

#include <d3d11_3.h>

#include <optional>

namespace velkantrix {
namespace {

PictureSize videoSizeOf(const Presenter& p) {
    return {p.videoWidth, p.videoHeight};
}

PictureSize sizeOf(const D3D11_TEXTURE2D_DESC& texture) {
    return {static_cast<std::int32_t>(texture.Width), static_cast<std::int32_t>(texture.Height)};
}

HRESULT makePlaneView(ID3D11Device3* device, ID3D11Texture2D* texture, DXGI_FORMAT format,
                      UINT plane, ComPtr<ID3D11ShaderResourceView>& view) {
    D3D11_SHADER_RESOURCE_VIEW_DESC1 wanted = {};
    wanted.Format = format;
    wanted.ViewDimension = D3D11_SRV_DIMENSION_TEXTURE2D;
    wanted.Texture2D.MipLevels = 1;
    wanted.Texture2D.PlaneSlice = plane;
    ComPtr<ID3D11ShaderResourceView1> made;
    const HRESULT result = device->CreateShaderResourceView1(texture, &wanted, made.put());
    view = ComPtr<ID3D11ShaderResourceView>::adopt(made.detach());
    return result;
}

bool makePreviewTexture(Presenter& p, PictureSize size) {
    ComPtr<ID3D11Device3> device;
    if (FAILED(p.device->QueryInterface(__uuidof(ID3D11Device3), device.putVoid()))) return false;
    D3D11_TEXTURE2D_DESC wanted = {};
    wanted.Width = static_cast<UINT>(size.width);
    wanted.Height = static_cast<UINT>(size.height);
    wanted.MipLevels = 1;
    wanted.ArraySize = 1;
    wanted.Format = DXGI_FORMAT_NV12;
    wanted.SampleDesc.Count = 1;
    wanted.Usage = D3D11_USAGE_DEFAULT;
    wanted.BindFlags = D3D11_BIND_SHADER_RESOURCE;
    ComPtr<ID3D11Texture2D> texture;
    ComPtr<ID3D11ShaderResourceView> luma;
    ComPtr<ID3D11ShaderResourceView> chroma;
    if (FAILED(p.device->CreateTexture2D(&wanted, nullptr, texture.put())) ||
        FAILED(makePlaneView(device.get(), texture.get(), DXGI_FORMAT_R8_UNORM, 0, luma)) ||
        FAILED(makePlaneView(device.get(), texture.get(), DXGI_FORMAT_R8G8_UNORM, 1, chroma)))
        return false;
    p.previewTexture = std::move(texture);
    p.lumaView = std::move(luma);
    p.chromaView = std::move(chroma);
    return true;
}

bool isOfDevice(ID3D11Texture2D* texture, ID3D11Device* device) {
    ComPtr<ID3D11Device> own;
    texture->GetDevice(own.put());
    return own.get() == device;
}

} // namespace

ScrubOutcome deliverTexture(Presenter& p, ScrubRequest& scrub, const DecodedTexture& decoded,
                            PreviewFrame frame) {
    if (!p.device || !isOfDevice(decoded.texture.get(), p.device.get()))
        return ScrubOutcome::Missed;
    D3D11_TEXTURE2D_DESC texture = {};
    decoded.texture->GetDesc(&texture);
    const std::optional<PictureSize> part =
        previewPart({sizeOf(texture), decoded.shown, decoded.atCorner}, videoSizeOf(p));
    if (texture.Format != DXGI_FORMAT_NV12 || !part) return ScrubOutcome::Unusable;
    if (decoded.slice >= texture.ArraySize * texture.MipLevels) return ScrubOutcome::Missed;
    if (!p.previewTexture && !makePreviewTexture(p, *part))
        return deviceIsLost(p) ? ScrubOutcome::Missed : ScrubOutcome::Unusable;
    frame.isNv12 = true;
    if (!isFresh(scrub, frame)) return ScrubOutcome::Done;
    const D3D11_BOX box = {0, 0, 0, static_cast<UINT>(part->width), static_cast<UINT>(part->height),
                           1};
    p.context->CopySubresourceRegion(p.previewTexture.get(), 0, 0, 0, 0, decoded.texture.get(),
                                     decoded.slice, &box);
    publishPreview(scrub, frame);
    return ScrubOutcome::Done;
}

ScrubOutcome deliverPixels(const Presenter& p, ScrubRequest& scrub,
                           std::vector<std::uint8_t>& waiting, std::vector<std::uint8_t>& pixels,
                           PictureSize size, PreviewFrame frame) {
    if (size != videoSizeOf(p)) return ScrubOutcome::Missed; // it has another one by now
    frame.isNv12 = false;
    if (!isFresh(scrub, frame)) return ScrubOutcome::Done;
    waiting.swap(pixels);
    publishPreview(scrub, frame);
    return ScrubOutcome::Done;
}

} // namespace velkantrix
