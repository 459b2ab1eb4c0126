#include "playback/presenter.h"

#include <d3dcompiler.h>
#include <mfapi.h>

#include <algorithm>
#include <cfloat>
#include <cstring>
#include <utility>

#include "base/exposure.h"
#include "platform/graphics_device.h"
#include "platform/hresult.h"
#include "platform/library.h"
#include "playback/open_rules.h"
#include "playback/shader_source.h"

namespace velkantrix {
namespace {

constexpr UINT BYTES_PER_PIXEL = 4;

// Loaded at first use and kept: only programs that play something need it.
HRESULT compileShader(const char* entry, const char* target, ComPtr<ID3DBlob>& code) {
    static const HMODULE library = loadSystemLibrary(L"d3dcompiler_47.dll");
    const auto compile = findFunction<decltype(D3DCompile)>(library, "D3DCompile");
    if (!compile) return HRESULT_FROM_WIN32(ERROR_PROC_NOT_FOUND);
    return compile(SHADER_SOURCE, std::strlen(SHADER_SOURCE), nullptr, nullptr, nullptr, entry,
                   target, 0, 0, code.put(), nullptr);
}

HRESULT createDevice(Presenter& p) {
    GraphicsDevice made;
    RETURN_IF_FAILED(createGraphicsDevice(made));
    p.device = std::move(made.device);
    p.context = std::move(made.context);
    p.deviceManager = std::move(made.manager);
    return S_OK;
}

void readClientSize(HWND window, std::int32_t& width, std::int32_t& height) {
    RECT client = {};
    GetClientRect(window, &client); // stays empty when the window is gone
    width = std::max<LONG>(client.right, 1);
    height = std::max<LONG>(client.bottom, 1);
}

HRESULT createSwapChain(Presenter& p) {
    ComPtr<IDXGIDevice> device;
    ComPtr<IDXGIAdapter> adapter;
    ComPtr<IDXGIFactory2> factory;
    RETURN_IF_FAILED(p.device->QueryInterface(__uuidof(IDXGIDevice), device.putVoid()));
    RETURN_IF_FAILED(device->GetAdapter(adapter.put()));
    RETURN_IF_FAILED(adapter->GetParent(__uuidof(IDXGIFactory2), factory.putVoid()));

    std::int32_t width = 0;
    std::int32_t height = 0;
    readClientSize(p.window, width, height);
    DXGI_SWAP_CHAIN_DESC1 wanted = {};
    wanted.Width = static_cast<UINT>(width);
    wanted.Height = static_cast<UINT>(height);
    wanted.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
    wanted.SampleDesc.Count = 1;
    wanted.BufferUsage = DXGI_USAGE_RENDER_TARGET_OUTPUT;
    wanted.BufferCount = 2;
    wanted.Scaling = DXGI_SCALING_STRETCH;
    wanted.SwapEffect = DXGI_SWAP_EFFECT_FLIP_DISCARD;
    wanted.AlphaMode = DXGI_ALPHA_MODE_IGNORE;
    RETURN_IF_FAILED(factory->CreateSwapChainForHwnd(p.device.get(), p.window, &wanted, nullptr,
                                                     nullptr, p.swapChain.put()));
    p.backBufferWidth = width;
    p.backBufferHeight = height;
    ignoreResult(factory->MakeWindowAssociation(p.window, DXGI_MWA_NO_ALT_ENTER),
                 "at worst Alt+Enter does something of its own");
    return S_OK;
}

HRESULT createShaders(Presenter& p) {
    ComPtr<ID3DBlob> code;
    RETURN_IF_FAILED(compileShader("VSMain", "vs_4_0", code));
    RETURN_IF_FAILED(p.device->CreateVertexShader(code->GetBufferPointer(), code->GetBufferSize(),
                                                  nullptr, p.vertexShader.put()));
    RETURN_IF_FAILED(compileShader("PSMain", "ps_4_0", code));
    return p.device->CreatePixelShader(code->GetBufferPointer(), code->GetBufferSize(), nullptr,
                                       p.pixelShader.put());
}

HRESULT createSamplerAndConstants(Presenter& p) {
    D3D11_SAMPLER_DESC sampler = {};
    sampler.Filter = D3D11_FILTER_MIN_MAG_MIP_LINEAR;
    sampler.AddressU = sampler.AddressV = sampler.AddressW = D3D11_TEXTURE_ADDRESS_CLAMP;
    sampler.MaxLOD = FLT_MAX;
    RETURN_IF_FAILED(p.device->CreateSamplerState(&sampler, p.sampler.put()));
    D3D11_BUFFER_DESC buffer = {};
    buffer.ByteWidth = sizeof(ShaderConstants);
    buffer.Usage = D3D11_USAGE_DEFAULT;
    buffer.BindFlags = D3D11_BIND_CONSTANT_BUFFER;
    return p.device->CreateBuffer(&buffer, nullptr, p.constants.put());
}

// The back buffers follow the window when the next picture is drawn.
bool fitBackBuffer(Presenter& p) {
    std::int32_t width = 0;
    std::int32_t height = 0;
    readClientSize(p.window, width, height);
    if (p.renderTarget && width == p.backBufferWidth && height == p.backBufferHeight) return true;
    p.context->OMSetRenderTargets(0, nullptr, nullptr); // or the buffers can't be resized
    p.renderTarget.reset();
    if (FAILED(p.swapChain->ResizeBuffers(0, static_cast<UINT>(width), static_cast<UINT>(height),
                                          DXGI_FORMAT_UNKNOWN, 0)))
        return false;
    p.backBufferWidth = width;
    p.backBufferHeight = height;
    ComPtr<ID3D11Texture2D> buffer;
    return SUCCEEDED(p.swapChain->GetBuffer(0, __uuidof(ID3D11Texture2D), buffer.putVoid())) &&
           SUCCEEDED(p.device->CreateRenderTargetView(buffer.get(), nullptr, p.renderTarget.put()));
}

// Brings the engine's picture into the texture that is drawn from; previews are in theirs already.
bool fetchPicture(Presenter& p, IMFMediaEngine* engine, const PictureLook& look) {
    if (!look.isPreview) {
        const RECT whole = {0, 0, p.videoWidth, p.videoHeight};
        const MFARGB black = {.rgbBlue = 0, .rgbGreen = 0, .rgbRed = 0, .rgbAlpha = 0xFF};
        return SUCCEEDED(engine->TransferVideoFrame(p.frameTexture.get(), nullptr, &whole, &black));
    }
    // Without any texture of its own it would be drawn from whatever was there before.
    return !look.isNv12 || (p.lumaView && p.chromaView) || p.previewView;
}

void setConstants(Presenter& p, const PictureLook& look, bool fromPlanes) {
    const ShaderConstants values{.exposure = static_cast<float>(look.exposure),
                                 .enabled = isExposed(look.exposure) ? 1.0F : 0.0F,
                                 .dim = static_cast<float>(look.dim),
                                 .nv12 = fromPlanes ? 1.0F : 0.0F};
    p.context->UpdateSubresource(p.constants.get(), 0, nullptr, &values, 0, 0);
}

} // namespace

bool deviceIsLost(const Presenter& p) {
    return p.device && FAILED(p.device->GetDeviceRemovedReason());
}

bool setUpPresenter(Presenter& p, HWND window) {
    p.window = window;
    p.presenterReady = SUCCEEDED(createDevice(p)) && SUCCEEDED(createSwapChain(p)) &&
                       SUCCEEDED(createShaders(p)) && SUCCEEDED(createSamplerAndConstants(p));
    return p.presenterReady;
}

bool ensureFrameTexture(Presenter& p) {
    const bool sizeKnown = p.videoWidth > 0 && p.videoHeight > 0;
    if (p.frameTexture && sizeKnown) return true;
    p.frameView.reset();
    p.frameTexture.reset();
    if (!sizeKnown || !p.device) return false;
    D3D11_TEXTURE2D_DESC wanted = {};
    wanted.Width = static_cast<UINT>(p.videoWidth);
    wanted.Height = static_cast<UINT>(p.videoHeight);
    wanted.MipLevels = 1;
    wanted.ArraySize = 1;
    wanted.Format = DXGI_FORMAT_B8G8R8A8_UNORM;
    wanted.SampleDesc.Count = 1;
    wanted.Usage = D3D11_USAGE_DEFAULT;
    wanted.BindFlags = D3D11_BIND_SHADER_RESOURCE | D3D11_BIND_RENDER_TARGET;
    if (FAILED(p.device->CreateTexture2D(&wanted, nullptr, p.frameTexture.put()))) return false;
    if (SUCCEEDED(
            p.device->CreateShaderResourceView(p.frameTexture.get(), nullptr, p.frameView.put())))
        return true;
    p.frameTexture.reset();
    return false;
}

void setVideoSize(Presenter& p, std::int32_t width, std::int32_t height) {
    if (width == p.videoWidth && height == p.videoHeight) return;
    p.videoWidth = width;
    p.videoHeight = height;
    p.frameView.reset();
    p.frameTexture.reset();
    p.lumaView.reset();
    p.chromaView.reset();
    p.previewView.reset();
    p.previewTexture.reset();
}

bool uploadPreview(Presenter& p, const std::vector<std::uint8_t>& pixels) {
    const auto width = static_cast<std::size_t>(p.videoWidth);
    const auto height = static_cast<std::size_t>(p.videoHeight);
    if (!p.frameTexture || pixels.size() < width * height * BYTES_PER_PIXEL) return false;
    p.context->UpdateSubresource(p.frameTexture.get(), 0, nullptr, pixels.data(),
                                 static_cast<UINT>(width * BYTES_PER_PIXEL), 0);
    return true;
}

bool drawInto(Presenter& p, ID3D11RenderTargetView* target, std::int32_t width, std::int32_t height,
              IMFMediaEngine* engine, const PictureLook& look) {
    if (!fetchPicture(p, engine, look)) return false;
    const bool marked = look.isPreview && look.isNv12;
    const bool fromPlanes = marked && p.lumaView && p.chromaView;

    ID3D11DeviceContext* const context = p.context.get();
    constexpr float BLACK[] = {0, 0, 0, 1};
    context->ClearRenderTargetView(target, BLACK);
    context->OMSetRenderTargets(1, &target, nullptr);
    const PictureRect place = fitRect(width, height, p.videoWidth, p.videoHeight);
    const D3D11_VIEWPORT viewport = {static_cast<float>(place.left),
                                     static_cast<float>(place.top),
                                     static_cast<float>(place.width),
                                     static_cast<float>(place.height),
                                     0,
                                     1};
    context->RSSetViewports(1, &viewport);
    setConstants(p, look, fromPlanes);

    ID3D11ShaderResourceView* const picture =
        marked && !fromPlanes && p.previewView ? p.previewView.get() : p.frameView.get();
    ID3D11ShaderResourceView* const views[] = {picture, p.lumaView.get(), p.chromaView.get()};
    ID3D11SamplerState* const sampler = p.sampler.get();
    ID3D11Buffer* const constants = p.constants.get();
    context->IASetInputLayout(nullptr);
    context->IASetPrimitiveTopology(D3D11_PRIMITIVE_TOPOLOGY_TRIANGLELIST);
    context->VSSetShader(p.vertexShader.get(), nullptr, 0);
    context->PSSetShader(p.pixelShader.get(), nullptr, 0);
    context->PSSetShaderResources(0, static_cast<UINT>(std::size(views)), views);
    context->PSSetSamplers(0, 1, &sampler);
    context->PSSetConstantBuffers(0, 1, &constants);
    context->Draw(3, 0);
    // The engine writes into the frame texture next: it must not be bound for reading then.
    ID3D11ShaderResourceView* const none[std::size(views)] = {};
    context->PSSetShaderResources(0, static_cast<UINT>(std::size(none)), none);
    return true;
}

DrawResult drawPicture(Presenter& p, IMFMediaEngine* engine, const PictureLook& look) {
    if (!p.swapChain || !engine || !p.frameTexture) return DrawResult::Skipped;
    const bool drawn = fitBackBuffer(p) && drawInto(p, p.renderTarget.get(), p.backBufferWidth,
                                                    p.backBufferHeight, engine, look);
    // A window that is covered counts as shown: its picture is there when it is uncovered.
    if (drawn && SUCCEEDED(p.swapChain->Present(1, 0))) return DrawResult::Presented;
    return deviceIsLost(p) ? DrawResult::DeviceLost : DrawResult::Skipped;
}

void releasePresenter(Presenter& p) {
    // In the order in which they go at the end.
    const ComPtr<IMFDXGIDeviceManager> manager = std::move(p.deviceManager);
    const ComPtr<ID3D11Device> device = std::move(p.device);
    const ComPtr<ID3D11DeviceContext> context = std::move(p.context);
    p = {};
    if (!context) return;
    // What was let go is destroyed only now. A window can't have a new swap chain before.
    context->ClearState();
    context->Flush();
}

} // namespace velkantrix
