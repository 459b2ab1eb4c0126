#include "playback/peak_table.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace velkantrix {
namespace {

constexpr std::uint32_t MOST_CHANNELS = 8;
constexpr std::uint32_t CHANNELS_OTHERWISE = 2;
constexpr std::uint64_t FRAMES_A_LOOK = 4;
constexpr double WORTH_MOVING = 0.1;   // seconds
constexpr double MOST_FRAMES = 0x1p53; // whole numbers up to here have no gaps in a double
constexpr std::size_t SAMPLE_SIZE = sizeof(std::int16_t);
constexpr float FULL_SCALE = 32768;

std::atomic_ref<float> entry(PeakTable& table, std::int32_t bucket) {
    return std::atomic_ref(table.audioPeaks[static_cast<std::size_t>(bucket)]);
}

} // namespace

void takePeaks(PeakTable& table, std::vector<float>& peaks) {
    const std::int32_t valid = table.audioPeaksValid.load(std::memory_order_acquire);
    peaks.resize(static_cast<std::size_t>(valid));
    std::int32_t bucket = 0;
    for (float& peak : peaks) peak = entry(table, bucket++).load(std::memory_order_relaxed);
}

PcmFormat usableFormat(PcmFormat stated) {
    if (stated.rate == 0 || stated.channels == 0) return {};
    if (stated.channels > MOST_CHANNELS) stated.channels = CHANNELS_OTHERWISE;
    return stated;
}

PeakFiller::PeakFiller(PeakTable& table, PcmFormat format, double duration)
    : table_(table), format_(format), duration_(duration) {}

void PeakFiller::continueAt(Ticks time) {
    const double place = secondsOf(time) * format_.rate;
    if (place - static_cast<double>(frames_) <= WORTH_MOVING * format_.rate) return;
    frames_ = static_cast<std::uint64_t>(std::min(place, MOST_FRAMES));
    raiseValid();
}

void PeakFiller::changeFormat(PcmFormat format) {
    const double place = static_cast<double>(frames_) / format_.rate * format.rate;
    frames_ = static_cast<std::uint64_t>(std::min(std::ceil(place), MOST_FRAMES));
    format_ = format;
}

void PeakFiller::add(std::span<const std::byte> block) {
    const std::size_t frameSize = SAMPLE_SIZE * format_.channels;
    const std::uint64_t end = frames_ + block.size() / frameSize;
    const std::byte* const first = block.data();
    for (std::uint64_t frame = frames_; frame < end;) {
        // A bucket mostly lasts longer than a block: it is worked out once, not for each frame.
        const std::int32_t bucket = bucketOf(frame);
        const std::uint64_t next = endOfBucket(frame, end);
        std::int32_t peak = 0;
        for (; frame < next; frame += FRAMES_A_LOOK)
            peak = std::max(peak, peakOfFrame(first + (frame - frames_) * frameSize));
        raise(bucket, peak);
    }
    frames_ = end;
    raiseValid();
}

void PeakFiller::finish() {
    table_.audioPeaksValid.store(PEAK_BUCKETS, std::memory_order_release);
}

// Each step of it ascends with the frame, so the buckets do.
double PeakFiller::bucketsBefore(std::uint64_t frame) const {
    return static_cast<double>(frame) / format_.rate / duration_ * PEAK_BUCKETS;
}

std::int32_t PeakFiller::bucketOf(std::uint64_t frame) const {
    return static_cast<std::int32_t>(std::min(bucketsBefore(frame), PEAK_BUCKETS - 1.0));
}

// The first frame behind `frame` that isn't in its bucket, or `end`.
std::uint64_t PeakFiller::endOfBucket(std::uint64_t frame, std::uint64_t end) const {
    const std::int32_t bucket = bucketOf(frame);
    if (bucketOf(end - 1) == bucket) return end;
    std::uint64_t inside = frame;
    std::uint64_t outside = end - 1;
    while (outside - inside > 1) {
        const std::uint64_t middle = inside + (outside - inside) / 2;
        (bucketOf(middle) == bucket ? inside : outside) = middle;
    }
    return outside;
}

std::int32_t PeakFiller::peakOfFrame(const std::byte* frame) const {
    std::int32_t peak = 0;
    for (std::uint32_t channel = 0; channel < format_.channels; ++channel) {
        std::int16_t sample = 0;
        std::memcpy(&sample, frame + channel * SAMPLE_SIZE, SAMPLE_SIZE);
        peak = std::max(peak, std::abs(std::int32_t{sample}));
    }
    return peak;
}

void PeakFiller::raise(std::int32_t bucket, std::int32_t peak) {
    const float value = static_cast<float>(peak) / FULL_SCALE;
    const std::atomic_ref<float> stored = entry(table_, bucket);
    if (value > stored.load(std::memory_order_relaxed))
        stored.store(value, std::memory_order_relaxed);
}

void PeakFiller::raiseValid() {
    const auto valid =
        static_cast<std::int32_t>(std::min(bucketsBefore(frames_), double{PEAK_BUCKETS}));
    if (valid > table_.audioPeaksValid.load(std::memory_order_relaxed))
        table_.audioPeaksValid.store(valid, std::memory_order_release);
}

} // namespace velkantrix
