// The picture's threads at once, as in the program: the window's, the engine's, the presenter's and
// a decoder's. What is checked under the device lock is what may be on screen; the sanitizers look
// for races.
#include <gtest/gtest.h>

#include <atomic>
#include <condition_variable>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "playback/picture_control.h"
#include "playback/picture_events.h"
#include "playback/presenter_step.h"
#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

// An engine with a thread of its own: it answers some time after it was asked, it offers each frame
// once, and it forgets what it was asked before the latest.
class FakeEngine {
public:
    explicit FakeEngine(PictureControl& control) : control_(control), thread_([this] { run(); }) {}
    ~FakeEngine() { stop(); }

    EngineCalls calls() {
        return {[this] { post(Order::Play, 0); }, [this] { post(Order::Pause, 0); },
                [this](double seconds) { post(Order::Seek, seconds); },
                [this] {
                    return time();
                }};
    }

    void stop() {
        if (!thread_.joinable()) return;
        post(Order::Stop, 0);
        thread_.join();
    }

    std::optional<Ticks> takeFrame() {
        const std::lock_guard held(lock_);
        return std::exchange(offered_, std::nullopt);
    }

    // The frame that would be copied to the screen now.
    Ticks shownFrame() {
        const std::lock_guard held(lock_);
        return frame_;
    }

private:
    enum class Order { Play, Pause, Seek, Stop };

    double time() {
        const std::lock_guard held(lock_);
        return secondsOf(frame_);
    }

    void post(Order order, double seconds) {
        const std::lock_guard held(lock_);
        orders_.emplace_back(order, seconds);
        wake_.notify_one();
    }

    void offer(Ticks frame) {
        frame_ = frame;
        offered_ = frame;
    }

    void run() {
        std::unique_lock held(lock_);
        bool plays = false;
        while (true) {
            if (orders_.empty() && !plays) wake_.wait(held);
            if (orders_.empty()) {
                if (plays) offer(frame_ + 400'000);
                held.unlock();
                std::this_thread::yield();
                held.lock();
                continue;
            }
            const auto [order, seconds] = orders_.front();
            orders_.pop_front();
            if (order == Order::Stop) return;
            if (order == Order::Seek) offer(nearestTicks(seconds));
            if (order == Order::Pause) plays = false;
            if (order == Order::Play && !std::exchange(plays, true)) {
                held.unlock();
                playingBegan(control_); // takes the control lock, as the program's does
                held.lock();
            }
        }
    }

    PictureControl& control_;
    std::mutex lock_;
    std::condition_variable wake_;
    std::deque<std::pair<Order, double>> orders_;
    Ticks frame_ = 0;
    std::optional<Ticks> offered_;
    std::thread thread_;
};

class PictureThreads : public ::testing::Test {
protected:
    PictureThreads() {
        control.state = PlaybackState::Opening;
        control.duration = 1000;
        control.fps = 25;
        attachEngine(control, engine.calls());
        EXPECT_TRUE(metadataArrived(control));
        presenter = std::thread([this] { present(); });
        decoder = std::thread([this] { decode(); });
    }

    ~PictureThreads() override {
        running = false;
        presenter.join();
        decoder.join();
        detachEngine(control);
        engine.stop();
    }

    void present() {
        PresenterCalls calls;
        calls.newFrame = [this] {
            return engine.takeFrame();
        };
        calls.draw = [this](bool isPreview) {
            // A screen that is busy for a while, and sometimes can't be drawn to.
            if (++draws % 7 == 0) return false;
            if (isPreview && control.owner != PictureOwner::Preview) ++wrong;
            if (!isPreview && control.owner == PictureOwner::Preview) ++wrong;
            return true;
        };
        calls.log = [this](const PresentRecord& record) {
            if (record.owner != PictureOwner::Frozen) return;
            const Ticks distance = record.pts - record.seekTarget;
            if (distance < -500'000 || distance > 500'000) ++wrong;
            ++landings;
        };
        PresenterMemory memory;
        while (running)
            if (presenterStep(control, memory, calls) != 0) std::this_thread::yield();
    }

    // As a scrub decoder will: it claims the latest request and delivers it under the device lock.
    void decode() {
        ScrubRequest& scrub = control.scrub;
        while (running) {
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
                const Lock device(control.deviceLock);
                if (scrub.previewRequestId < number) {
                    scrub.previewRequestId = number;
                    scrub.previewTime = time;
                    scrub.previewPending = true;
                }
            }
            std::this_thread::yield();
        }
    }

    // Until what was asked for is on screen. A picture that stays frozen makes the test run into
    // its time limit.
    void waitForLanding() {
        while (isSeeking(control)) std::this_thread::yield();
    }

    PictureControl control;
    FakeEngine engine{control};
    std::atomic<bool> running{true};
    std::atomic<int> draws{0};
    std::atomic<int> wrong{0};
    std::atomic<int> landings{0};
    std::thread presenter;
    std::thread decoder;
};

TEST_F(PictureThreads, EverySeekLandsOnItsFrameWhateverElseHappens) {
    RandomChoices choices(20);
    const std::uint64_t rounds = propertyRounds(3'000);
    for (std::uint64_t round = 0; round < rounds; ++round) {
        double last = 0;
        bool scrubs = false;
        bool resumes = false;
        for (std::uint32_t left = choices.between(1, 6); left > 0; --left) {
            // Whole seconds apart, so that no frame is near two targets.
            last = choices.between(0, 999);
            switch (choices.between(0, 7)) {
            case 0:
                playPicture(control);
                break;
            case 1:
                pausePicture(control);
                break;
            case 2:
                if (!scrubs) resumes = beginScrub(control);
                scrubs = true;
                break;
            case 3:
                if (scrubs) endScrub(control, last, resumes);
                scrubs = false;
                break;
            case 4:
                setDim(control, choices.between(0, 10) / 10.0);
                break;
            case 5:
                EXPECT_GE(engineTime(control), 0);
                break;
            default:
                seekPicture(control, last);
                break;
            }
        }
        if (scrubs) endScrub(control, last, resumes);
        pausePicture(control);
        seekPicture(control, last);
        waitForLanding();
        ASSERT_NEAR(secondsOf(control.settledPts), last, 0.05) << "round " << round;
        ASSERT_EQ(control.state, PlaybackState::Paused) << "round " << round;
        ASSERT_EQ(wrong, 0) << "round " << round;
    }
    EXPECT_GE(landings, static_cast<int>(rounds));
}

} // namespace
} // namespace velkantrix
