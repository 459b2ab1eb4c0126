#include "export/encode_cutter.h"

#include <algorithm>
#include <limits>
#include <vector>

#include <gtest/gtest.h>

#include "tests/support/random_choices.h"

namespace velkantrix {
namespace {

constexpr auto VIDEO = EncodedStream::Video;
constexpr auto AUDIO = EncodedStream::Audio;
constexpr Ticks SECOND = TICKS_PER_SECOND;
constexpr Ticks FRAME = SECOND / 10;
constexpr Ticks TENTH_OF_MS = SECOND / 10'000;

EncodeCutter begun(const ExportSpan& span, bool hasAudio = true) {
    EncodeCutter cutter({span});
    cutter.beginSpan(span, hasAudio);
    return cutter;
}

TEST(EncodeCutter, TakesWhatBeginsWithinTheSpan) {
    EncodeCutter cutter = begun({.start = 1, .end = 2});
    EXPECT_EQ(cutter.startTicks(), SECOND);
    EXPECT_FALSE(cutter.place(VIDEO, 0, FRAME).write);
    EXPECT_FALSE(cutter.place(VIDEO, SECOND - FRAME / 2, FRAME).write); // it lasts into the span
    const EncodeCut first = cutter.place(VIDEO, SECOND, FRAME);
    EXPECT_TRUE(first.write);
    EXPECT_EQ(first.time, 0);
    EXPECT_EQ(first.duration, FRAME);
    EXPECT_FALSE(first.shortened);
    EXPECT_EQ(cutter.place(VIDEO, SECOND + 3 * FRAME, FRAME).time, 3 * FRAME);
    EXPECT_FALSE(cutter.place(VIDEO, 2 * SECOND, FRAME).write);
}

TEST(EncodeCutter, ABeginningUpToATenthOfAMillisecondEarlierCounts) {
    EncodeCutter cutter = begun({.start = 1, .end = 2});
    EXPECT_FALSE(cutter.place(VIDEO, SECOND - TENTH_OF_MS - 1, FRAME).write);
    const EncodeCut early = cutter.place(VIDEO, SECOND - TENTH_OF_MS, FRAME);
    EXPECT_TRUE(early.write);
    EXPECT_EQ(early.time, 0);
    EXPECT_EQ(early.duration, FRAME);
}

// A cut is made at a picture whose time was rounded down in the file.
TEST(EncodeCutter, APictureAtAJoinIsInOneSpanOnly) {
    const std::vector<ExportSpan> spans = {{.start = 0, .end = 1}, {.start = 1, .end = 2}};
    for (Ticks apart = -2 * TENTH_OF_MS; apart <= 2 * TENTH_OF_MS; apart++) {
        EncodeCutter cutter(spans);
        int written = 0;
        for (const ExportSpan& span : spans) {
            cutter.beginSpan(span, false);
            written += cutter.place(VIDEO, SECOND + apart, FRAME).write ? 1 : 0;
            cutter.endSpan();
        }
        EXPECT_EQ(written, 1) << apart;
    }
}

TEST(EncodeCutter, WhatLastsLongerThanTheSpanIsShortened) {
    EncodeCutter cutter = begun({.start = 1, .end = 1.25});
    const EncodeCut last = cutter.place(VIDEO, SECOND + 2 * FRAME, FRAME);
    EXPECT_TRUE(last.shortened);
    EXPECT_EQ(last.duration, FRAME / 2);
    const EncodeCut exact = cutter.place(AUDIO, SECOND + FRAME * 3 / 2, FRAME);
    EXPECT_FALSE(exact.shortened);
    EXPECT_EQ(exact.duration, FRAME);
}

TEST(EncodeCutter, AnOnlyPictureThatBeganEarlierEndsWithTheSpan) {
    EncodeCutter cutter = begun({.start = 1, .end = 1.05});
    const EncodeCut only = cutter.place(VIDEO, SECOND - TENTH_OF_MS, FRAME);
    EXPECT_EQ(only.time, 0);
    EXPECT_EQ(only.duration, FRAME / 2);
}

TEST(EncodeCutter, AStreamIsDoneAtTheFirstSampleBehindTheSpanAndStaysSo) {
    EncodeCutter cutter = begun({.start = 1, .end = 2});
    EXPECT_FALSE(cutter.spanDone());
    EXPECT_FALSE(cutter.place(VIDEO, 2 * SECOND, FRAME).write);
    EXPECT_FALSE(cutter.place(VIDEO, SECOND, FRAME).write);
    EXPECT_FALSE(cutter.spanDone());
    EXPECT_TRUE(cutter.videoDone());
    EXPECT_FALSE(cutter.audioDone());
    EXPECT_TRUE(cutter.place(AUDIO, SECOND, FRAME).write);
    EXPECT_FALSE(cutter.place(AUDIO, 3 * SECOND, FRAME).write);
    EXPECT_TRUE(cutter.spanDone());
}

TEST(EncodeCutter, TheEndOfAStreamEndsItAlone) {
    EncodeCutter cutter = begun({.start = 1, .end = 2});
    cutter.endStream(AUDIO);
    EXPECT_FALSE(cutter.spanDone());
    EXPECT_TRUE(cutter.place(VIDEO, SECOND, FRAME).write);
    cutter.endStream(VIDEO);
    EXPECT_TRUE(cutter.spanDone());
}

TEST(EncodeCutter, WithoutSoundThePicturesAlone) {
    EncodeCutter cutter = begun({.start = 1, .end = 2}, false);
    EXPECT_FALSE(cutter.spanDone());
    cutter.endStream(VIDEO);
    EXPECT_TRUE(cutter.spanDone());
}

TEST(EncodeCutter, EachSpanTakesTheLengthAskedFor) {
    const std::vector<ExportSpan> spans = {
        {.start = 5, .end = 6.5}, {.start = 1, .end = 1.3333333}, {.start = 2, .end = 2}};
    EncodeCutter cutter(spans);
    for (const ExportSpan& span : spans) {
        cutter.beginSpan(span, true);
        cutter.endSpan(); // though nothing was in it
    }
    EXPECT_EQ(cutter.outBase(), 15'000'000 + 3'333'333);
}

TEST(EncodeCutter, FadesGoByTheTimeWithinTheSpan) {
    EncodeCutter cutter = begun({.start = 1, .end = 2, .fadeIn = 0.5, .fadeOut = 0.25});
    EXPECT_EQ(cutter.place(VIDEO, SECOND, FRAME).gain, 0);
    EXPECT_EQ(cutter.place(AUDIO, SECOND + SECOND / 4, FRAME).gain, 128);
    EXPECT_EQ(cutter.place(VIDEO, SECOND + 6 * FRAME, FRAME).gain, NO_FADE);
    EXPECT_EQ(cutter.place(VIDEO, SECOND + 9 * FRAME, FRAME).gain, 102); // 0.4 of 256
}

TEST(EncodeCutter, ProgressStopsAtTheTotal) {
    const EncodeCutter cutter({{.start = 1, .end = 2}, {.start = 5, .end = 5.5}});
    EXPECT_DOUBLE_EQ(cutter.progressAt(0), 0);
    EXPECT_DOUBLE_EQ(cutter.progressAt(12'500'000), 1.25);
    EXPECT_DOUBLE_EQ(cutter.progressAt(SECOND * 9), 1.5);
}

TEST(EncodeCutter, ASpanThatEndsBeforeItBeginsIsEmpty) {
    EncodeCutter cutter = begun({.start = 2, .end = 1});
    EXPECT_FALSE(cutter.place(VIDEO, SECOND + FRAME, FRAME).write);
    EXPECT_FALSE(cutter.place(AUDIO, 2 * SECOND, FRAME).write);
    EXPECT_TRUE(cutter.spanDone());
    cutter.endSpan();
    EXPECT_EQ(cutter.outBase(), 0);
}

TEST(EncodeCutter, TakesAnyTimes) {
    constexpr double odd[] = {0,
                              1,
                              -1,
                              1e300,
                              -1e300,
                              std::numeric_limits<double>::quiet_NaN(),
                              std::numeric_limits<double>::infinity()};
    constexpr Ticks LOWEST = std::numeric_limits<Ticks>::min();
    constexpr Ticks HIGHEST = std::numeric_limits<Ticks>::max();
    for (const double start : odd) {
        for (const double end : odd) {
            EncodeCutter cutter = begun({start, end, 1, 1});
            for (const Ticks time : {LOWEST, Ticks{-1}, Ticks{0}, SECOND, HIGHEST}) {
                for (const Ticks duration : {LOWEST, Ticks{0}, HIGHEST}) {
                    const EncodeCut cut = cutter.place(VIDEO, time, duration);
                    EXPECT_GE(cut.time, 0);
                }
            }
            cutter.endSpan();
            EXPECT_GE(cutter.outBase(), 0);
        }
    }
}

TEST(EncodeCutter, ReadAgainItDropsWhatWasPlacedAndNothingElse) {
    EncodeCutter cutter = begun({.start = 1, .end = 2});
    EXPECT_EQ(cutter.readAgain(), SECOND); // nothing was placed
    EXPECT_TRUE(cutter.place(VIDEO, SECOND - TENTH_OF_MS, FRAME).write);
    EXPECT_TRUE(cutter.place(VIDEO, SECOND + FRAME, FRAME).write);
    EXPECT_TRUE(cutter.place(VIDEO, SECOND + 2 * FRAME, FRAME).write);
    EXPECT_TRUE(cutter.place(AUDIO, SECOND, FRAME).write);
    EXPECT_EQ(cutter.readAgain(), SECOND);
    EXPECT_TRUE(cutter.place(AUDIO, SECOND + FRAME, 3 * FRAME).write);
    EXPECT_EQ(cutter.readAgain(), SECOND + FRAME);
    for (const Ticks time : {SECOND, SECOND + FRAME, SECOND + 2 * FRAME}) {
        EXPECT_FALSE(cutter.place(VIDEO, time, FRAME).write);
        EXPECT_FALSE(cutter.place(AUDIO, time, FRAME).write);
    }
    EXPECT_TRUE(cutter.place(VIDEO, SECOND + 2 * FRAME + TENTH_OF_MS, FRAME).write);
    EXPECT_FALSE(cutter.place(AUDIO, SECOND + 3 * FRAME, FRAME).write); // was in what was placed
    EXPECT_EQ(cutter.place(AUDIO, SECOND + 4 * FRAME, FRAME).time, 4 * FRAME);
}

TEST(EncodeCutter, ReadAgainADoneStreamStaysSoAndTellsNoTime) {
    EncodeCutter cutter = begun({.start = 1, .end = 2});
    cutter.endStream(AUDIO);
    EXPECT_TRUE(cutter.place(VIDEO, SECOND + 5 * FRAME, FRAME).write);
    EXPECT_EQ(cutter.readAgain(), SECOND + 5 * FRAME);
    EXPECT_TRUE(cutter.audioDone());
    cutter.endStream(VIDEO);
    EXPECT_EQ(cutter.readAgain(), SECOND);
}

// Behind a seek its pieces may begin elsewhere.
TEST(EncodeCutter, ReadAgainSoundGoesOnWhereItEndedButForRounding) {
    constexpr Ticks MILLISECOND = SECOND / 1000;
    EncodeCutter cutter = begun({.start = 1, .end = 2});
    EXPECT_TRUE(cutter.place(AUDIO, SECOND, FRAME).write);
    EXPECT_EQ(cutter.readAgain(), SECOND);
    EXPECT_FALSE(cutter.place(AUDIO, SECOND + FRAME - 3 * MILLISECOND, FRAME).write);
    EXPECT_TRUE(cutter.place(AUDIO, SECOND + FRAME - MILLISECOND, FRAME).write);
    EXPECT_TRUE(cutter.place(AUDIO, SECOND + 5 * FRAME, MILLISECOND).write); // a small one
    EXPECT_EQ(cutter.readAgain(), SECOND);                                   // for a picture
    EXPECT_FALSE(cutter.place(AUDIO, SECOND + 5 * FRAME, MILLISECOND).write);
}

TEST(EncodeCutter, EachSpanIsReadFromItsStartWhateverWasReadAgain) {
    const std::vector<ExportSpan> spans = {{.start = 1, .end = 2}, {.start = 1, .end = 2}};
    EncodeCutter cutter(spans);
    for (const ExportSpan& span : spans) {
        cutter.beginSpan(span, true);
        EXPECT_TRUE(cutter.place(VIDEO, SECOND, FRAME).write);
        EXPECT_TRUE(cutter.place(AUDIO, SECOND, FRAME).write);
        EXPECT_EQ(cutter.readAgain(), SECOND);
        cutter.endSpan();
    }
}

// ---- the rules once more, plainly
// ----------------------------------------------------------------

struct Written {
    Ticks time = 0, duration = 0;
    Gain gain = 0;
    bool operator==(const Written&) const = default;
};

struct Sample {
    Ticks time = 0, duration = 0;
};

std::vector<Sample> randomStream(RandomChoices& random, Ticks usual) {
    std::vector<Sample> stream;
    Ticks time = random.percent(50) ? 0 : random.below(500'000);
    for (std::uint32_t i = random.below(400); i > 0; i--) {
        const Ticks next = random.percent(10) ? random.between(20'000, 2'000'000) : usual;
        stream.push_back({time, next});
        time += next;
    }
    return stream;
}

// Of one span and one stream; all spans here lie at whole ticks.
std::vector<Written> plainly(const std::vector<Sample>& stream, const ExportSpan& span,
                             Ticks outBase) {
    const auto start = static_cast<Ticks>(span.start * 1e7 + 0.5);
    const auto end = static_cast<Ticks>(span.end * 1e7 + 0.5);
    std::vector<Written> all;
    for (const Sample& sample : stream) {
        if (sample.time + 1000 >= end) break;
        if (sample.time + 1000 < start) continue;
        const Ticks rel = sample.time < start ? 0 : sample.time - start;
        const Ticks shownEnd = std::min(start + rel + sample.duration, end);
        all.push_back({outBase + rel, shownEnd - start - rel,
                       fadeGain(span, static_cast<double>(rel) / 1e7)});
    }
    return all;
}

TEST(EncodeCutter, IsWhatThePlainRulesSay) {
    RandomChoices random(3);
    for (std::uint64_t round = 0; round < propertyRounds(500); round++) {
        const auto video = randomStream(random, 333'333), audio = randomStream(random, 213'333);
        std::vector<ExportSpan> spans;
        for (std::uint32_t i = random.between(1, 6); i > 0; i--) {
            Ticks start = random.below(120'000'000);
            if (!video.empty() && random.percent(50)) { // at a picture, or nearly
                start = video[random.below(static_cast<std::uint32_t>(video.size()))].time +
                        random.below(2200);
            }
            const Ticks end = start + random.between(1, 40'000'000);
            const double fade = random.percent(50) ? 0 : random.between(1, 300) / 100.0;
            spans.push_back({secondsOf(start), secondsOf(end), fade, fade / 2});
        }
        EncodeCutter cutter(spans);
        Ticks outBase = 0;
        for (const ExportSpan& span : spans) {
            cutter.beginSpan(span, true);
            std::vector<Written> pictures, sounds;
            const auto feed = [&](EncodedStream kind, const Sample& sample) {
                const EncodeCut cut = cutter.place(kind, sample.time, sample.duration);
                auto& list = kind == VIDEO ? pictures : sounds;
                if (cut.write) list.push_back({cut.time, cut.duration, cut.gain});
            };
            std::size_t v = 0, a = 0;
            while (v < video.size() || a < audio.size()) { // in any order
                const bool picture = a == audio.size() || (v < video.size() && random.percent(50));
                if (picture) {
                    feed(VIDEO, video[v++]);
                } else {
                    feed(AUDIO, audio[a++]);
                }
            }
            ASSERT_EQ(pictures, plainly(video, span, outBase));
            ASSERT_EQ(sounds, plainly(audio, span, outBase));
            cutter.endSpan();
            outBase += nearestTicks(span.end - span.start);
            ASSERT_EQ(cutter.outBase(), outBase);
        }
    }
}

} // namespace
} // namespace velkantrix
