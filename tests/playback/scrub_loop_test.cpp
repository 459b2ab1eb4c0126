#include "playback/scrub_loop.h"

#include <gtest/gtest.h>

#include <functional>
#include <string>
#include <vector>

namespace velkantrix {
namespace {

using Texts = std::vector<std::string>;

std::string textOf(double seconds) {
    std::string text = std::to_string(seconds);
    text.erase(text.find_last_not_of('0') + 1);
    if (text.back() == '.') text.pop_back();
    return text;
}

// A decoder that notes what it is asked. The loop ends when it finds nothing to do.
class ScrubLoop : public ::testing::Test {
protected:
    ScrubLoop() {
        scrub.decodersRunning = true;
        calls.decodeKey = [this](double seconds) {
            log.push_back("key " + textOf(seconds));
            if (onKey) onKey();
            return key;
        };
        calls.decodeExact = [this](double seconds, const std::function<bool()>& superseded) {
            log.push_back("exact " + textOf(seconds));
            if (onExact) onExact();
            return superseded() ? DecodedPreview{} : exact;
        };
        calls.deliver = [this](const PreviewFrame& frame) {
            log.push_back(std::string(frame.exact ? "show exact " : "show ") +
                          std::to_string(frame.number) + " at " + textOf(frame.seconds));
            return delivery;
        };
        calls.sleep = [this](std::int32_t milliseconds) {
            if (milliseconds == 1) {
                ++idle;
                scrub.decodersRunning = false;
                return;
            }
            EXPECT_EQ(milliseconds, 3);
            slept += milliseconds;
            if (onSettle) onSettle();
        };
    }

    std::optional<ClaimedPreview> run(std::optional<ClaimedPreview> unfinished = {}) {
        return runScrubLoop(scrub, calls, unfinished);
    }

