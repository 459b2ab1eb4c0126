// controller_open.cpp: runs on the UI thread. Until the engine has its source no other thread sees
// what is set here, and after `close` none does.
#include <mfapi.h>
#include <mferror.h>
#include <mfidl.h>
#include <mfreadwrite.h>
#include <oleauto.h>

#include <algorithm>

#include "base/unique_handle.h"
#include "platform/hresult.h"
#include "platform/mf_util.h"
#include "platform/source_choice.h"
#include "playback/controller.h"
#include "playback/engine_notify.h"
#include "playback/notices.h"
#include "playback/open_rules.h"

namespace velkantrix {
namespace {

struct BstrTraits {
    using Value = BSTR;
    static Value none() { return nullptr; }
    static void close(Value text) { SysFreeString(text); }
};
using UniqueBstr = UniqueHandle<BstrTraits>;

constexpr const char* TOLD_BY_EVENTS =
    "an engine that doesn't follow says so by events, or not at all";

// Notices of the file that was open before, still in the queue.
void removeNotices(HWND window) {
    MSG message;
    while (PeekMessageW(&message, window, WM_PLAYBACK_NOTIFY, WM_PLAYBACK_NOTIFY, PM_REMOVE)) {
        if (message.message != WM_QUIT) continue; // which every filter lets through
        PostQuitMessage(static_cast<int>(message.wParam));
        return;
    }
}

} // namespace

PlaybackController::~PlaybackController() {
    close();
}

HRESULT PlaybackController::open(const wchar_t* path, bool largeFragmented, HWND renderWindow,
                                 HWND notifyWindow) {
    close();
    renderWindow_ = renderWindow;
    notifyWindow_ = notifyWindow;
    path_ = path ? path : L"";
    if (notifyWindow_) removeNotices(notifyWindow_);
    failurePosted_ = false;
    deviceLost_ = false;
    picture_.state = PlaybackState::Opening;
    const HRESULT opened = openFile(largeFragmented);
    return FAILED(opened) ? failOpen(opened) : opened;
}

HRESULT PlaybackController::openFile(bool largeFragmented) {
    {
        const Lock device(picture_.deviceLock);
        if (!setUpPresenter(presenter_, renderWindow_)) return E_FAIL;
    }
    double container = 0;
    probe(container);
    findDuration(container, largeFragmented);
    {
        const Lock device(picture_.deviceLock);
        ensureFrameTexture(presenter_);
    }
    RETURN_IF_FAILED(createEngine());
    return startEngine();
}

// The controller stays closed until the next open or close; the engine's own error may have come
// first.
HRESULT PlaybackController::failOpen(HRESULT reason) {
    failurePosted_ = failOpening(picture_) ? post(PLAYBACK_FAILED) : notifyWindow_ != nullptr;
    return reason;
}

bool PlaybackController::post(WPARAM notice) const {
    return notifyWindow_ && PostMessageW(notifyWindow_, WM_PLAYBACK_NOTIFY, notice, 0);
}

// What the file says of itself. A file that a reader can't open may still be one for the engine.
void PlaybackController::probe(double& containerDuration) {
    tracks_ = {};
    ComPtr<IMFSourceReader> reader;
    {
        const AllStreamsWanted choice; // what it tells is what exports will get
        if (FAILED(openSourceReader(path_.c_str(), reader))) return;
    }
    tracks_ = countStreams(reader.get());
    ComPtr<IMFMediaType> type;
    if (SUCCEEDED(reader->GetCurrentMediaType(FIRST_VIDEO, type.put()))) {
        UINT32 numerator = 0;
        UINT32 denominator = 0;
        if (SUCCEEDED(MFGetAttributeRatio(type.get(), MF_MT_FRAME_RATE, &numerator, &denominator)))
            picture_.fps = usableFrameRate(numerator, denominator);
        UINT32 width = 0;
        UINT32 height = 0;
        if (SUCCEEDED(MFGetAttributeSize(type.get(), MF_MT_FRAME_SIZE, &width, &height)) &&
            width > 0 && height > 0) {
            const Lock device(picture_.deviceLock);
            setVideoSize(presenter_, static_cast<std::int32_t>(width),
                         static_cast<std::int32_t>(height));
        }
    }
    if (const std::optional<Ticks> length = sourceDuration(reader.get()))
        containerDuration = secondsOf(*length);
}

void PlaybackController::findDuration(double containerDuration, bool largeFragmented) {
    endScan_ = startEndScan(
        path_, {.container = containerDuration, .fps = picture_.fps, .onlyStart = largeFragmented});
    const ScannedEnds ends = waitForEndScan(*endScan_);
    picture_.duration = usableDuration(containerDuration, ends.end);
    picture_.videoStart = ends.start;
    picture_.videoEnd = std::max(ends.end, 0.0);
}

HRESULT PlaybackController::createEngine() {
    ComPtr<IMFMediaEngineClassFactory> factory;
    RETURN_IF_FAILED(CoCreateInstance(CLSID_MFMediaEngineClassFactory, nullptr,
                                      CLSCTX_INPROC_SERVER, __uuidof(IMFMediaEngineClassFactory),
                                      factory.putVoid()));
    notify_ = ComPtr<EngineNotify>::adopt(new EngineNotify(this));
    ComPtr<IMFAttributes> attributes;
    RETURN_IF_FAILED(MFCreateAttributes(attributes.put(), 4));
    {
        const Lock device(picture_.deviceLock);
        RETURN_IF_FAILED(
            attributes->SetUnknown(MF_MEDIA_ENGINE_DXGI_MANAGER, presenter_.deviceManager.get()));
    }
    RETURN_IF_FAILED(attributes->SetUnknown(MF_MEDIA_ENGINE_CALLBACK, notify_.get()));
    RETURN_IF_FAILED(
        attributes->SetUINT32(MF_MEDIA_ENGINE_VIDEO_OUTPUT_FORMAT, DXGI_FORMAT_B8G8R8A8_UNORM));
    RETURN_IF_FAILED(factory->CreateInstance(0, attributes.get(), engine_.put()));
    return engine_ ? S_OK : E_FAIL;
}

HRESULT PlaybackController::startEngine() {
    IMFMediaEngine* const engine = engine_.get();
    ignoreResult(engine->SetAutoPlay(FALSE), "it is the engine's default");
    setVolume(volume_);
    setMuted(muted_);
    attachEngine(picture_, {.play = [engine] { ignoreResult(engine->Play(), TOLD_BY_EVENTS); },
                            .pause = [engine] { ignoreResult(engine->Pause(), TOLD_BY_EVENTS); },
                            .setCurrentTime =
                                [engine](double seconds) {
                                    ignoreResult(engine->SetCurrentTime(seconds), TOLD_BY_EVENTS);
                                },
                            .currentTime =
                                [engine] {
                                    return engine->GetCurrentTime();
                                }});
    startPresenterThread();
    startDecoders();
    const UniqueBstr url(SysAllocString(path_.c_str()));
    if (!url) return E_OUTOFMEMORY;
    return engine->SetSource(url.get());
}

void PlaybackController::close() {
    if (endScan_) endScan_->stop = true;
    endScan_.reset();
    stopDecoders();
    running_ = false;
    if (presenterThread_.joinable()) presenterThread_.join();
    // From here on nothing of the engine's comes in, and nothing goes to it; then it may take its
    // time to shut down without a lock being held.
    if (notify_) notify_->forgetOwner();
    detachEngine(picture_);
    if (engine_) ignoreResult(engine_->Shutdown(), "it is released in any case");
    engine_.reset();
    notify_.reset();
    {
        const Lock device(picture_.deviceLock);
        releasePresenter(presenter_);
    }
    resetPicture(picture_);
}

} // namespace velkantrix
