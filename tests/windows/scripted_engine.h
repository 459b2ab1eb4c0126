// scripted_engine.h: a Media Engine that does what a test wrote down and keeps what it is asked,
// and its registration in the place of the system's.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <mfmediaengine.h>

#include <atomic>
#include <cstdint>
#include <deque>
#include <functional>
#include <optional>
#include <string>
#include <utility>
#include <vector>

#include "base/com_ptr.h"
#include "base/mutex.h"
#include "base/ticks.h"
#include "base/unique_handle.h"
#include "platform/com.h"

namespace velkantrix {

// What an engine answers. Changed only while no event of its is under way.
struct EngineScript {
    HRESULT source = S_OK; // what SetSource says
    bool hasVideo = true;
    HRESULT size = S_OK; // what GetNativeVideoSize says
    DWORD width = 320;
    DWORD height = 180;
    double duration = 0;                 // seconds
    double time = 0;                     // likewise; what GetCurrentTime says
    std::uint8_t grey = 0;               // of all frames
    std::function<void()> whileTransfer; // runs on the presenter thread while it takes a frame over
    std::function<void()> whileShutdown; // runs on the thread that shuts it down
    std::vector<DWORD> eventsOfShutdown; // come from another thread while Shutdown waits for them
};

// One call of TransferVideoFrame.
struct EngineTransfer {
    D3D11_TEXTURE2D_DESC surface = {}; // all zero when it is no texture
    bool hasSource = false;
    bool hasDestination = false;
    RECT destination = {};
    bool hasBorder = false;
    MFARGB border = {};
};

struct ThreadTraits {
    using Value = HANDLE;
    static Value none() { return nullptr; }
    static void close(Value thread) { CloseHandle(thread); }
};

// The apartment of COM that a thread is in.
struct ThreadApartment {
    HRESULT result = E_FAIL; // of asking for it
    APTTYPE type = APTTYPE_CURRENT;
    APTTYPEQUALIFIER qualifier = APTTYPEQUALIFIER_NONE;
};

// The interface's calls come from the UI thread and the presenter thread, the others from the test.
class ScriptedEngine final : public ComObject<IMFMediaEngine> {
public:
    ScriptedEngine(EngineScript wanted, ComPtr<IMFMediaEngineNotify> notify)
        : script(std::move(wanted)), notify_(std::move(notify)) {}

    // The event on a thread of its own. False when its handling takes for ever.
    [[nodiscard]] bool fire(DWORD event) const;

    // What OnVideoStreamTick says next, once; after all that it has no new frame.
    void offer(HRESULT result, Ticks time) EXCLUDES(lock_);
    void failTransfers(int count) EXCLUDES(lock_); // the next ones

    // "SetVolume 0.5", but for what the presenter thread calls all the time.
    [[nodiscard]] std::vector<std::string> calls() const EXCLUDES(lock_);
    void forgetCalls() EXCLUDES(lock_);
    [[nodiscard]] std::wstring source() const EXCLUDES(lock_);
    [[nodiscard]] std::vector<EngineTransfer> transfers() const EXCLUDES(lock_);

    // Once it has been asked so often, all before the last of these is over and done with.
    [[nodiscard]] std::uint32_t ticks() const { return ticks_; }
    [[nodiscard]] bool allOffered() const EXCLUDES(lock_); // nothing is left to be offered

    // Of the thread that asks for frames, which is the presenter's.
    [[nodiscard]] bool presenterThreadEnds() const EXCLUDES(lock_); // false: it goes on for ever
    [[nodiscard]] ThreadApartment presenterApartment() const EXCLUDES(lock_);

    EngineScript script;
    bool shutdownWaitedForEver = false;

    STDMETHODIMP SetSource(BSTR url) override EXCLUDES(lock_);
    STDMETHODIMP SetAutoPlay(BOOL on) override { return note("SetAutoPlay", on); }
    STDMETHODIMP SetVolume(double volume) override { return note("SetVolume", volume); }
    STDMETHODIMP SetMuted(BOOL on) override { return note("SetMuted", on); }
    STDMETHODIMP SetCurrentTime(double time) override { return note("SetCurrentTime", time); }
    STDMETHODIMP Play() override { return note("Play"); }
    STDMETHODIMP Pause() override { return note("Pause"); }
    STDMETHODIMP Shutdown() override;
    STDMETHODIMP_(BOOL) HasVideo() override { return script.hasVideo; }
    STDMETHODIMP GetNativeVideoSize(DWORD* width, DWORD* height) override;
    STDMETHODIMP OnVideoStreamTick(LONGLONG* time) override EXCLUDES(lock_);
    STDMETHODIMP TransferVideoFrame(IUnknown* surface, const MFVideoNormalizedRect* source,
                                    const RECT* destination, const MFARGB* border) override
        EXCLUDES(lock_);
    STDMETHODIMP_(double) GetCurrentTime() override { return script.time; }

