// The table of peaks beside a plain computation, and filled and read at once.
#include <algorithm>
#include <atomic>
#include <cmath>
#include <cstdlib>
#include <limits>
#include <thread>
#include <utility>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/playback/peak_samples.h"
#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

struct PlainTable {
    std::vector<float> peaks = std::vector<float>(4096);
    int valid = 0;
    std::int64_t frames = 0;
    std::int64_t sure = 0; // as far as times agreed
    bool waits = false;    // for a time that agrees with the jump ahead
};

void passPlainly(PlainTable& table, PcmFormat format, double duration) {
    if (table.waits) return;
    table.sure = std::max(table.sure, table.frames);
    const double passed =
        std::trunc((static_cast<double>(table.frames) / format.rate) / duration * 4096);
    table.valid = std::max(table.valid, static_cast<int>(std::clamp(passed, 0.0, 4096.0)));
}

// Frame by frame, as the definition says.
void addPlainly(PlainTable& table, PcmFormat format, double duration, const Samples& samples) {
    const std::size_t count = samples.size() / format.channels;
    for (std::size_t i = 0; i < count; i += 4) {
        int peak = 0;
        for (std::size_t c = 0; c < format.channels; ++c)
            peak = std::max(peak, std::abs(int{samples[i * format.channels + c]}));
        const auto f = static_cast<double>(table.frames + static_cast<std::int64_t>(i));
        if (f < 0) continue;
        const double place = std::trunc((f / format.rate) / duration * 4096);
        const auto bucket = static_cast<std::size_t>(std::min(place, 4095.0));
        table.peaks[bucket] = std::max(table.peaks[bucket], static_cast<float>(peak) / 32768.0F);
    }
    table.frames += static_cast<std::int64_t>(count);
    passPlainly(table, format, duration);
}

void movePlainly(PlainTable& table, PcmFormat format, double duration, Ticks time) {
    const double place = static_cast<double>(time) / 10'000'000 * format.rate;
    const double here = static_cast<double>(table.frames);
    const bool moves = std::abs(place - here) > 0.1 * format.rate;
    if (moves) table.frames = static_cast<std::int64_t>(std::clamp(place, -0x1p53, 0x1p53));
    table.waits = moves && table.frames > table.sure;
    passPlainly(table, format, duration);
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

// Near where the sound is, in the source, or anywhere.
Ticks anyTime(RandomChoices& choices, double here, double duration) {
    constexpr Ticks KNOWN[] = {0, -1, std::numeric_limits<Ticks>::min(),
                               std::numeric_limits<Ticks>::max()};
    if (choices.percent(5)) return KNOWN[choices.below(4)];
    if (choices.percent(10)) return TICKS_PER_SECOND * choices.below(100) - TICKS_PER_SECOND * 50;
    const double off = (choices.below(400'001) - 200'000.0) / 1'000'000; // seconds, to 0.2
    const double share = choices.below(1'000'001) / 1'000'000.0;
    const double seconds = choices.percent(50) ? here + off : duration * share;
    return static_cast<Ticks>(std::clamp(seconds, -1e6, 1e6) * TICKS_PER_SECOND);
}

TEST(PeakFillerProperty, WhateverTheTimesSayAPlainComputationFindsTheSame) {
    RandomChoices choices(48);
    const std::uint64_t rounds = propertyRounds(400);
    for (std::uint64_t round = 0; round < rounds; ++round) {
        const auto anyFormat = [&] {
            return PcmFormat{.rate = choices.percent(50) ? KNOWN_RATES[choices.below(10)]
                                                         : choices.between(1, 100'000),
                             .channels = choices.between(1, 8)};
        };
        PcmFormat format = anyFormat();
        const double duration = anyDuration(choices);
        PeakTable table;
        PeakFiller filler(table, format, duration);
        PlainTable plain;
        for (std::uint32_t blocks = choices.between(1, 30); blocks > 0; --blocks) {
            const std::vector<float> before = taken(table);
            const std::uint32_t changes = changesOf(table);
            if (choices.percent(10)) {
                const PcmFormat next = anyFormat();
                for (std::int64_t* const frames : {&plain.frames, &plain.sure}) {
                    const double place = static_cast<double>(*frames) / format.rate * next.rate;
                    *frames =
                        static_cast<std::int64_t>(std::clamp(std::ceil(place), -0x1p53, 0x1p53));
                }
                format = next;
                filler.changeFormat(format);
            }
            const double here = static_cast<double>(plain.frames) / format.rate;
            const Ticks time = anyTime(choices, here, duration);
            filler.continueAt(time);
            movePlainly(plain, format, duration, time);
            const Samples samples = anySamples(choices, format.channels);
            filler.add(bytes(samples));
            addPlainly(plain, format, duration, samples);
            ASSERT_EQ(table.audioPeaksValid, plain.valid) << "round " << round;
            ASSERT_EQ(table.audioPeaks, plain.peaks) << "round " << round;
            ASSERT_EQ(taken(table) != before, changesOf(table) != changes) << "round " << round;
        }
    }
}

// A writer whose sound jumps, and changes its format.
void fillAnyhow(PeakTable& table, RandomChoices& choices) {
    PcmFormat format = {.rate = 48'000, .channels = 2};
    PeakFiller filler(table, format, 0.5);
    for (int block = 0; block < 60; ++block) {
        if (choices.percent(10)) {
            format = {.rate = choices.between(8'000, 96'000), .channels = choices.between(1, 8)};
            filler.changeFormat(format);
        }
        if (choices.percent(30)) filler.continueAt(anyTime(choices, 0, 0.5));
        filler.add(bytes(anySamples(choices, format.channels)));
    }
    filler.finish();
}

// A reader beside the writer: what it sees only grows, and whoever asked for the changes first and
// finds the same number again misses nothing.
TEST(PeakTableThreads, WhatIsCompleteOnlyGrowsAndItsChangesAreCounted) {
    constexpr std::uint64_t ROUNDS = 30;
    for (std::uint64_t round = 0; round < ROUNDS; ++round) {
        PeakTable table;
        std::atomic<bool> done{false};
        std::thread writer([&] {
            RandomChoices choices(round);
            fillAnyhow(table, choices);
            done = true;
        });
        std::uint32_t drawnChanges = 0;
        std::vector<float> drawn; // at the last change
        std::vector<float> before;
        std::vector<float> now;
        for (bool last = false; !last;) {
            last = done;
            const std::uint32_t changes = changesOf(table);
            takePeaks(table, now);
            const bool grows = now.size() >= before.size() &&
                               std::equal(before.begin(), before.end(), now.begin(),
                                          [](float was, float is) { return was <= is; });
            EXPECT_TRUE(grows);
            if (changes != drawnChanges || last) before = now;
            if (changes != drawnChanges) drawn = now;
            drawnChanges = changes;
        }
        writer.join();
        EXPECT_EQ(drawn, taken(table));
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
            const bool isFull = before.size() == 4096;
            ASSERT_GE(isFull ? now.back() : 0, isFull ? before.back() : 0);
            before.swap(now);
        }
        writer.join();
        EXPECT_THAT(before, testing::SizeIs(4096));
    }
}

} // namespace
} // namespace velkantrix
