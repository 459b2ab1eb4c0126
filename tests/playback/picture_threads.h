// picture_threads.h: the picture's threads beside the window's, as in the program: the engine's,
// the presenter's and a decoder's. What is checked under the device lock is what may be on screen.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include "playback/presenter_step.h"
#include "tests/playback/fake_engine.h"

namespace velkantrix {

class PictureThreads {
public:
    PictureThreads(PictureControl& picture, std::uint64_t seed)
        : engine(picture, seed), control_(picture) {
        attachEngine(control_, engine.calls());
        presenter_ = std::thread([this] { present(); });
        decoder_ = std::thread([this] { decode(); });
    }
    ~PictureThreads() { close(); }
    PictureThreads(const PictureThreads&) = delete;
    PictureThreads& operator=(const PictureThreads&) = delete;

    // In the controller's order, but that the engine's events go on to the end.
    void close() {
        if (!running_.exchange(false)) return;
        decoder_.join();
        presenter_.join();
        detachEngine(control_);
        engine.expectNoCall();
        engine.stop();
    }

    FakeEngine engine;
    std::atomic<int> wrong{0};
    std::atomic<int> landings{0};

private:
    void present() {
        PresenterCalls calls;
        calls.newFrame = [this] {
            return engine.takeFrame();
        };
        calls.draw = [this](bool isPreview) {
            // A screen that is busy for a while, and sometimes can't be drawn to.
            if (++draws_ % 7 == 0) return false;
            if (isPreview != (control_.owner == PictureOwner::Preview)) ++wrong;
            return true;
        };
        calls.log = [this](const PresentRecord& record) {
            if (record.owner != PictureOwner::Frozen) return;
            const Ticks distance = record.pts - record.seekTarget;
            if (distance < -500'000 || distance > 500'000) ++wrong;
            ++landings;
        };
        PresenterMemory memory;
        while (running_)
            if (presenterStep(control_, memory, calls) != 0) std::this_thread::yield();
    }

    // As a scrub decoder will: it claims the latest request and delivers it under the device lock.
    void decode() {
        ScrubRequest& scrub = control_.scrub;
        while (running_) {
            std::int64_t number = 0;
            double time = 0;
            {
                const Lock held(scrub.lock);
                number = scrub.scrubRequested;
                if (scrub.scrubClaimed != number) {
                    scrub.scrubClaimed = number;
                    time = scrub.scrubTime;
                } else {
                    number = 0;
                }
            }
            if (number != 0) {
                const Lock device(control_.deviceLock);
                if (scrub.previewRequestId < number) {
                    scrub.previewRequestId = number;
                    scrub.previewTime = time;
                    scrub.previewPending = true;
                }
            }
            std::this_thread::yield();
        }
    }

    PictureControl& control_;
    std::atomic<bool> running_{true};
    int draws_ = 0; // the presenter's
    std::thread presenter_;
    std::thread decoder_;
};

} // namespace velkantrix
