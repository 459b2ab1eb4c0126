#include "platform/media_startup.h"

#include <mfapi.h>

#include "base/mutex.h"
#include "platform/hresult.h"

namespace velkantrix {
namespace {

struct MediaState {
    Mutex lock;
    bool asked GUARDED_BY(lock) = false;
    HRESULT result GUARDED_BY(lock) = E_FAIL;
};

MediaState& mediaState() {
    static MediaState state;
    return state;
}

} // namespace

HRESULT startMedia(MediaRegistration registration) {
    MediaState& state = mediaState();
    const Lock held(state.lock);
    if (!state.asked) {
        state.asked = true;
        state.result = MFStartup(MF_VERSION, MFSTARTUP_FULL);
        if (SUCCEEDED(state.result) && registration)
            ignoreResult(registration(), "what the system has serves as well");
    }
    return state.result;
}

void stopMedia() {
    MediaState& state = mediaState();
    const Lock held(state.lock);
    if (!state.asked || FAILED(state.result)) return;
    MFShutdown();
    state.asked = false;
    state.result = E_FAIL;
}

} // namespace velkantrix