    // What no controller needs.
    STDMETHODIMP GetError(IMFMediaError**) override { return E_NOTIMPL; }
    STDMETHODIMP SetErrorCode(MF_MEDIA_ENGINE_ERR) override { return E_NOTIMPL; }
    STDMETHODIMP SetSourceElements(IMFMediaEngineSrcElements*) override { return E_NOTIMPL; }
    STDMETHODIMP GetCurrentSource(BSTR*) override { return E_NOTIMPL; }
    STDMETHODIMP_(USHORT) GetNetworkState() override { return 0; }
    STDMETHODIMP_(MF_MEDIA_ENGINE_PRELOAD) GetPreload() override {
        return MF_MEDIA_ENGINE_PRELOAD_MISSING;
    }
    STDMETHODIMP SetPreload(MF_MEDIA_ENGINE_PRELOAD) override { return E_NOTIMPL; }
    STDMETHODIMP GetBuffered(IMFMediaTimeRange**) override { return E_NOTIMPL; }
    STDMETHODIMP Load() override { return E_NOTIMPL; }
    STDMETHODIMP CanPlayType(BSTR, MF_MEDIA_ENGINE_CANPLAY*) override { return E_NOTIMPL; }
    STDMETHODIMP_(USHORT) GetReadyState() override { return 0; }
    STDMETHODIMP_(BOOL) IsSeeking() override { return FALSE; }
    STDMETHODIMP_(double) GetStartTime() override { return 0; }
    STDMETHODIMP_(double) GetDuration() override { return script.duration; }
    STDMETHODIMP_(BOOL) IsPaused() override { return FALSE; }
    STDMETHODIMP_(double) GetDefaultPlaybackRate() override { return 1; }
    STDMETHODIMP SetDefaultPlaybackRate(double) override { return E_NOTIMPL; }
    STDMETHODIMP_(double) GetPlaybackRate() override { return 1; }
    STDMETHODIMP SetPlaybackRate(double) override { return E_NOTIMPL; }
    STDMETHODIMP GetPlayed(IMFMediaTimeRange**) override { return E_NOTIMPL; }
    STDMETHODIMP GetSeekable(IMFMediaTimeRange**) override { return E_NOTIMPL; }
    STDMETHODIMP_(BOOL) IsEnded() override { return FALSE; }
    STDMETHODIMP_(BOOL) GetAutoPlay() override { return FALSE; }
    STDMETHODIMP_(BOOL) GetLoop() override { return FALSE; }
    STDMETHODIMP SetLoop(BOOL) override { return E_NOTIMPL; }
    STDMETHODIMP_(BOOL) GetMuted() override { return FALSE; }
    STDMETHODIMP_(double) GetVolume() override { return 1; }
    STDMETHODIMP_(BOOL) HasAudio() override { return FALSE; }
    STDMETHODIMP GetVideoAspectRatio(DWORD*, DWORD*) override { return E_NOTIMPL; }

private:
    ~ScriptedEngine() override = default;
    HRESULT note(const std::string& call) EXCLUDES(lock_);
    HRESULT note(const std::string& call, double value) EXCLUDES(lock_);
    void meetPresenterThread() REQUIRES(lock_);

    ComPtr<IMFMediaEngineNotify> notify_; // until it is shut down
    std::atomic<std::uint32_t> ticks_{0};
    mutable Mutex lock_;
    std::deque<std::pair<HRESULT, Ticks>> offered_ GUARDED_BY(lock_);
    int failingTransfers_ GUARDED_BY(lock_) = 0;
    std::vector<std::string> calls_ GUARDED_BY(lock_);
    std::wstring source_ GUARDED_BY(lock_);
    std::vector<EngineTransfer> transfers_ GUARDED_BY(lock_);
    std::optional<ThreadApartment> apartment_ GUARDED_BY(lock_);
    UniqueHandle<ThreadTraits> presenterThread_ GUARDED_BY(lock_);
};

// What CreateInstance of the class factory does, and what it was given.
struct EngineMaking {
    HRESULT factory = S_OK;  // of making the class factory itself
    HRESULT creation = S_OK; // of making the engine
    bool givesEngine = true;
    EngineScript script; // of the engines made next

    int asked = 0;
    DWORD flags = 0;
    UINT32 outputFormat = 0;
    bool hasManager = false; // of the device
    bool hasCallback = false;
    ComPtr<ScriptedEngine> engine; // the last one
};

// While it lives, the Media Engines that its thread creates are scripted. The thread is in a
// single-threaded apartment.
class ScriptedEngines {
public:
    ScriptedEngines();
    ~ScriptedEngines();
    ScriptedEngines(const ScriptedEngines&) = delete;
    ScriptedEngines& operator=(const ScriptedEngines&) = delete;

    [[nodiscard]] HRESULT result() const { return result_; } // of the registration

    EngineMaking making;

private:
    const ComApartment apartment_{COINIT_APARTMENTTHREADED};
    DWORD registration_ = 0;
    HRESULT result_ = E_FAIL;
};

} // namespace velkantrix
