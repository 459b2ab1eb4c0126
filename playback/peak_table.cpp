#include "playback/peak_table.h"

#include <algorithm>
#include <cmath>
#include <cstdlib>
#include <cstring>

namespace velkantrix {
namespace {

constexpr std::uint32_t MOST_CHANNELS = 8;
constexpr std::uint32_t CHANNELS_OTHERWISE = 2;
constexpr std::int64_t FRAMES_A_LOOK = 4;
constexpr int MOST_UNREADABLE = 8;     // blocks: a second or less, by any encoder
constexpr double WORTH_MOVING = 0.1;   // seconds
constexpr double MOST_FRAMES = 0x1p53; // whole numbers up to here have no gaps in a double
constexpr std::size_t SAMPLE_SIZE = sizeof(std::int16_t);
constexpr float FULL_SCALE = 32768;

std::atomic_ref<float> entry(PeakTable& table, std::int32_t bucket) {
    return std::atomic_ref(table.audioPeaks[static_cast<std::size_t>(bucket)]);
}

// Behind what has changed: who reads the number sees that.
void countChange(PeakTable& table) {
    table.changes.fetch_add(1, std::memory_order_release);
}

std::int64_t wholeFrames(double frames) {
    return static_cast<std::int64_t>(std::clamp(frames, -MOST_FRAMES, MOST_FRAMES));
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
    const double ahead = place - static_cast<double>(frames_);
    const bool agrees = std::abs(ahead) <= WORTH_MOVING * format_.rate;
    if (!agrees) frames_ = wholeFrames(place);
    unsureOfGap_ = !agrees && frames_ > sureTo_;
    raiseValidToHere(); // of the block before, when this one agrees with it
}

void PeakFiller::changeFormat(PcmFormat format) {
    const auto converted = [&](std::int64_t frames) {
        return wholeFrames(std::ceil(static_cast<double>(frames) / format_.rate * format.rate));
    };
    frames_ = converted(frames_);
    sureTo_ = converted(sureTo_);
    format_ = format;
}

bool PeakFiller::passOver(Ticks duration) {
    frames_ += wholeFrames(secondsOf(duration) * format_.rate);
    return ++unreadable_ <= MOST_UNREADABLE;
}

void PeakFiller::add(std::span<const std::byte> block) {
    const std::size_t frameSize = SAMPLE_SIZE * format_.channels;
    const auto count = static_cast<std::int64_t>(block.size() / frameSize);
    const auto placeOf = [&](std::int64_t index) {
        return block.data() + static_cast<std::size_t>(index) * frameSize;
    };
    // Whole looks are left out before the start: those behind it stay where they are in the block.
    const std::int64_t early = std::max<std::int64_t>(0, -frames_);
    std::int64_t index = (early + FRAMES_A_LOOK - 1) / FRAMES_A_LOOK * FRAMES_A_LOOK;
    while (index < count) {
        // A bucket mostly lasts longer than a block: it is worked out once, not for each frame.
        const std::int32_t bucket = bucketOf(frames_ + index);
        const std::int64_t next = endOfBucket(frames_ + index, frames_ + count) - frames_;
        std::int32_t peak = 0;
        for (; index < next; index += FRAMES_A_LOOK)
            peak = std::max(peak, peakOfFrame(placeOf(index)));
        raise(bucket, peak);
    }
    frames_ += count;
    unreadable_ = 0;
    raiseValidToHere();
}

void PeakFiller::finish() {
    raiseValid(PEAK_BUCKETS);
}

// Each step of it ascends with the frame, so the buckets do.
double PeakFiller::bucketsBefore(std::int64_t frame) const {
    return static_cast<double>(frame) / format_.rate / duration_ * PEAK_BUCKETS;
}

std::int32_t PeakFiller::bucketOf(std::int64_t frame) const {
    return static_cast<std::int32_t>(std::min(bucketsBefore(frame), PEAK_BUCKETS - 1.0));
}

// The first frame behind `frame` that isn't in its bucket, or `end`.
std::int64_t PeakFiller::endOfBucket(std::int64_t frame, std::int64_t end) const {
    const std::int32_t bucket = bucketOf(frame);
    if (bucketOf(end - 1) == bucket) return end;
    std::int64_t inside = frame;
    std::int64_t outside = end - 1;
    while (outside - inside > 1) {
        const std::int64_t middle = inside + (outside - inside) / 2;
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
    if (value <= stored.load(std::memory_order_relaxed)) return;
    stored.store(value, std::memory_order_relaxed);
    if (bucket < table_.audioPeaksValid.load(std::memory_order_relaxed)) countChange(table_);
}

void PeakFiller::raiseValid(std::int32_t valid) {
    if (valid <= table_.audioPeaksValid.load(std::memory_order_relaxed)) return;
    table_.audioPeaksValid.store(valid, std::memory_order_release);
    countChange(table_);
}

void PeakFiller::raiseValidToHere() {
    if (unsureOfGap_ || frames_ <= 0) return;
    sureTo_ = std::max(sureTo_, frames_);
    const double passed = std::min(bucketsBefore(frames_), double{PEAK_BUCKETS});
    raiseValid(static_cast<std::int32_t>(passed));
}

} // namespace velkantrix
