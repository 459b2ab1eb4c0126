// presenter_thread.cpp: runs on the presenter thread, which `open` starts and `close` ends. It may
// touch the picture, the engine, and the presenter under the device lock. It polls rather than
// waits: what it waits for, the engine's frames, gives no signal.
#include <windows.h>

#include <timeapi.h>

#include "platform/com.h"
#include "playback/controller.h"
#include "playback/logs.h"
#include "playback/notices.h"
#include "playback/presenter_step.h"

namespace velkantrix {
namespace {

constexpr ULONGLONG DEVICE_CHECK_PERIOD = 250; // milliseconds

// The system's clock ticks each millisecond, or Sleep(1) would last up to 16.
class FineClock {
public:
    FineClock() { timeBeginPeriod(1); }
    ~FineClock() { timeEndPeriod(1); }
    FineClock(const FineClock&) = delete;
    FineClock& operator=(const FineClock&) = delete;
};

std::optional<Ticks> newFrameOf(IMFMediaEngine* engine) {
    LONGLONG time = 0;
    // Other codes of success say that there is no new frame.
    return engine->OnVideoStreamTick(&time) == S_OK ? std::optional<Ticks>(time) : std::nullopt;
}

} // namespace

void PlaybackController::startPresenterThread() noexcept {
    running_ = true;
    presenterThread_ = std::thread([this] { runPresenterThread(); });
}

void PlaybackController::runPresenterThread() {
    const ComApartment apartment(COINIT_MULTITHREADED);
    const FineClock clock;
    PresenterCalls calls;
    calls.newFrame = [this] {
        return newFrameOf(engine_.get());
    };
    calls.draw = [this](bool isPreview) REQUIRES(picture_.deviceLock) {
        return draw(isPreview);
    };
    calls.log = [this](const PresentRecord& record) {
        if (presentsAreLogged()) logPresent(record, engine_->GetCurrentTime());
    };
    PresenterMemory memory;
    ULONGLONG lastCheck = GetTickCount64();
    while (running_ && !deviceLost_) {
        const std::int32_t idle = presenterStep(picture_, memory, calls);
        if (idle <= 0) continue;
        checkDevice(lastCheck);
        Sleep(static_cast<DWORD>(idle));
    }
}

bool PlaybackController::draw(bool isPreview) {
    const PictureLook look{.isPreview = isPreview,
                           .isNv12 = isPreview && picture_.scrub.previewIsNv12,
                           .exposure = picture_.exposure,
                           .dim = picture_.dim};
    if (isPreview && !look.isNv12) {
        const Lock pixels(picture_.previewBufferLock);
        if (!uploadPreview(presenter_, previewPixels_)) return false;
    }
    const DrawResult result = drawPicture(presenter_, engine_.get(), look);
    if (result == DrawResult::DeviceLost) reportDeviceLoss();
    return result == DrawResult::Presented;
}

void PlaybackController::reportDeviceLoss() {
    if (!deviceLost_.exchange(true)) post(PLAYBACK_DEVICE_LOST);
}

// An engine without its device offers no frame: then no drawing would ever find out.
void PlaybackController::checkDevice(ULONGLONG& lastCheck) {
    const ULONGLONG now = GetTickCount64();
    if (now - lastCheck < DEVICE_CHECK_PERIOD) return;
    lastCheck = now;
    const Lock device(picture_.deviceLock);
    if (deviceIsLost(presenter_)) reportDeviceLoss();
}

} // namespace velkantrix
