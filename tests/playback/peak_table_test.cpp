#include "playback/peak_table.h"

#include <algorithm>
#include <limits>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/playback/peak_samples.h"
#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

constexpr PcmFormat MONO = {.rate = 4096, .channels = 1};

// With a source of a second and 4096 frames a second, a bucket is one frame.
class PeakFillerTest : public testing::Test {
protected:
    void add(const Samples& samples) { filler.add(bytes(samples)); }

    [[nodiscard]] float at(std::size_t bucket) const { return table.audioPeaks[bucket]; }

    PeakTable table;
    PeakFiller filler{table, MONO, 1};
};

TEST_F(PeakFillerTest, BeforeAnythingIsAddedAllIsZeroAndNothingValid) {
    EXPECT_THAT(table.audioPeaks, SizeIs(4096));
    EXPECT_THAT(table.audioPeaks, Each(0.0F));
    EXPECT_EQ(table.audioPeaksValid, 0);
    EXPECT_THAT(taken(table), IsEmpty());
}

TEST_F(PeakFillerTest, OfFourFramesOnlyTheFirstIsLookedAt) {
    add({1024, 32767, 32767, 32767, 2048, 32767});
    EXPECT_THAT(taken(table), ElementsAre(1024 / 32768.F, 0, 0, 0, 2048 / 32768.F, 0));
}

TEST_F(PeakFillerTest, EachBlockIsLookedAtFromItsFirstFrameOn) {
    add({1024, 32767, 32767, 32767, 2048, 32767});
    add({4096, 32767});
    add({8192});
    EXPECT_EQ(at(6), 4096 / 32768.F);
    EXPECT_EQ(at(7), 0);
    EXPECT_EQ(at(8), 8192 / 32768.F);
}

TEST_F(PeakFillerTest, TheLowestSampleIsFullScaleAndTheHighestAlmost) {
    add({-32768});
    add({32767});
    EXPECT_EQ(at(0), 1);
    EXPECT_EQ(at(1), 32767 / 32768.F);
}

TEST_F(PeakFillerTest, NegativeSamplesCountAsLoudAsPositiveOnes) {
    add({-1024});
    EXPECT_EQ(at(0), 1024 / 32768.F);
}

TEST_F(PeakFillerTest, ValidAreTheBucketsThatWerePassed) {
    add(Samples(100));
    EXPECT_EQ(table.audioPeaksValid, 100);
    add({});
    EXPECT_EQ(table.audioPeaksValid, 100);
    add(Samples(3995));
    EXPECT_EQ(table.audioPeaksValid, 4095);
    add(Samples(1));
    EXPECT_EQ(table.audioPeaksValid, 4096);
    add(Samples(5000));
    EXPECT_EQ(table.audioPeaksValid, 4096);
}

