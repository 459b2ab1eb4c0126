// scripted_device.h: devices and swap chains that say what no test can bring about: that a device
// is lost, that a window is covered, that a picture couldn't be shown. One of each kind at a time.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <dxgi1_2.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <deque>
#include <initializer_list>
#include <optional>
#include <vector>

#include "base/mutex.h"
#include "tests/windows/replaced_call.h"

namespace velkantrix {

// One call of Present.
struct PresentCall {
    UINT interval = 0;
    UINT flags = 0;
    std::array<std::uint8_t, 4> middle = {}; // BGRA, of the picture
};

// While it lives, all devices and swap chains of the process are scripted. It outlives whatever
// draws on another thread.
class ScriptedDevice {
public:
    ScriptedDevice();
    ~ScriptedDevice();
    ScriptedDevice(const ScriptedDevice&) = delete;
    ScriptedDevice& operator=(const ScriptedDevice&) = delete;

    void lose() { reason_ = DXGI_ERROR_DEVICE_REMOVED; }
    void bringBack() { reason_ = S_OK; }

    // What the next calls of Present say, which then show nothing; all after them show the picture.
    void answerPresents(std::initializer_list<HRESULT> answers) EXCLUDES(lock_);
    [[nodiscard]] std::vector<PresentCall> presents() const EXCLUDES(lock_);

private:
    static HRESULT STDMETHODCALLTYPE tellReason(ID3D11Device* device);
    static HRESULT STDMETHODCALLTYPE takePresent(IDXGISwapChain* chain, UINT interval, UINT flags);
    HRESULT present(IDXGISwapChain* chain, UINT interval, UINT flags) EXCLUDES(lock_);

    std::atomic<HRESULT> reason_{S_OK};
    mutable Mutex lock_;
    std::deque<HRESULT> answers_ GUARDED_BY(lock_);
    std::vector<PresentCall> presents_ GUARDED_BY(lock_);
    std::optional<ReplacedCall> reasonCall_;
    std::optional<ReplacedCall> presentCall_;
};

// Counts how often the context is flushed, and how many references to the chain there are then.
class WatchedFlushes {
public:
    WatchedFlushes(ID3D11DeviceContext* context, IUnknown* chain);
    ~WatchedFlushes();
    WatchedFlushes(const WatchedFlushes&) = delete;
    WatchedFlushes& operator=(const WatchedFlushes&) = delete;

    [[nodiscard]] int count() const { return count_; }
    [[nodiscard]] ULONG referencesAtLast() const { return references_; }

private:
    static void STDMETHODCALLTYPE takeFlush(ID3D11DeviceContext* context);

    ID3D11DeviceContext* context_;
    IUnknown* chain_;
    int count_ = 0;
    ULONG references_ = 0;
    ReplacedCall call_;
};

} // namespace velkantrix
