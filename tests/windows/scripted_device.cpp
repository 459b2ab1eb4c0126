#include "tests/windows/scripted_device.h"

#include <algorithm>

#include <gtest/gtest.h>

#include "playback/presenter.h"

namespace velkantrix {
namespace {

// Among the functions of their interfaces, with those that these inherit.
constexpr std::size_t GET_DEVICE_REMOVED_REASON = 39; // of ID3D11Device
constexpr std::size_t FLUSH = 111;                    // of ID3D11DeviceContext
constexpr std::size_t PRESENT = 8;                    // of IDXGISwapChain

std::atomic<ScriptedDevice*> scriptedDevice{nullptr};
std::atomic<WatchedFlushes*> watchedFlushes{nullptr};

using PixelBytes = std::array<std::uint8_t, 4>;

// Of the back buffer that is about to be shown; black when it can't be read.
PixelBytes middleOf(IDXGISwapChain* chain) {
    PixelBytes pixel = {};
    ComPtr<ID3D11Device> device;
    ComPtr<ID3D11Texture2D> buffer;
    if (FAILED(chain->GetDevice(__uuidof(ID3D11Device), device.putVoid())) ||
        FAILED(chain->GetBuffer(0, __uuidof(ID3D11Texture2D), buffer.putVoid())))
        return pixel;
    D3D11_TEXTURE2D_DESC wanted = {};
    buffer->GetDesc(&wanted);
    const UINT x = wanted.Width / 2;
    const UINT y = wanted.Height / 2;
    wanted.Width = wanted.Height = 1;
    wanted.BindFlags = wanted.MiscFlags = 0;
    wanted.Usage = D3D11_USAGE_STAGING;
    wanted.CPUAccessFlags = D3D11_CPU_ACCESS_READ;
    ComPtr<ID3D11Texture2D> copy;
    if (FAILED(device->CreateTexture2D(&wanted, nullptr, copy.put()))) return pixel;
    ComPtr<ID3D11DeviceContext> context;
    device->GetImmediateContext(context.put());
    const D3D11_BOX place = {x, y, 0, x + 1, y + 1, 1};
    context->CopySubresourceRegion(copy.get(), 0, 0, 0, 0, buffer.get(), 0, &place);
    D3D11_MAPPED_SUBRESOURCE mapped = {};
    if (FAILED(context->Map(copy.get(), 0, D3D11_MAP_READ, 0, &mapped))) return pixel;
    std::copy_n(static_cast<const std::uint8_t*>(mapped.pData), pixel.size(), pixel.begin());
    context->Unmap(copy.get(), 0);
    return pixel;
}

} // namespace

// A presenter of its own shows where the calls lie.
ScriptedDevice::ScriptedDevice() {
    const HWND window = CreateWindowExW(0, L"STATIC", L"", WS_POPUP, 0, 0, 16, 16, nullptr, nullptr,
                                        GetModuleHandleW(nullptr), nullptr);
    Presenter sample;
    const bool isSetUp = setUpPresenter(sample, window);
    EXPECT_TRUE(isSetUp);
    scriptedDevice = this;
    if (isSetUp) {
        reasonCall_.emplace(sample.device.get(), GET_DEVICE_REMOVED_REASON, tellReason);
        presentCall_.emplace(sample.swapChain.get(), PRESENT, takePresent);
    }
    releasePresenter(sample);
    DestroyWindow(window);
}

ScriptedDevice::~ScriptedDevice() {
    presentCall_.reset();
    reasonCall_.reset();
    scriptedDevice = nullptr;
}

void ScriptedDevice::answerPresents(std::initializer_list<HRESULT> answers) {
    const Lock held(lock_);
    answers_.assign(answers);
}

std::vector<PresentCall> ScriptedDevice::presents() const {
    const Lock held(lock_);
    return presents_;
}

HRESULT STDMETHODCALLTYPE ScriptedDevice::tellReason(ID3D11Device* /*device*/) {
    return scriptedDevice.load()->reason_;
}

HRESULT STDMETHODCALLTYPE ScriptedDevice::takePresent(IDXGISwapChain* chain, UINT interval,
                                                      UINT flags) {
    return scriptedDevice.load()->present(chain, interval, flags);
}

HRESULT ScriptedDevice::present(IDXGISwapChain* chain, UINT interval, UINT flags) {
    const PresentCall call{interval, flags, middleOf(chain)};
    {
        const Lock held(lock_);
        presents_.push_back(call);
        if (!answers_.empty()) {
            const HRESULT answer = answers_.front();
            answers_.pop_front();
            return answer;
        }
    }
    return presentCall_->original<decltype(takePresent)>()(chain, interval, flags);
}

WatchedFlushes::WatchedFlushes(ID3D11DeviceContext* context, IUnknown* chain)
    : context_(context), chain_(chain), call_(context, FLUSH, takeFlush) {
    watchedFlushes = this;
}

WatchedFlushes::~WatchedFlushes() {
    watchedFlushes = nullptr;
}

void STDMETHODCALLTYPE WatchedFlushes::takeFlush(ID3D11DeviceContext* context) {
    WatchedFlushes& watch = *watchedFlushes;
    watch.call_.original<decltype(takeFlush)>()(context);
    if (context != watch.context_) return;
    ++watch.count_;
    watch.chain_->AddRef();
    watch.references_ = watch.chain_->Release();
}

} // namespace velkantrix
