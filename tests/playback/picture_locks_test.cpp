// Which locks are held while the engine is asked for something, and what that keeps out.
#include <chrono>
#include <functional>
#include <future>
#include <memory>
#include <string>
#include <thread>
#include <utility>

#include "tests/playback/picture_fixture.h"

namespace velkantrix {
namespace {

// For what no lock keeps out. What one does keep out comes later, however long that takes.
constexpr std::chrono::milliseconds CHANCE{100};

// Asked by another thread: the caller may hold it.
bool isFree(Mutex& lock) {
    return std::async(std::launch::async,
                      [&lock] {
                          if (!lock.tryLock()) return false;
                          lock.unlock();
                          return true;
                      })
        .get();
}

class PictureLocks : public Picture {
protected:
    PictureLocks() {
        attachEngine(control, {[this] { ask("play"); }, [this] { ask("pause"); },
                               [this](double t) { ask("seek " + number(t)); },
                               [this] {
                                   ask("time");
                                   return 0.0;
                               }});
        makeReady();
    }
    ~PictureLocks() override {
        if (other.joinable()) other.join();
    }

    // The engine has taken it when it returns.
    void ask(const std::string& what) {
        if (const auto act = std::exchange(during, nullptr)) act();
        if (looksAtLocks) expectOnlyControlLock(what);
        asked.push_back(what);
    }

    void expectOnlyControlLock(const std::string& what) {
        EXPECT_FALSE(isFree(control.controlLock)) << what;
        EXPECT_TRUE(isFree(control.deviceLock)) << what;
        EXPECT_TRUE(isFree(control.previewBufferLock)) << what;
        EXPECT_TRUE(isFree(control.scrub.lock)) << what;
    }

    // While the engine is asked next, another thread does something.
    void intrude(std::function<void()> act) {
        during = [this, act = std::move(act)] {
            const auto done = std::make_shared<std::promise<void>>();
            other = std::thread([act, done] {
                act();
                done->set_value();
            });
            done->get_future().wait_for(CHANCE);
        };
    }

    std::function<void()> during;
    std::thread other;
    bool looksAtLocks = false;
};

// An engine that waits for its device, which the presenter holds, would wait for ever.
TEST_F(PictureLocks, TheEngineIsAskedUnderTheControlLockAlone) {
    looksAtLocks = true;
    playPicture(control);
    pausePicture(control);
    seekPicture(control, 1);
    playPicture(control);
    playingBegan(control);
    EXPECT_EQ(takeAsked(), (Texts{"play", "pause", "seek 1", "play", "seek 1"}));
    playPicture(control);
    pausePicture(control);
    EXPECT_EQ(takeAsked(), (Texts{"play", "pause", "seek 1"}));
    beginScrub(control);
    endScrub(control, 2, true);
    playingBegan(control);
    EXPECT_EQ(takeAsked(), (Texts{"pause", "play", "seek 2"}));
    beginScrub(control);
    endScrub(control, 3, false);
    pauseAfterEnd(control);
    EXPECT_EQ(engineTime(control), 0);
    EXPECT_EQ(takeAsked(), (Texts{"pause", "seek 3", "pause", "time"}));
}

TEST_F(PictureLocks, TheEndOfTheFileWaitsUntilPlayIsDone) {
    bool ended = false;
    intrude([&] { ended = endReached(control); });
    playPicture(control);
    other.join();
    EXPECT_TRUE(ended);
    EXPECT_EQ(control.state, PlaybackState::Paused);
}

TEST_F(PictureLocks, TheTargetToldAgainNeverOvertakesANewSeek) {
    seekPicture(control, 2);
    playPicture(control);
    takeAsked();
    intrude([&] { seekPicture(control, 7); });
    playingBegan(control);
    other.join();
    EXPECT_EQ(takeAsked(), (Texts{"seek 2", "seek 7"}));
}

TEST_F(PictureLocks, ASeekThatLandsWhilePlayIsAskedForPlays) {
    seekPicture(control, 5);
    intrude([&] { stepWithFrame(5); });
    playPicture(control);
    other.join();
    EXPECT_FALSE(isSeeking(control));
    EXPECT_EQ(control.state, PlaybackState::Playing);
}

} // namespace
} // namespace velkantrix
