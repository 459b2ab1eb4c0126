#include "playback/peak_table.h"

#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <thread>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

using testing::Each;
using testing::ElementsAre;
using testing::IsEmpty;
using testing::SizeIs;

using Samples = std::vector<std::int16_t>;

std::span<const std::byte> bytes(const Samples& samples) {
    return std::as_bytes(std::span(samples));
}

std::vector<float> taken(PeakTable& table) {
    std::vector<float> peaks;
    takePeaks(table, peaks);
    return peaks;
}

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
    EXPECT_EQ(table.audioPeaksValid, 2048);
    add({16384, 0});
    EXPECT_EQ(at(2048), 0.5F);
    EXPECT_EQ(table.audioPeaksValid, 2050);
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

TEST_F(PeakFillerTest, TimesThatAreALittleOffOrGoBackCountForNothing) {
    add(Samples(2048));
    for (const Ticks time : {Ticks{0}, Ticks{-1}, TICKS_PER_SECOND / 2, TICKS_PER_SECOND * 59 / 100,
                             std::numeric_limits<Ticks>::min()}) {
        filler.continueAt(time);
        EXPECT_EQ(table.audioPeaksValid, 2048) << time;
    }
    filler.continueAt(TICKS_PER_SECOND * 61 / 100);
    EXPECT_EQ(table.audioPeaksValid, 2498);
}

TEST_F(PeakFillerTest, ATimeWithoutBoundsIsTheSourcesEnd) {
    filler.continueAt(std::numeric_limits<Ticks>::max());
    EXPECT_EQ(table.audioPeaksValid, 4096);
    add({16384});
    EXPECT_EQ(at(4095), 0.5F);
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

// Beside a plain computation

struct PlainTable {
    std::vector<float> peaks = std::vector<float>(4096);
    int valid = 0;
    std::uint64_t frames = 0;
};

// Frame by frame, as the definition says.
void addPlainly(PlainTable& table, PcmFormat format, double duration, const Samples& samples) {
    const std::uint64_t count = samples.size() / format.channels;
    for (std::uint64_t i = 0; i < count; i += 4) {
        int peak = 0;
        for (std::uint64_t c = 0; c < format.channels; ++c)
            peak = std::max(peak, std::abs(int{samples[i * format.channels + c]}));
        const auto f = static_cast<double>(table.frames + i);
        const double place = std::trunc((f / format.rate) / duration * 4096);
        const auto bucket = static_cast<std::size_t>(std::min(place, 4095.0));
        table.peaks[bucket] = std::max(table.peaks[bucket], static_cast<float>(peak) / 32768.0F);
    }
    table.frames += count;
    const double passed =
        std::trunc((static_cast<double>(table.frames) / format.rate) / duration * 4096);
    table.valid = std::max(table.valid, static_cast<int>(std::min(passed, 4096.0)));
}

constexpr std::uint32_t KNOWN_RATES[] = {1,      8'000,  11'025, 22'050,  24'000,
                                         32'000, 44'100, 48'000, 192'000, 4'294'967'295};

double anyDuration(RandomChoices& choices) {
    constexpr double KNOWN[] = {1e-300, 1e-9, 0.02, 1,     12.010667,
                                3600,   7200, 1e9,  1e300, std::numeric_limits<double>::infinity()};
    if (choices.percent(20)) return KNOWN[choices.below(10)];
    return (choices.below(2'000'000) + 1) / 100'000.0;
}

Samples anySamples(RandomChoices& choices, std::uint32_t channels) {
    Samples samples(choices.percent(10) ? choices.below(9)
                                        : choices.below(choices.percent(10) ? 60'000 : 3000));
    const std::uint32_t loudness = choices.between(1, 65'536);
    for (std::int16_t& sample : samples)
        sample = static_cast<std::int16_t>(static_cast<std::int32_t>(choices.below(loudness)) -
                                           static_cast<std::int32_t>(loudness / 2));
    if (channels > 1 && choices.percent(50)) samples.resize(samples.size() / channels * channels);
    return samples;
}

TEST(PeakFillerProperty, AnySoundGivesWhatAPlainComputationDoes) {
    RandomChoices choices(47);
    const std::uint64_t rounds = propertyRounds(400);
    for (std::uint64_t round = 0; round < rounds; ++round) {
        const PcmFormat format = {.rate = choices.percent(50) ? KNOWN_RATES[choices.below(10)]
                                                              : choices.between(1, 100'000),
                                  .channels = choices.between(1, 8)};
        const double duration = anyDuration(choices);
        PeakTable table;
        PeakFiller filler(table, format, duration);
        PlainTable plain;
        for (std::uint32_t blocks = choices.between(1, 30); blocks > 0; --blocks) {
            const Samples samples = anySamples(choices, format.channels);
            const std::vector<float> before = taken(table);
            filler.add(bytes(samples));
            addPlainly(plain, format, duration, samples);
            ASSERT_EQ(table.audioPeaksValid, plain.valid) << "round " << round;
            ASSERT_EQ(table.audioPeaks, plain.peaks) << "round " << round;
            // What was complete stays as it was, but for the last bucket of all.
            for (std::size_t i = 0; i < std::min<std::size_t>(before.size(), 4095); ++i)
                ASSERT_EQ(before[i], table.audioPeaks[i]) << "round " << round;
        }
    }
}

// A reader beside the writer: what it sees doesn't change any more, but for the last bucket.
TEST(PeakTableThreads, WhatIsCompleteCanBeTakenWhileTheRestIsFilled) {
    constexpr std::int32_t ROUNDS = 30;
    for (std::int32_t round = 0; round < ROUNDS; ++round) {
        PeakTable table;
        std::atomic<bool> done{false};
        std::thread writer([&] {
            PeakFiller filler(table, {.rate = 48'000, .channels = 2}, 0.5);
            RandomChoices choices(static_cast<std::uint64_t>(round));
            for (int block = 0; block < 60; ++block) filler.add(bytes(anySamples(choices, 2)));
            filler.finish();
            done = true;
        });
        std::vector<float> before;
        std::vector<float> now;
        for (bool last = false; !last;) {
            last = done;
            takePeaks(table, now);
            ASSERT_GE(now.size(), before.size());
            for (std::size_t i = 0; i < std::min<std::size_t>(before.size(), 4095); ++i)
                ASSERT_EQ(now[i], before[i]) << i;
            ASSERT_GE(lastPeak(now), before.size() == 4096 ? lastPeak(before) : 0);
            before.swap(now);
        }
        writer.join();
        EXPECT_THAT(before, SizeIs(4096));
    }
}

} // namespace
} // namespace velkantrix
