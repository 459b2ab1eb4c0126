// controller_events.cpp: runs on the engine's thread. It may touch the picture, the presenter under
// the device lock, and post messages; it touches no window.
#include "playback/controller.h"
#include "playback/engine_notify.h"
#include "playback/logs.h"
#include "playback/notices.h"
#include "playback/picture_events.h"

namespace velkantrix {
namespace {

std::atomic<int> liveCallbacks{0};

bool concernsController(DWORD event) {
    return event == MF_MEDIA_ENGINE_EVENT_ERROR || event == MF_MEDIA_ENGINE_EVENT_LOADEDMETADATA ||
           event == MF_MEDIA_ENGINE_EVENT_PLAYING || event == MF_MEDIA_ENGINE_EVENT_ENDED;
}

} // namespace

int liveEngineCallbacks() {
    return liveCallbacks;
}

EngineNotify::EngineNotify(PlaybackController* owner) : owner_(owner) {
    ++liveCallbacks;
}

EngineNotify::~EngineNotify() {
    --liveCallbacks;
}

void EngineNotify::forgetOwner() {
    const Lock held(lock_);
    owner_ = nullptr;
}

STDMETHODIMP EngineNotify::EventNotify(DWORD event, DWORD_PTR param1, DWORD param2) {
    logEngineEvent(event, param1, param2); // also what comes while the engine shuts down
    if (!concernsController(event)) return S_OK;
    const Lock held(lock_);
    if (owner_) owner_->handleEvent(event);
    return S_OK;
}

void PlaybackController::handleEvent(DWORD event) {
    switch (event) {
    case MF_MEDIA_ENGINE_EVENT_ERROR:
        // After the file was opened it isn't reported: the picture just stays as it is.
        if (failOpening(picture_)) post(PLAYBACK_FAILED);
        break;
    case MF_MEDIA_ENGINE_EVENT_LOADEDMETADATA:
        takeMetadata();
        break;
    case MF_MEDIA_ENGINE_EVENT_PLAYING:
        playingBegan(picture_);
        break;
    case MF_MEDIA_ENGINE_EVENT_ENDED:
        if (endReached(picture_)) post(PLAYBACK_ENDED);
        break;
    default:
        break;
    }
}

void PlaybackController::takeMetadata() {
    {
        const Lock device(picture_.deviceLock);
        DWORD width = 0;
        DWORD height = 0;
        // A picture that can't be decoded is none, whatever size the file states.
        if (!engine_->HasVideo())
            setVideoSize(presenter_, 0, 0);
        else if (SUCCEEDED(engine_->GetNativeVideoSize(&width, &height)) && width > 0 && height > 0)
            setVideoSize(presenter_, static_cast<std::int32_t>(width),
                         static_cast<std::int32_t>(height));
        ensureFrameTexture(presenter_);
    }
    if (metadataArrived(picture_)) post(PLAYBACK_READY);
}

} // namespace velkantrix
