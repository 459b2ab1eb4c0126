// Whether a lossless copy will have sound: what is said beforehand against what a copy writes.
#include "export/sound_probe.h"

#include <limits>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "tests/windows/lossless_shell.h"

namespace velkantrix {
namespace {

constexpr double FOREVER = std::numeric_limits<double>::infinity();
constexpr Ticks SECOND = TICKS_PER_SECOND;

// Pictures of five seconds.
class CopyHasSound : public LosslessShell {
protected:
    bool isFound(std::int64_t reads = ReadBudget::READS_PER_PASS) {
        return copyHasSound(request, reader.get(), streams, reads);
    }

    bool isWritten() {
        EXPECT_EQ(copy(), S_OK);
        return !timesOf(AUDIO_OUT).empty();
    }

    void soundFrom(Ticks from, Ticks to) {
        audio() = audioReads(static_cast<int>((to - from) / FRAME), from);
    }
};

struct Case {
    const char* what;
    Ticks soundFrom, soundTo;
    std::vector<ExportSpan> spans;
    bool sound;
};

TEST_F(CopyHasSound, IsToldAsItWillBeWritten) {
    const Case cases[] = {
        {"all along", 0, 5 * SECOND, {{.start = 1, .end = 2}}, true},
        {"none behind its end", 0, SECOND, {{.start = 3, .end = 4}}, false},
        {"another span has some",
         0,
         SECOND,
         {{.start = 3, .end = 4}, {.start = 0, .end = 1}},
         true},
        {"before the next keyframe", SECOND * 5 / 2, 5 * SECOND, {{.start = 1, .end = 2.2}}, true},
        {"at the next keyframe", 3 * SECOND, 5 * SECOND, {{.start = 1, .end = 2.2}}, false},
        {"before the keyframe asked for", 0, SECOND * 5 / 2, {{.start = 2.7, .end = 3}}, true},
        {"only in front of all that is kept", 0, 2 * SECOND, {{.start = 2.7, .end = 3}}, false},
        {"behind the last picture", SECOND * 11 / 2, 7 * SECOND, {{.start = 1, .end = 7}}, false},
        {"the whole source", 0, SECOND, {{.start = 0, .end = FOREVER}}, true},
        {"behind the pictures", 7 * SECOND, 8 * SECOND, {{.start = 0, .end = FOREVER}}, true},
    };
    for (const Case& each : cases) {
        SCOPED_TRACE(each.what);
        useStreams(VIDEO, AUDIO);
        soundFrom(each.soundFrom, each.soundTo);
        request.spans = each.spans;
        EXPECT_EQ(isFound(), each.sound);
        EXPECT_EQ(isWritten(), each.sound);
    }
}

// Of which the whole source keeps the sound in front of them.
TEST_F(CopyHasSound, PicturesMayComeLate) {
    video() = videoReads(20, 6 * SECOND);
    soundFrom(0, 4 * SECOND);
    request.spans = {{.start = 0, .end = FOREVER}};
    EXPECT_TRUE(isFound());
    EXPECT_TRUE(isWritten());
    request.spans = {{.start = 0, .end = 7}};
    useStreams(VIDEO, AUDIO);
    video() = videoReads(20, 6 * SECOND);
    soundFrom(0, 4 * SECOND);
    EXPECT_FALSE(isFound());
    EXPECT_FALSE(isWritten());
}

TEST_F(CopyHasSound, IsToldAsItWillBeWrittenOfAnySourceAndSpans) {
    std::mt19937 random(8);
    const auto tenths = [&](int from, int to) {
        return std::uniform_int_distribution<int>(from, to)(random);
    };
    for (int round = 0; round < 2'000; round++) {
        useStreams(VIDEO, AUDIO);
        const int gop = tenths(1, 60);
        const int hanging = std::min(gop - 1, tenths(0, 3)); // on each keyframe, shown before it
        const int pictures = static_cast<int>(video().size());
        video().clear();
        for (int key = 0; key < pictures + hanging; key += gop) {
            if (key < pictures) video().push_back(keyAt(key * FRAME));
            for (int i = std::max(0, key - hanging); i < std::min(key, pictures); i++)
                video().push_back(pictureAt(i * FRAME));
            for (int i = key + 1; i < std::min(key + gop - hanging, pictures); i++)
                video().push_back(pictureAt(i * FRAME));
        }
        const int from = tenths(0, 60); // pictures end at 50
        soundFrom(from * FRAME, tenths(from + 1, 70) * FRAME);
        request.spans.clear();
        for (int i = tenths(1, 3); i > 0; i--) {
            const int start = tenths(0, 48);
            request.spans.push_back({.start = start / 10.0, .end = tenths(start + 1, 50) / 10.0});
        }
        const bool found = isFound();
        ASSERT_EQ(found, isWritten()) << "round " << round;
    }
}

TEST_F(CopyHasSound, ReadersMayLandBeforeTheKeyframe) {
    video() = videoReads(50);
    video().insert(video().begin(), pictureAt(0));
    video()[1].time = 1;
    reader->stream(VIDEO).seeksToFirst = true;
    reader->stream(AUDIO).seeksToFirst = true;
    soundFrom(0, SECOND);
    request.spans = {{.start = 0, .end = 1}};
    EXPECT_TRUE(isFound());
    EXPECT_TRUE(isWritten());
}

// The copy then says what is wrong.
TEST_F(CopyHasSound, WhatCantBeToldCountsAsSound) {
    const auto silent = [this] {
        useStreams(VIDEO, AUDIO);
        soundFrom(0, SECOND);
        request.spans = {{.start = 3, .end = 4}};
    };
    silent();
    EXPECT_FALSE(isFound());
    silent();
    audio() = {failedRead(E_FAIL)};
    EXPECT_TRUE(isFound());
    silent();
    video() = {failedRead(E_FAIL)};
    EXPECT_TRUE(isFound());
    for (std::size_t step = 1; step <= 6; step++) {
        silent();
        reader->failSteering(step, E_FAIL);
        EXPECT_TRUE(isFound()) << step;
    }
}

TEST_F(CopyHasSound, EndsWithACancelAndWithItsReads) {
    soundFrom(0, SECOND);
    request.spans = {{.start = 3, .end = 4}};
    cancel = true;
    EXPECT_TRUE(isFound());
    EXPECT_EQ(reader->readsOf(VIDEO) + reader->readsOf(AUDIO), 0);
    cancel = false;
    for (int i = 0; i < 100; i++) audio().push_back(soundAt(0)); // whose times stand still
    reader->stream(AUDIO).seeksToFirst = true;
    EXPECT_TRUE(isFound(50));
    EXPECT_EQ(reader->readsOf(AUDIO), 50);
}

TEST_F(CopyHasSound, WithoutAPictureThereIsNoCopyAndNoSound) {
    video().clear();
    EXPECT_FALSE(isFound());
    EXPECT_EQ(reader->readsOf(AUDIO), 0);
}

} // namespace
} // namespace velkantrix
