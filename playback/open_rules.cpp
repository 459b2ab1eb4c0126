#include "playback/open_rules.h"

#include <algorithm>
#include <cmath>

namespace velkantrix {
namespace {

constexpr double LEAST_FRAME_RATE = 1.0; // and this one is too low as well
constexpr double LEAST_SCANNED_END = 0.1;
constexpr double NO_DIFFERENCE = 0.02; // a frame more or less, by different ways of rounding
constexpr double LOOK_BACK_FACTOR = 4;
constexpr double STOPPED = -1.0;

class Scan {
public:
    Scan(const EndScanCalls& calls, Ticks frame) : calls_(calls), frame_(frame) {}

    // The next sample; none at the end, when it is stopped, or when that was enough.
    std::optional<ScannedSample> next() {
        for (; left_ > 0; --left_) {
            stopped_ = stopped_ || calls_.stopped();
            if (stopped_) return std::nullopt;
            const ScanRead read = calls_.read();
            if (read.ended) return std::nullopt;
            if (read.sample) {
                --left_;
                return read.sample;
            }
        }
        return std::nullopt;
    }

    // Where the last sample ends, of a file whose first has just been read.
    double endBefore(double container, const ScannedSample& first) {
        if (container <= END_SCAN_SPAN) return endOfRest(endOf(first));
        for (double back = END_SCAN_SPAN;; back *= LOOK_BACK_FACTOR) {
            const double start = std::max(container - back, 0.0);
            if (!calls_.seek(start)) return 0;
            const double end = endOfRest(0);
            if (end > 0 || start <= 0 || left_ == 0 || stopped_) return end;
        }
    }

    [[nodiscard]] bool stopped() const { return stopped_; }

private:
    [[nodiscard]] double endOf(const ScannedSample& sample) const {
        return secondsOf(addTicks(sample.time, sample.duration > 0 ? sample.duration : frame_));
    }

    double endOfRest(double end) {
        while (const std::optional<ScannedSample> sample = next())
            end = std::max(end, endOf(*sample));
        return end;
    }

    const EndScanCalls& calls_;
    Ticks frame_;
    std::uint32_t left_ = END_SCAN_READS;
    bool stopped_ = false;
};

} // namespace

double usableFrameRate(std::uint32_t numerator, std::uint32_t denominator) {
    if (denominator == 0) return DEFAULT_FPS;
    const double rate = static_cast<double>(numerator) / denominator;
    return rate <= LEAST_FRAME_RATE ? DEFAULT_FPS : rate;
}

double usableDuration(double container, double scannedEnd) {
    if (scannedEnd < 0 || scannedEnd <= LEAST_SCANNED_END) return container;
    if (container > 0 && scannedEnd >= container - NO_DIFFERENCE) return container;
    return scannedEnd;
}

ScannedEnds scanEnds(double container, double fps, bool onlyStart, const EndScanCalls& calls) {
    Scan scan{calls, nearestTicks(1.0 / fps)};
    ScannedEnds ends;
    const std::optional<ScannedSample> first = scan.next();
    if (first) {
        ends.start = secondsOf(first->time);
        calls.tellStart(ends.start);
        if (!onlyStart) ends.end = scan.endBefore(container, *first);
    }
    if (scan.stopped()) ends.end = STOPPED;
    return ends;
}

PictureRect fitRect(std::int32_t clientWidth, std::int32_t clientHeight, std::int32_t videoWidth,
                    std::int32_t videoHeight) {
    if (videoWidth <= 0 || videoHeight <= 0) return {0, 0, clientWidth, clientHeight};
    const double aspect = static_cast<double>(videoWidth) / videoHeight;
    std::int32_t width = clientWidth;
    std::int32_t height = clientHeight;
    const double wanted = std::trunc(clientWidth / aspect); // may be more than an int32 holds
    if (wanted > clientHeight)
        width = static_cast<std::int32_t>(clientHeight * aspect);
    else
        height = static_cast<std::int32_t>(wanted);
    return {(clientWidth - width) / 2, (clientHeight - height) / 2, width, height};
}

} // namespace velkantrix
