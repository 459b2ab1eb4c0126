// Random streams, cut at random: what must hold for every one of them.
#include <algorithm>
#include <cstdlib>
#include <random>
#include <vector>

#include <gtest/gtest.h>

#include "export/span_cutter.h"

namespace velkantrix {
namespace {

using Random = std::mt19937;

Ticks randomBetween(Random& random, Ticks low, Ticks high) {
    return std::uniform_int_distribution<Ticks>(low, high)(random);
}

// A stream as an encoder with reordering makes it: groups of an anchor and up to three pictures
// that are stored after it and shown before it. In open streams such a group may stand before a
// keyframe.
std::vector<CodedSample> randomStream(Random& random) {
    const bool open = random() % 2 == 0;
    const bool variable = random() % 3 == 0;
    std::vector<Ticks> shown; // presentation times in order
    Ticks time = randomBetween(random, -500'000, 500'000);
    const auto count = static_cast<size_t>(randomBetween(random, 1, 300));
    for (size_t i = 0; i < count; i++) {
        shown.push_back(time);
        time += variable ? randomBetween(random, 40'000, 2'000'000) : 333'333;
    }
    std::vector<CodedSample> stream;
    for (size_t next = 0; next < count;) {
        const bool keyframe = stream.empty() || random() % 8 == 0;
        size_t hanging = static_cast<size_t>(randomBetween(random, 0, 3));
        if (stream.empty() || (keyframe && !open)) hanging = 0;
        hanging = std::min(hanging, count - next - 1);
        stream.push_back(
            {.time = shown[next + hanging], .duration = 333'333, .keyframe = keyframe});
        for (size_t i = 0; i < hanging; i++) {
            stream.push_back({.time = shown[next + i], .duration = 333'333});
        }
        next += hanging + 1;
    }
    // Decode times: the presentation times in order, early enough for every sample.
    Ticks lead = 0;
    for (size_t i = 0; i < count; i++) lead = std::max(lead, shown[i] - stream[i].time);
    for (size_t i = 0; i < count; i++) stream[i].decodeTime = shown[i] - lead;
    return stream;
}

struct Output {
    std::vector<Placement> samples;
    std::vector<Ticks> spanStarts; // where each span begins, and where the last one ends
    std::vector<size_t> spanEnds;  // how many samples were written by the end of each span
    std::vector<double> progress;
};

Output cut(Random& random, const std::vector<CodedSample>& stream, std::vector<ExportSpan>& spans) {
    const double end = secondsOf(stream.back().time) + 1;
    const auto count = static_cast<size_t>(randomBetween(random, 1, 5));
    for (size_t i = 0; i < count; i++) {
        const double start = end * secondsOf(randomBetween(random, 0, TICKS_PER_SECOND));
        spans.push_back({start, start + end * secondsOf(randomBetween(random, 1, 5'000'000))});
    }
    SpanCutter cutter(spans);
    Output output;
    for (const ExportSpan& span : spans) {
        cutter.beginSpan(span);
        output.spanStarts.push_back(cutter.outBase());
        size_t from = 0;
        for (size_t i = 0; i < stream.size(); i++) {
            if (stream[i].keyframe && stream[i].time <= cutter.startTicks()) from = i;
        }
        for (size_t i = from; i < stream.size(); i++) {
            const Placement placement = cutter.placeVideo(stream[i]);
            if (placement.placing == Placing::Stop) break;
            if (placement.placing == Placing::Drop) continue;
            output.samples.push_back(placement);
            if (const auto done = cutter.progressAfter(stream[i])) output.progress.push_back(*done);
        }
        cutter.endSpan();
        output.spanEnds.push_back(output.samples.size());
    }
    output.spanStarts.push_back(cutter.outBase());
    return output;
}

TEST(SpanCutterProperties, HoldForEveryStream) {
    Random random(20261120);
    const int rounds = std::getenv("VELKANTRIX_LONG") ? 1'000'000 : 20'000;
    for (int round = 0; round < rounds; round++) {
        const std::vector<CodedSample> stream = randomStream(random);
        std::vector<ExportSpan> spans;
        const Output output = cut(random, stream, spans);

        // A span's pictures lie between its own begin and the next one's, the first at its very
        // begin, and no instant is used twice.
        std::vector<Ticks> times;
        for (size_t span = 0, at = 0; span < output.spanEnds.size(); span++) {
            Ticks first = output.spanStarts[span + 1];
            for (; at < output.spanEnds[span]; at++) {
                const Ticks time = output.samples[at].time;
                ASSERT_GE(time, output.spanStarts[span]) << round;
                ASSERT_LT(time, output.spanStarts[span + 1]) << round;
                first = std::min(first, time);
                times.push_back(time);
            }
            ASSERT_EQ(first, output.spanStarts[span]) << round;
        }
        std::sort(times.begin(), times.end());
        ASSERT_EQ(std::adjacent_find(times.begin(), times.end()), times.end()) << round;

        for (size_t i = 0; i < output.samples.size(); i++) {
            const Placement& sample = output.samples[i];
            ASSERT_TRUE(sample.decodeTime) << round;
            ASSERT_LE(*sample.decodeTime, sample.time) << round << " sample " << i;
            if (i == 0) continue;
            ASSERT_LT(*output.samples[i - 1].decodeTime, *sample.decodeTime) << round << " " << i;
        }
        for (const double done : output.progress) {
            ASSERT_GE(done, 0) << round;
            ASSERT_LT(done, totalSeconds(spans)) << round;
        }
    }
}

} // namespace
} // namespace velkantrix
