// engine_notify.h: what the engine calls with its events, on a thread of its own.
#pragma once

#include <windows.h>

#include <mfmediaengine.h>

#include "base/mutex.h"
#include "platform/com.h"

namespace velkantrix {

class PlaybackController;

// It outlives the engine, which may still be calling it when its Shutdown returns. Its controller
// doesn't: the callback forgets it before.
class EngineNotify final : public ComObject<IMFMediaEngineNotify> {
public:
    explicit EngineNotify(PlaybackController* owner);

    // Once it returns, no event reaches the controller any more.
    void forgetOwner() EXCLUDES(lock_);

    STDMETHODIMP EventNotify(DWORD event, DWORD_PTR param1, DWORD param2) override EXCLUDES(lock_);

private:
    ~EngineNotify() override;

    Mutex lock_; // taken before any lock of the controller
    PlaybackController* owner_ GUARDED_BY(lock_);
};

} // namespace velkantrix
