#include "playback/peak_analysis.h"

#include <functional>
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

} // namespace
} // namespace velkantrix
