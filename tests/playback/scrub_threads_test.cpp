// Decoder threads at once, as many as a test machine can bear: who takes which request, and what is
// on screen. The sanitizers look for races.
#include <gtest/gtest.h>

#include <algorithm>
#include <atomic>
#include <cstdint>
#include <thread>
#include <vector>

#include "playback/scrub_loop.h"
#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

constexpr int DECODERS = 7; // with the thread that asks: eight
constexpr std::int64_t REQUESTS = 1'000'000;

class ScrubThreads : public ::testing::Test {
protected:
    // As a frame is delivered: what is looked at and what is done are one, under the device lock.
    ScrubOutcome deliver(const PreviewFrame& frame) EXCLUDES(deviceLock) {
        const Lock device(deviceLock);
        if (!isFresh(scrub, frame)) return ScrubOutcome::Done;
        if (frame.number < shown.number) ++olderAfterNewer;
        if (frame.number == shown.number && (shown.exact || !frame.exact)) ++exactReplaced;
        if (frame.number < scrub.previewRequestId) ++olderAfterNewer;
        shown = frame;
        publishPreview(scrub, frame);
        return ScrubOutcome::Done;
    }

    void note(double seconds) { ++claims[static_cast<std::size_t>(seconds)]; }

    ScrubCalls calls(RandomChoices& choices) {
        ScrubCalls made;
        made.decodeKey = [this, &choices](double seconds) {
            note(seconds);
            const bool missed = choices.percent(3);
            return DecodedPreview{missed ? ScrubOutcome::Missed : ScrubOutcome::Done, seconds,
                                  choices.percent(3)};
        };
        made.decodeExact = [](double seconds, const std::function<bool()>& superseded) {
            return superseded() ? DecodedPreview{} : DecodedPreview{ScrubOutcome::Done, seconds};
        };
        made.deliver = [this](const PreviewFrame& frame) {
            return deliver(frame);
        };
        made.sleep = [](std::int32_t) {
            std::this_thread::yield();
        };
        return made;
    }

    Mutex deviceLock;
    ScrubRequest scrub;
    PreviewFrame shown GUARDED_BY(deviceLock);
    std::vector<std::atomic<std::uint8_t>> claims =
        std::vector<std::atomic<std::uint8_t>>(static_cast<std::size_t>(REQUESTS) + 1);
    std::atomic<int> olderAfterNewer{0};
    std::atomic<int> exactReplaced{0};
};

TEST_F(ScrubThreads, NoRequestIsTakenTwiceAndNoOlderPictureFollowsANewerOne) {
    scrub.decodersRunning = true;
    std::vector<std::thread> decoders;
    for (std::uint64_t i = 0; i < DECODERS; ++i) {
        decoders.emplace_back([this, i] {
            RandomChoices choices(i);
            runScrubLoop(scrub, calls(choices));
        });
    }
    RandomChoices choices(50);
    std::int64_t asked = 0;
    while (asked < REQUESTS) {
        requestPreview(scrub, static_cast<double>(++asked));
        // A hand that moves, rests a little, or rests until its exact frame is there.
        const std::uint32_t pause = choices.below(10'000);
        if (pause < 2'000) std::this_thread::yield();
        if (pause == 0) {
            const std::int64_t number = scrub.scrubRequested;
            while (scrub.previewRequestId < number) std::this_thread::yield();
        }
        if (pause == 1) {
            const Lock device(deviceLock);
            supersedePreviews(scrub);
            shown = {.number = scrub.previewRequestId, .exact = true};
        }
    }
    while (scrub.scrubClaimed < scrub.scrubRequested) std::this_thread::yield();
    while (scrub.previewRequestId < scrub.scrubRequested) std::this_thread::yield();
    scrub.decodersRunning = false;
    for (std::thread& decoder : decoders) decoder.join();
    EXPECT_EQ(std::count_if(claims.begin(), claims.end(), [](const auto& n) { return n > 1; }), 0);
    EXPECT_EQ(claims.back(), 1);
    EXPECT_EQ(olderAfterNewer, 0);
    EXPECT_EQ(exactReplaced, 0);
    const Lock device(deviceLock);
    EXPECT_EQ(shown.number, scrub.scrubRequested);
    EXPECT_EQ(scrub.previewTime, static_cast<double>(REQUESTS));
}

} // namespace
} // namespace velkantrix
