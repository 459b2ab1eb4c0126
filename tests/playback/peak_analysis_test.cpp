#include "playback/peak_analysis.h"

#include <atomic>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <thread>
#include <vector>

#include <gtest/gtest.h>

namespace velkantrix {
namespace {

// A second of 4096 frames: each read brings one of them, and completes a bucket.
class PeakAnalysisTest : public testing::Test {
protected:
    using Answer = std::function<PeakRead(int read)>; // from 1 on

    void analyse(const Answer& answer) {
        PeakFiller filler(table, {.rate = 4096, .channels = 1}, 1);
        analysePeaks(filler, {.isWanted = [this] { return wanted; },
                              .readNext =
                                  [&](PeakFiller& into) {
                                      const PeakRead read = answer(++reads);
                                      if (read == PeakRead::GoesOn && bringsSound) into.add(frame);
                                      return read;
                                  }});
    }

    PeakTable table;
    const std::vector<std::byte> frame = {std::byte{0}, std::byte{0x40}};
    bool wanted = true;
    bool bringsSound = true;
    int reads = 0;
};

TEST_F(PeakAnalysisTest, TheEndOfTheSoundCompletesTheTable) {
    analyse([](int read) { return read < 3 ? PeakRead::GoesOn : PeakRead::Ended; });
    EXPECT_EQ(reads, 3);
    EXPECT_EQ(table.audioPeaksValid, 4096);
    EXPECT_EQ(table.audioPeaks[0], 0.5F);
    EXPECT_EQ(table.audioPeaks[1], 0.5F);
    EXPECT_EQ(table.audioPeaks[2], 0);
}

TEST_F(PeakAnalysisTest, AFailedReadLeavesItAsFarAsItGot) {
    analyse([](int read) { return read < 6 ? PeakRead::GoesOn : PeakRead::Failed; });
    EXPECT_EQ(reads, 6);
    EXPECT_EQ(table.audioPeaksValid, 5);
}

TEST_F(PeakAnalysisTest, AReadWithoutSoundIsNotTheEnd) {
    bringsSound = false;
    analyse([this](int read) {
        bringsSound = read == 4;
        return read < 5 ? PeakRead::GoesOn : PeakRead::Failed;
    });
    EXPECT_EQ(table.audioPeaksValid, 1);
}

TEST_F(PeakAnalysisTest, OnceItIsNotWantedNothingMoreIsRead) {
    analyse([this](int read) {
        wanted = read < 4;
        return PeakRead::GoesOn;
    });
    EXPECT_EQ(reads, 4);
    EXPECT_EQ(table.audioPeaksValid, 4);
}

TEST_F(PeakAnalysisTest, WhatIsNotWantedAtAllIsNotRead) {
    wanted = false;
    analyse([](int) { return PeakRead::Ended; });
    EXPECT_EQ(reads, 0);
    EXPECT_EQ(table.audioPeaksValid, 0);
}

TEST_F(PeakAnalysisTest, SoundWithoutAnEndIsGivenUp) {
    bringsSound = false;
    analyse([](int) { return PeakRead::GoesOn; });
    EXPECT_EQ(reads, 20'000'000);
    EXPECT_EQ(table.audioPeaksValid, 0);
}

TEST_F(PeakAnalysisTest, TheLastReadThatIsAllowedMayBeTheEnd) {
    bringsSound = false;
    analyse([](int read) { return read < 20'000'000 ? PeakRead::GoesOn : PeakRead::Ended; });
    EXPECT_EQ(table.audioPeaksValid, 4096);
}

// Starting another analysis from a second thread, as the program does.
TEST(PeakAnalysisThreads, AnotherGenerationStopsOneThatGoesOn) {
    for (std::int32_t round = 0; round < 50; ++round) {
        PeakTable table;
        std::atomic<std::int32_t> generation{round};
        std::atomic<std::int32_t> reads{0};
        std::thread worker([&table, &generation, &reads, round] {
            const std::vector<std::byte> block(4096);
            PeakFiller filler(table, {.rate = 4096, .channels = 1}, 1e6);
            analysePeaks(filler, {.isWanted = [&] { return generation == round; },
                                  .readNext =
                                      [&](PeakFiller& into) {
                                          into.continueAt(TICKS_PER_SECOND * (reads % 7));
                                          into.add(block);
                                          ++reads;
                                          return PeakRead::GoesOn;
                                      }});
        });
        std::vector<float> peaks;
        while (reads < round) takePeaks(table, peaks);
        ++generation;
        const std::int32_t read = reads;
        worker.join();
        EXPECT_LE(reads, read + 1); // one may have been under way
        EXPECT_LT(table.audioPeaksValid, 4096);
    }
}

} // namespace
} // namespace velkantrix