    ScrubRequest scrub;
    ScrubCalls calls;
    DecodedPreview key{ScrubOutcome::Done, 1.0};
    DecodedPreview exact{ScrubOutcome::Done, 1.4};
    ScrubOutcome delivery = ScrubOutcome::Done;
    std::function<void()> onKey, onExact, onSettle;
    Texts log;
    int slept = 0; // milliseconds, while it settled
    int idle = 0;
};

TEST_F(ScrubLoop, WithNothingToDoItSleepsForAMillisecond) {
    EXPECT_FALSE(run());
    EXPECT_EQ(idle, 1);
    EXPECT_EQ(log, Texts{});
}

TEST_F(ScrubLoop, NotRunningItDoesNothing) {
    scrub.decodersRunning = false;
    requestPreview(scrub, 1);
    EXPECT_FALSE(run());
    EXPECT_EQ(idle, 0);
    EXPECT_EQ(log, Texts{});
    EXPECT_EQ(scrub.scrubClaimed, 0);
}

TEST_F(ScrubLoop, ARequestIsAnsweredTwice) {
    requestPreview(scrub, 1.5);
    EXPECT_FALSE(run());
    EXPECT_EQ(log, (Texts{"key 1.5", "show 1 at 1", "exact 1.5", "show exact 1 at 1.4"}));
    EXPECT_EQ(slept, 75);
    EXPECT_EQ(scrub.exactDecodes, 1u);
}

TEST_F(ScrubLoop, WithoutAKeyframeTheExactFrameIsShownAllTheSame) {
    key.outcome = ScrubOutcome::Missed;
    requestPreview(scrub, 1.5);
    run();
    EXPECT_EQ(log, (Texts{"key 1.5", "exact 1.5", "show exact 1 at 1.4"}));
    EXPECT_EQ(slept, 75);
}

TEST_F(ScrubLoop, AMissedExactFrameIsNotShown) {
    exact.outcome = ScrubOutcome::Missed;
    requestPreview(scrub, 1.5);
    run();
    EXPECT_EQ(log, (Texts{"key 1.5", "show 1 at 1", "exact 1.5"}));
}

TEST_F(ScrubLoop, AKeyframeKnownToBeTheOneAskedForIsAllThereIsToDo) {
    key.exact = true;
    requestPreview(scrub, 1);
    run();
    EXPECT_EQ(log, (Texts{"key 1", "show exact 1 at 1"}));
    EXPECT_EQ(slept, 0);
    EXPECT_EQ(scrub.exactDecodes, 0u);
}

TEST_F(ScrubLoop, WhenSuchAKeyframeCouldNotBeShownTheExactFrameIsTried) {
    key.exact = true;
    delivery = ScrubOutcome::Missed;
    requestPreview(scrub, 1);
    run();
    EXPECT_EQ(scrub.exactDecodes, 1u);
}

// At each step of the settling, the first and the last too.
TEST_F(ScrubLoop, ARequestSupersededWhileItSettlesIsNeverDecodedExactly) {
    for (int step = 1; step <= 25; ++step) {
        int steps = 0;
        onSettle = [&] {
            if (++steps == step) requestPreview(scrub, 9);
        };
        scrub.decodersRunning = true;
        scrub.exactDecodes = 0;
        log.clear();
        requestPreview(scrub, 2);
        run();
        ASSERT_EQ(log.size(), 6u) << step;
        EXPECT_EQ(log[0], "key 2") << step;
        EXPECT_EQ(log[2], "key 9") << step;
        EXPECT_EQ(log[4], "exact 9") << step;
        EXPECT_EQ(scrub.exactDecodes, 1u) << step;
    }
}

TEST_F(ScrubLoop, ARequestSupersededWhileItsKeyframeIsDecodedDoesNotSettle) {
    onKey = [this] {
        if (log.size() == 1) requestPreview(scrub, 9);
    };
    requestPreview(scrub, 2);
    run();
    EXPECT_EQ(log, (Texts{"key 2", "show 1 at 1", "key 9", "show 2 at 1", "exact 9",
                          "show exact 2 at 1.4"}));
    EXPECT_EQ(slept, 75);
}

TEST_F(ScrubLoop, AnExactDecodeIsToldThatItIsSuperseded) {
    bool asked = false;
    onExact = [&] {
        if (!asked) requestPreview(scrub, 9);
        asked = true;
    };
    requestPreview(scrub, 2);
    run();
    EXPECT_EQ(log, (Texts{"key 2", "show 1 at 1", "exact 2", "key 9", "show 2 at 1", "exact 9",
                          "show exact 2 at 1.4"}));
}

TEST_F(ScrubLoop, ItEndsInTheMidstOfAnything) {
    const auto stop = [this] {
        scrub.decodersRunning = false;
    };
    onKey = stop;
    requestPreview(scrub, 2);
    EXPECT_FALSE(run());
    EXPECT_EQ(slept, 0);
    EXPECT_EQ(scrub.exactDecodes, 0u);

    onKey = {};
    onSettle = stop;
    scrub.decodersRunning = true;
    requestPreview(scrub, 3);
    EXPECT_FALSE(run());
    EXPECT_EQ(slept, 3);
    EXPECT_EQ(scrub.exactDecodes, 0u);

    onSettle = {};
    onExact = stop;
    log.clear();
    scrub.decodersRunning = true;
    requestPreview(scrub, 4);
    EXPECT_FALSE(run());
    EXPECT_EQ(log, (Texts{"key 4", "show 3 at 1", "exact 4"}));
}

TEST_F(ScrubLoop, AnUnusableFileEndsItWithItsRequest) {
    key.outcome = ScrubOutcome::Unusable;
    requestPreview(scrub, 2);
    const auto left = run();
    ASSERT_TRUE(left);
    EXPECT_EQ(left->number, 1);
    EXPECT_EQ(left->seconds, 2);
    EXPECT_EQ(slept, 0);
}

TEST_F(ScrubLoop, APictureThatCannotBeShownEndsItToo) {
    delivery = ScrubOutcome::Unusable;
    requestPreview(scrub, 2);
    EXPECT_TRUE(run());
    key.outcome = ScrubOutcome::Missed;
    requestPreview(scrub, 3);
    const auto left = run();
    ASSERT_TRUE(left);
    EXPECT_EQ(left->number, 2);
}

TEST_F(ScrubLoop, AnUnfinishedRequestComesFirst) {
    requestPreview(scrub, 2);
    const auto claimed = claimPreview(scrub);
    EXPECT_FALSE(run(claimed));
    EXPECT_EQ(log, (Texts{"key 2", "show 1 at 1", "exact 2", "show exact 1 at 1.4"}));
}

TEST_F(ScrubLoop, AnUnfinishedRequestThatIsSupersededIsForgotten) {
    requestPreview(scrub, 2);
    const auto claimed = claimPreview(scrub);
    requestPreview(scrub, 5);
    EXPECT_FALSE(run(claimed));
    EXPECT_EQ(log, (Texts{"key 5", "show 2 at 1", "exact 5", "show exact 2 at 1.4"}));
}

} // namespace
} // namespace velkantrix
