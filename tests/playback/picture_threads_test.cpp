// The picture's threads at once, as in the program. The sanitizers look for races.
#include "tests/playback/picture_threads.h"

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

constexpr std::uint64_t SEED = 20;

// What the user does, and the window on its own: a scrub always has an end.
class FakeUser {
public:
    FakeUser(PictureControl& control, FakeEngine& engine, RandomChoices& choices)
        : control_(control), engine_(engine), choices_(choices) {}

    void doSomething() {
        // Whole seconds apart, so that no frame is near two targets.
        last_ = choices_.between(0, 999);
        switch (choices_.below(9)) {
        case 0:
            return playPicture(control_);
        case 1:
            return pausePicture(control_);
        case 2:
            if (!scrubs_) resumes_ = beginScrub(control_);
            scrubs_ = true;
            return;
        case 3:
            return endAnyScrub();
        case 4:
            return setDim(control_, choices_.between(0, 10) / 10.0);
        case 5:
            EXPECT_GE(engineTime(control_), 0);
            return;
        case 6:
            if (engine_.ends.exchange(0) > 0) pauseAfterEnd(control_);
            return;
        default:
            return seekPicture(control_, last_);
        }
    }

    void endAnyScrub() {
        if (scrubs_) endScrub(control_, last_, resumes_);
        scrubs_ = false;
    }

    [[nodiscard]] double last() const { return last_; } // the time of the last thing done

private:
    PictureControl& control_;
    FakeEngine& engine_;
    RandomChoices& choices_;
    double last_ = 0;
    bool scrubs_ = false;
    bool resumes_ = false;
};

class PictureThreadsTest : public ::testing::Test {
protected:
    void beginOpening() {
        control.state = PlaybackState::Opening;
        control.duration = 1000;
        control.fps = 25;
    }

    PictureControl control;
    RandomChoices choices{SEED};
};

TEST_F(PictureThreadsTest, EverySeekLandsOnItsFrameWhateverElseHappens) {
    beginOpening();
    ASSERT_TRUE(metadataArrived(control));
    PictureThreads threads(control, SEED);
    const std::uint64_t rounds = propertyRounds(3'000);
    for (std::uint64_t round = 0; round < rounds; ++round) {
        FakeUser user(control, threads.engine, choices);
        for (std::uint32_t left = choices.between(1, 6); left > 0; --left) user.doSomething();
        user.endAnyScrub();
        pausePicture(control);
        seekPicture(control, user.last());
        // Until what was asked for is on screen. A picture that stays frozen makes the test run
        // into its time limit.
        while (isSeeking(control)) std::this_thread::yield();
        ASSERT_NEAR(secondsOf(control.settledPts), user.last(), 0.05) << "round " << round;
        ASSERT_EQ(control.state, PlaybackState::Paused) << "round " << round;
        ASSERT_EQ(threads.wrong, 0) << "round " << round;
    }
    EXPECT_GE(threads.landings, static_cast<int>(rounds));
    EXPECT_EQ(threads.engine.readies, 0) << "it is open already";
    EXPECT_EQ(threads.engine.failures, 0) << "it is open already";
}

// Setting the source fails just as the metadata arrives: the window is told one or the other.
TEST_F(PictureThreadsTest, AnOpeningEndsOnceThoughTwoEndIt) {
    const std::uint64_t rounds = propertyRounds(20'000);
    std::atomic<std::uint64_t> begun{0}; // rounds, as the next
    std::atomic<std::uint64_t> done{0};
    std::atomic<int> readies{0};
    std::thread engine([&] {
        for (std::uint64_t round = 1; round <= rounds; ++round) {
            while (begun < round) std::this_thread::yield();
            readies += metadataArrived(control) ? 1 : 0;
            done = round;
        }
    });
    int failures = 0;
    std::uint64_t wrongRounds = 0;
    for (std::uint64_t round = 1; round <= rounds; ++round) {
        const int before = readies + failures;
        beginOpening();
        begun = round;
        failures += failOpening(control) ? 1 : 0;
        while (done < round) std::this_thread::yield();
        if (readies + failures != before + 1) ++wrongRounds;
    }
    engine.join();
    EXPECT_EQ(wrongRounds, 0u);
}

TEST_F(PictureThreadsTest, ItCanBeClosedInTheMidstOfAnything) {
    const std::uint64_t rounds = propertyRounds(500);
    for (std::uint64_t round = 0; round < rounds; ++round) {
        beginOpening();
        PictureThreads threads(control, round);
        threads.engine.load();
        // Setting the source may fail though the engine goes on with it.
        const int refusals = choices.percent(20) && failOpening(control) ? 1 : 0;
        const bool awaited = choices.percent(70); // otherwise what follows may do nothing
        while (awaited && control.state == PlaybackState::Opening) std::this_thread::yield();
        FakeUser user(control, threads.engine, choices);
        for (std::uint32_t left = choices.below(6); left > 0; --left) user.doSomething();
        threads.close();
        ASSERT_EQ(threads.engine.readies + threads.engine.failures + refusals, 1)
            << "round " << round; // what the window is told of an opening
        ASSERT_EQ(threads.engine.wrongCalls, 0) << "round " << round;
        ASSERT_EQ(threads.wrong, 0) << "round " << round;
        resetPicture(control);
        ASSERT_EQ(control.state, PlaybackState::Closed) << "round " << round;
        ASSERT_FALSE(isSeeking(control)) << "round " << round;
        ASSERT_FALSE(isOrWillBePlaying(control)) << "round " << round;
        ASSERT_FALSE(control.engineReady) << "round " << round;
        ASSERT_FALSE(control.waitPlay) << "round " << round;
        ASSERT_FALSE(control.scrub.previewPending) << "round " << round;
    }
}

} // namespace
} // namespace velkantrix
