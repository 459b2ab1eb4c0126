// fake_engine.h: an engine with a thread of its own: it answers some time after it was asked, it
// offers each frame once, and it forgets what it was asked before the latest. Between its answers
// come, by a seeded choice, all the events that an engine may have.
#pragma once

#include <atomic>
#include <condition_variable>
#include <cstdint>
#include <deque>
#include <mutex>
#include <optional>
#include <thread>
#include <utility>

#include "playback/picture_control.h"
#include "playback/picture_events.h"
#include "tests/support/random_choices.h"

namespace velkantrix {

class FakeEngine {
public:
    FakeEngine(PictureControl& control, std::uint64_t seed)
        : control_(control), choices_(seed), thread_([this] { run(); }) {}
    ~FakeEngine() { stop(); }
    FakeEngine(const FakeEngine&) = delete;
    FakeEngine& operator=(const FakeEngine&) = delete;

    EngineCalls calls() {
        return {[this] { ask(Order::Play, 0); }, [this] { ask(Order::Pause, 0); },
                [this](double seconds) { ask(Order::Seek, seconds); },
                [this] {
                    return time();
                }};
    }

    // The metadata comes, or an error, or one after the other.
    void load() { post(Order::Load, 0); }

    // Whatever it is asked from now on is wrong.
    void expectNoCall() { mayBeAsked_ = false; }

    void stop() {
        if (!thread_.joinable()) return;
        post(Order::Stop, 0);
        thread_.join();
    }

    std::optional<Ticks> takeFrame() {
        const std::lock_guard held(lock_);
        return std::exchange(offered_, std::nullopt);
    }

    // Of the events, those that the window is told.
    std::atomic<int> readies{0};
    std::atomic<int> failures{0};
    std::atomic<int> ends{0};
    std::atomic<int> wrongCalls{0};

private:
    enum class Order { Load, Play, Pause, Seek, Stop };
    using Held = std::unique_lock<std::mutex>;

    double time() {
        if (!mayBeAsked_) ++wrongCalls;
        const std::lock_guard held(lock_);
        return secondsOf(frame_);
    }

    void ask(Order order, double seconds) {
        if (!mayBeAsked_) ++wrongCalls;
        post(order, seconds);
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

    void tellMetadata() { readies += metadataArrived(control_) ? 1 : 0; }
    void tellError() { failures += failOpening(control_) ? 1 : 0; }
    void tellEnd() { ends += endReached(control_) ? 1 : 0; }

    void tellAny() {
        switch (choices_.below(4)) {
        case 0:
            return tellMetadata();
        case 1:
            return tellError();
        case 2:
            return playingBegan(control_);
        default:
            return tellEnd();
        }
    }

    void tellLoaded() {
        if (choices_.percent(20)) tellError();
        tellMetadata();
    }

    // Events take the control lock, which is never taken under the engine's own.
    template <class Tell>
    static void unlocked(Held& held, Tell tell) {
        held.unlock();
        tell();
        held.lock();
    }

    void run() {
        Held held(lock_);
        bool plays = false;
        while (true) {
            if (orders_.empty() && !plays) wake_.wait(held);
            if (orders_.empty()) {
                if (plays) offer(frame_ + 400'000);
                unlocked(held, [this] {
                    if (choices_.percent(2)) tellAny();
                    std::this_thread::yield();
                });
                continue;
            }
            const auto [order, seconds] = orders_.front();
            orders_.pop_front();
            if (order == Order::Stop) return;
            if (order == Order::Seek) offer(nearestTicks(seconds));
            if (order == Order::Pause) plays = false;
            const bool begins = order == Order::Play && !std::exchange(plays, true);
            unlocked(held, [&] {
                if (order == Order::Load) tellLoaded();
                if (begins) playingBegan(control_);
                if (choices_.percent(20)) tellAny();
            });
        }
    }

    PictureControl& control_;
    RandomChoices choices_; // its thread's
    std::atomic<bool> mayBeAsked_{true};
    std::mutex lock_;
    std::condition_variable wake_;
    std::deque<std::pair<Order, double>> orders_;
    Ticks frame_ = 0;
    std::optional<Ticks> offered_;
    std::thread thread_;
};

} // namespace velkantrix
