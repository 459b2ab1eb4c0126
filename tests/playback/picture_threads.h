// picture_threads.h: the picture's threads beside the window's, as in the program: the engine's,
// the presenter's and a decoder's. What is checked under the device lock is what may be on screen.
#pragma once

#include <atomic>
#include <cstdint>
#include <thread>

#include "playback/presenter_step.h"
#include "playback/scrub_loop.h"
#include "tests/playback/fake_engine.h"

namespace velkantrix {

class PictureThreads {
public:
    PictureThreads(PictureControl& picture, std::uint64_t seed)
        : engine(picture, seed), control_(picture) {
        attachEngine(control_, engine.calls());
        presenter_ = std::thread([this] { present(); });
        control_.scrub.decodersRunning = true;
        decoder_ = std::thread([this] { decode(); });
    }
    ~PictureThreads() { close(); }
    PictureThreads(const PictureThreads&) = delete;
    PictureThreads& operator=(const PictureThreads&) = delete;

    // In the controller's order, but that the engine's events go on to the end.
    void close() {
        if (!running_.exchange(false)) return;
        control_.scrub.decodersRunning = false;
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

    // A scrub decoder, but for the decoding.
    void decode() {
        ScrubRequest& scrub = control_.scrub;
        ScrubCalls calls;
        calls.decodeKey = [](double seconds) {
            return DecodedPreview{ScrubOutcome::Done, seconds};
        };
        calls.decodeExact = [](double seconds, const std::function<bool()>& superseded) {
            return superseded() ? DecodedPreview{} : DecodedPreview{ScrubOutcome::Done, seconds};
        };
        calls.deliver = [this, &scrub](const PreviewFrame& frame) {
            const Lock device(control_.deviceLock);
            if (isFresh(scrub, frame)) publishPreview(scrub, frame);
            return ScrubOutcome::Done;
        };
        calls.sleep = [](std::int32_t) {
            std::this_thread::yield();
        };
        runScrubLoop(scrub, calls);
    }

    PictureControl& control_;
    std::atomic<bool> running_{true};
    int draws_ = 0; // the presenter's
    std::thread presenter_;
    std::thread decoder_;
};

} // namespace velkantrix
