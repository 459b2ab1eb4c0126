// presenter.h: draws pictures into a window with Direct3D 11.
//
// Every call is made under the device lock of the picture's owner, drawPicture by the presenter
// thread, the others by the UI thread and by the engine's. The device itself is protected against
// several threads: the engine and the decoders use it through the device manager.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <dxgi1_2.h>
#include <mfmediaengine.h>
#include <mfobjects.h>

#include <cstdint>
#include <vector>

#include "base/com_ptr.h"

namespace velkantrix {

struct Presenter {
    HWND window = nullptr; // whose client area is drawn; its thread may be another
    ComPtr<ID3D11Device> device;
    ComPtr<ID3D11DeviceContext> context;
    ComPtr<IMFDXGIDeviceManager> deviceManager; // hands the device to the engine and the decoders
    ComPtr<IDXGISwapChain1> swapChain;
    ComPtr<ID3D11RenderTargetView> renderTarget; // of back buffer 0; made anew after each resize
    ComPtr<ID3D11VertexShader> vertexShader;
    ComPtr<ID3D11PixelShader> pixelShader;
    ComPtr<ID3D11SamplerState> sampler;
    ComPtr<ID3D11Buffer> constants;

    // BGRA, of the video's size: what the engine's frames are copied into.
    ComPtr<ID3D11Texture2D> frameTexture;
    ComPtr<ID3D11ShaderResourceView> frameView;

    // What scrub decoders deliver: NV12 with a view of each plane.
    ComPtr<ID3D11Texture2D> previewTexture;
    ComPtr<ID3D11ShaderResourceView> lumaView;
    ComPtr<ID3D11ShaderResourceView> chromaView;
    ComPtr<ID3D11ShaderResourceView> previewView; // BGRA, where there are no planes

    std::int32_t videoWidth = 0; // pixels; 0 until known
    std::int32_t videoHeight = 0;
    std::int32_t backBufferWidth = 0; // as last set
    std::int32_t backBufferHeight = 0;
    bool presenterReady = false;
};

// How one picture is to look.
struct PictureLook {
    bool isPreview = false;
    bool isNv12 = false; // the preview lies in the planes
    double exposure = 0; // stops of base 3
    double dim = 1;
};

enum class DrawResult {
    Presented,
    Skipped,    // not this time; the next may succeed
    DeviceLost, // never again with this device
};

// Device, swap chain and shaders for the window; false when any of it can't be had.
[[nodiscard]] bool setUpPresenter(Presenter& presenter, HWND window);

// Makes the frame texture for the video's size, unless there is one. False without one.
bool ensureFrameTexture(Presenter& presenter);

// A new size of the video: what was made for the old one goes.
void setVideoSize(Presenter& presenter, std::int32_t width, std::int32_t height);

// Takes over a BGRA preview of the video's size. False when there is less than that, or no texture.
[[nodiscard]] bool uploadPreview(Presenter& presenter, const std::vector<std::uint8_t>& pixels);

// Draws the engine's present frame or a preview, and shows it at the next vertical blank.
[[nodiscard]] DrawResult drawPicture(Presenter& presenter, IMFMediaEngine* engine,
                                     const PictureLook& look);

// The part of it that draws, for a target of any size.
[[nodiscard]] bool drawInto(Presenter& presenter, ID3D11RenderTargetView* target,
                            std::int32_t width, std::int32_t height, IMFMediaEngine* engine,
                            const PictureLook& look);

// The device is gone for good: all that was made with it is to be made anew.
[[nodiscard]] bool deviceIsLost(const Presenter& presenter);

// Ends all use of the device by this record.
void releasePresenter(Presenter& presenter);

} // namespace velkantrix