TEST_F(PeakFillerTest, SoundThatIsLongerThanTheSourceRaisesTheLastBucket) {
    add(Samples(4096, 512));
    const Samples excess(100'000, 16384);
    add(excess);
    EXPECT_EQ(at(4094), 0); // only its every fourth neighbour was looked at
    EXPECT_EQ(at(4092), 512 / 32768.F);
    EXPECT_EQ(at(4095), 0.5F);
    EXPECT_EQ(taken(table).back(), 0.5F);
}

TEST_F(PeakFillerTest, AQuieterFrameLeavesTheBucketsPeak) {
    PeakFiller slow(table, MONO, 10); // ten frames a bucket
    const Samples samples = {8192, 0, 0, 0, 4096, 0, 0, 0, 1024, 0, 512};
    slow.add(bytes(samples));
    EXPECT_EQ(at(0), 0.25F);
    EXPECT_EQ(at(1), 0);
}

TEST_F(PeakFillerTest, OfSeveralChannelsTheLoudestCounts) {
    for (std::uint32_t channels = 2; channels <= 8; ++channels) {
        for (std::size_t loud = 0; loud < channels; ++loud) {
            PeakTable other;
            PeakFiller wide(other, {.rate = 4096, .channels = channels}, 1);
            Samples frames(std::size_t{channels} * 5, 32);
            frames[loud] = -64;
            for (std::size_t i = channels; i < std::size_t{channels} * 4; ++i) frames[i] = 32767;
            frames[channels * std::size_t{4} + loud] = 96;
            wide.add(bytes(frames));
            EXPECT_THAT(taken(other), ElementsAre(64 / 32768.F, 0, 0, 0, 96 / 32768.F))
                << channels << ' ' << loud;
        }
    }
}

TEST_F(PeakFillerTest, WhatIsLeftOfAFrameAtABlocksEndIsDropped) {
    PeakFiller stereo(table, {.rate = 4096, .channels = 2}, 1);
    const Samples samples = {1, 2, 3, 4, 5, 6, 7, 8, 32767};
    stereo.add(bytes(samples));
    EXPECT_EQ(table.audioPeaksValid, 4);
    EXPECT_EQ(at(4), 0);
    stereo.add(bytes(samples).first(7));
    EXPECT_EQ(table.audioPeaksValid, 5);
    for (std::size_t size = 0; size < 4; ++size) stereo.add(bytes(samples).first(size));
    EXPECT_EQ(table.audioPeaksValid, 5);
}

TEST_F(PeakFillerTest, TheBytesNeedNoAlignment) {
    const std::vector<std::byte> block = {std::byte{9}, std::byte{0}, std::byte{0x40}};
    filler.add(std::span(block).subspan(1));
    EXPECT_EQ(at(0), 0.5F);
}

TEST_F(PeakFillerTest, TheEndMakesAllOfTheTableValid) {
    add({16384});
    filler.finish();
    EXPECT_EQ(table.audioPeaksValid, 4096);
    EXPECT_THAT(taken(table), SizeIs(4096));
    EXPECT_EQ(taken(table).front(), 0.5F);
}

// Where sound begins

TEST_F(PeakFillerTest, SoundThatBeginsLateIsSilentUpToThere) {
    filler.continueAt(TICKS_PER_SECOND / 2);
    add({16384, 0});
    EXPECT_EQ(at(2048), 0.5F);
    EXPECT_EQ(table.audioPeaksValid, 0); // one time alone may be wrong
    filler.continueAt(TICKS_PER_SECOND / 2);
    EXPECT_EQ(table.audioPeaksValid, 2050);
    add({0});
    EXPECT_EQ(table.audioPeaksValid, 2051);
    for (std::size_t i = 0; i < 2048; ++i) ASSERT_EQ(at(i), 0) << i;
}

TEST_F(PeakFillerTest, AGapWithinIsSilentToo) {
    add(Samples(409, 16384));
    filler.continueAt(TICKS_PER_SECOND * 3 / 4);
    add({16384});
    EXPECT_EQ(at(408), 0.5F);
    for (std::size_t i = 409; i < 3072; ++i) ASSERT_EQ(at(i), 0) << i;
    EXPECT_EQ(at(3072), 0.5F);
}

TEST_F(PeakFillerTest, TimesThatAreALittleOffCountForNothing) {
    add(Samples(2048));
    for (const Ticks time :
         {TICKS_PER_SECOND / 2, TICKS_PER_SECOND * 41 / 100, TICKS_PER_SECOND * 59 / 100}) {
        filler.continueAt(time);
        add({});
        EXPECT_EQ(table.audioPeaksValid, 2048) << time;
    }
    add({16384});
    EXPECT_EQ(at(2048), 0.5F);
    filler.continueAt(TICKS_PER_SECOND * 61 / 100);
    add({16384});
    EXPECT_EQ(at(2048 + 450), 0.5F);
}

TEST_F(PeakFillerTest, ATimeThatGoesBackMovesTheSoundThere) {
    add(Samples(2048, 512));
    filler.continueAt(TICKS_PER_SECOND / 4);
    EXPECT_EQ(table.audioPeaksValid, 2048);
    add({16384});
    EXPECT_EQ(at(1024), 0.5F);
    EXPECT_EQ(at(2048), 0);
    EXPECT_EQ(table.audioPeaksValid, 2048);
    add(Samples(1024));
    EXPECT_EQ(table.audioPeaksValid, 2049);
}

TEST_F(PeakFillerTest, OneWrongTimeSpoilsNoMoreThanItsBlock) {
    for (const Ticks wrong : {TICKS_PER_SECOND * 3 / 4, std::numeric_limits<Ticks>::max(), Ticks{0},
                              std::numeric_limits<Ticks>::min()}) {
        PeakTable other;
        PeakFiller spoilt(other, MONO, 1);
        for (int block = 0; block < 8; ++block) {
            spoilt.continueAt(block == 2 ? wrong : TICKS_PER_SECOND * block / 8);
            spoilt.add(bytes(Samples(512, static_cast<std::int16_t>(1024 * (block + 1)))));
        }
        for (const int block : {1, 3, 4, 5})
            EXPECT_EQ(other.audioPeaks[static_cast<std::size_t>(block) * 512 + 8],
                      static_cast<float>(block + 1) / 32)
                << wrong << ' ' << block;
        EXPECT_EQ(other.audioPeaks[2 * 512 + 8], 0);
        EXPECT_EQ(other.audioPeaksValid, 4096);
    }
}

TEST_F(PeakFillerTest, WhatLiesInFrontOfAWrongTimeDoesNotCountAsComplete) {
    add(Samples(512));
    for (const int eighths : {6, 7, 5}) { // wrong ones, beyond each other and back
        filler.continueAt(TICKS_PER_SECOND * eighths / 8);
        add(Samples(8));
        EXPECT_EQ(table.audioPeaksValid, 512) << eighths;
    }
    filler.continueAt(TICKS_PER_SECOND / 8);
    EXPECT_EQ(table.audioPeaksValid, 512);
    add(Samples(8));
    EXPECT_EQ(table.audioPeaksValid, 520);
}

TEST_F(PeakFillerTest, BlocksThatCantBeReadMoveNothingBehindThem) {
    add(Samples(512));
    EXPECT_TRUE(filler.passOver(TICKS_PER_SECOND / 16)); // 256 frames
    EXPECT_EQ(table.audioPeaksValid, 512);
    add({16384});
    EXPECT_EQ(table.audioPeaks[767], 0);
    EXPECT_EQ(table.audioPeaks[768], 0.5F);
    EXPECT_EQ(table.audioPeaksValid, 769);
}

TEST_F(PeakFillerTest, OnlySoManyBlocksInARowCantBeRead) {
    for (int row = 0; row < 2; ++row) {
        for (int i = 0; i < 8; ++i) EXPECT_TRUE(filler.passOver(1));
        add(Samples(4));
    }
    for (int i = 0; i < 8; ++i) EXPECT_TRUE(filler.passOver(1));
    EXPECT_FALSE(filler.passOver(1));
}

TEST_F(PeakFillerTest, TheEndBearsOutAGap) {
    filler.continueAt(TICKS_PER_SECOND / 2);
    add({16384});
    filler.finish();
    EXPECT_EQ(table.audioPeaksValid, 4096);
}

TEST_F(PeakFillerTest, WhatLiesBeforeTheStartIsLeftOut) {
    filler.continueAt(-TICKS_PER_SECOND / 2); // 2048 frames
    EXPECT_EQ(table.audioPeaksValid, 0);
    Samples samples(2056, 32767);
    std::fill(samples.begin() + 2048, samples.end(), std::int16_t{8192});
    add(samples);
    EXPECT_EQ(table.audioPeaksValid, 8);
    EXPECT_THAT(taken(table), ElementsAre(0.25F, 0, 0, 0, 0.25F, 0, 0, 0));
    add({16384});
    EXPECT_EQ(at(8), 0.5F);
}

TEST_F(PeakFillerTest, BlocksThatEndBeforeTheStartLeaveNothing) {
    filler.continueAt(-TICKS_PER_SECOND);
    for (int i = 0; i < 3; ++i) add(Samples(1024, 32767));
    EXPECT_EQ(table.audioPeaksValid, 0);
    EXPECT_THAT(table.audioPeaks, Each(0.0F));
    add(Samples(1024, 32767));
    EXPECT_EQ(table.audioPeaksValid, 0);
    add({16384});
    EXPECT_EQ(at(0), 0.5F);
}

// The frames that are looked at stay every fourth of the block: here its frame 8 is the third.
TEST_F(PeakFillerTest, ABlockOnBothSidesOfTheStartIsLookedAtFromItsOwnFirstFrame) {
    PeakFiller early(table, {.rate = 8, .channels = 1}, 512); // a frame a bucket
    early.continueAt(-TICKS_PER_SECOND * 5 / 8);              // 5 frames
    early.add(bytes({1, 2, 3, 4, 5, 6, 7, 8, 9, 10}));
    EXPECT_THAT(taken(table), ElementsAre(0, 0, 0, 9 / 32768.F, 0));
}

// Taken as two channels they are eight times as many frames as they are; their times say so.
TEST_F(PeakFillerTest, SixteenChannelsTakenAsTwoArePutRightByTheirTimes) {
    constexpr int BLOCKS = 1000; // of a fiftieth of a second
    PeakFiller wide(table, usableFormat({.rate = 48'000, .channels = 16}), BLOCKS / 50.0);
    for (int block = 0; block < BLOCKS; ++block) {
        wide.continueAt(TICKS_PER_SECOND * block / 50);
        const std::int16_t loudness = block >= 500 && block < 700 ? 16384 : 256;
        wide.add(bytes(Samples(std::size_t{48'000} / 50 * 16, loudness)));
    }
    wide.finish();
    const auto bucketAt = [](double seconds) {
        return static_cast<std::size_t>(seconds * 50 / BLOCKS * 4096);
    };
    // A block reaches over its own end by seven times its length, and begins up to 0.1 s off.
    for (std::size_t i = bucketAt(10.3); i < bucketAt(13.7); ++i) ASSERT_EQ(at(i), 0.5F) << i;
    for (std::size_t i = bucketAt(0.3); i < bucketAt(9.7); ++i) ASSERT_EQ(at(i), 256 / 32768.F);
    for (std::size_t i = bucketAt(14.3); i < bucketAt(19.7); ++i) ASSERT_EQ(at(i), 256 / 32768.F);
}

// A clock that is off by a thousandth: after an hour by 3.6 seconds.
TEST_F(PeakFillerTest, ManySmallDifferencesComeToOneThatCounts) {
    constexpr int SECONDS = 3600;
    PeakFiller drifting(table, {.rate = 1000, .channels = 1}, SECONDS);
    for (int second = 0; second < SECONDS; ++second) {
        drifting.continueAt(TICKS_PER_SECOND * second);
        drifting.add(bytes(Samples(1001, second == 3500 ? 16384 : 0)));
    }
    const auto bucket = static_cast<std::size_t>(3500.5 / SECONDS * 4096);
    EXPECT_EQ(at(bucket), 0.5F);
    EXPECT_EQ(at(bucket + 3), 0);
    EXPECT_EQ(at(bucket - 3), 0);
}

TEST_F(PeakFillerTest, ATimeWithoutBoundsIsTheSourcesEnd) {
    filler.continueAt(std::numeric_limits<Ticks>::max());
    add({16384});
    EXPECT_EQ(at(4095), 0.5F);
    filler.continueAt(std::numeric_limits<Ticks>::max());
    EXPECT_EQ(table.audioPeaksValid, 4096);
}

// Changes of what is complete

TEST_F(PeakFillerTest, WhateverChangesOfWhatIsCompleteIsCounted) {
    EXPECT_EQ(changesOf(table), 0);
    std::uint32_t before = 0;
    const auto hasChanged = [&] {
        const std::uint32_t now = changesOf(table);
        return std::exchange(before, now) != now;
    };
    add({});
    filler.continueAt(0);
    EXPECT_FALSE(hasChanged());
    add(Samples(2048, 512));
    EXPECT_TRUE(hasChanged());
    filler.continueAt(TICKS_PER_SECOND / 4);
    add({256});
    EXPECT_FALSE(hasChanged()); // softer than what is there
    add({1024});
    EXPECT_TRUE(hasChanged()); // as many, one of them louder
    filler.continueAt(TICKS_PER_SECOND * 3 / 4);
    EXPECT_FALSE(hasChanged());
    filler.continueAt(TICKS_PER_SECOND * 3 / 4);
    EXPECT_TRUE(hasChanged()); // a gap
    filler.finish();
    EXPECT_TRUE(hasChanged());
    filler.finish();
    EXPECT_FALSE(hasChanged());
    filler.continueAt(TICKS_PER_SECOND * 2);
    add({2048});
    EXPECT_TRUE(hasChanged()); // sound behind the source's end
}

// Another format on the way

TEST_F(PeakFillerTest, WithAnotherFormatItGoesOnWhereItWas) {
    add(Samples(1024));
    filler.changeFormat({.rate = 8192, .channels = 2});
    EXPECT_EQ(table.audioPeaksValid, 1024);
    add({16384, 0, 0, 0}); // two frames, half a bucket each
    EXPECT_EQ(at(1024), 0.5F);
    EXPECT_EQ(table.audioPeaksValid, 1025);
    filler.changeFormat(MONO);
    add({8192});
    EXPECT_EQ(at(1025), 0.25F);
}

TEST_F(PeakFillerTest, WhatIsCompleteStaysSoWithAnotherFormat) {
    RandomChoices choices(7);
    for (int round = 0; round < 2000; ++round) {
        const auto anyFormat = [&] {
            return PcmFormat{.rate = choices.between(1, 200'000), .channels = 1};
        };
        PeakTable other;
        PeakFiller changing(other, anyFormat(), choices.between(1, 1000) / 100.0);
        changing.add(bytes(Samples(choices.below(3000))));
        const std::vector<float> before = taken(other);
        changing.changeFormat(anyFormat());
        changing.add(bytes(Samples(choices.between(1, 3000), -32768)));
        ASSERT_GE(taken(other).size(), before.size());
        for (std::size_t i = 0; i < std::min<std::size_t>(before.size(), 4095); ++i)
            ASSERT_EQ(other.audioPeaks[i], before[i]) << round << ' ' << i;
    }
}

// Formats

TEST(UsableFormat, OneToEightChannelsAreTakenAsTheyAre) {
    for (std::uint32_t channels = 1; channels <= 8; ++channels) {
        const PcmFormat format = {.rate = 44'100, .channels = channels};
        EXPECT_EQ(usableFormat(format), format);
    }
}

TEST(UsableFormat, MoreAreTakenAsTwo) {
    for (const std::uint32_t channels : {9U, 10U, 65'536U, 0xFFFFFFFFU})
        EXPECT_EQ(usableFormat({.rate = 1, .channels = channels}),
                  (PcmFormat{.rate = 1, .channels = 2}));
}

TEST(UsableFormat, WithoutARateOrAChannelThereIsNone) {
    EXPECT_EQ(usableFormat({.rate = 0, .channels = 2}), PcmFormat{});
    EXPECT_EQ(usableFormat({.rate = 48'000, .channels = 0}), PcmFormat{});
    EXPECT_EQ(usableFormat({.rate = 0, .channels = 9}), PcmFormat{});
}

} // namespace
} // namespace velkantrix
