#include "playback/open_rules.h"

#include <algorithm>
#include <cmath>

namespace velkantrix {
namespace {

constexpr double DEFAULT_FRAME_RATE = 30.0;
constexpr double LEAST_FRAME_RATE = 1.0; // and this one is too low as well
constexpr double LEAST_SCANNED_END = 0.1;
constexpr double NO_DIFFERENCE = 0.02; // a frame more or less, by different ways of rounding
constexpr double LOOK_BACK_FACTOR = 4;
constexpr double STOPPED = -1.0;

} // namespace

double usableFrameRate(std::uint32_t numerator, std::uint32_t denominator) {
    if (denominator == 0) return DEFAULT_FRAME_RATE;
    const double rate = static_cast<double>(numerator) / denominator;
    return rate <= LEAST_FRAME_RATE ? DEFAULT_FRAME_RATE : rate;
}

double usableDuration(double container, double scannedEnd) {
    if (scannedEnd < 0 || scannedEnd <= LEAST_SCANNED_END) return container;
    if (container > 0 && scannedEnd >= container - NO_DIFFERENCE) return container;
    return scannedEnd;
}

double scanForEnd(double container, const EndScanCalls& calls) {
    std::uint32_t left = END_SCAN_SAMPLES;
    bool moved = false;
    for (double back = END_SCAN_SPAN;; back *= LOOK_BACK_FACTOR) {
        const double start = std::max(container - back, 0.0);
        if ((start > 0 || moved) && !calls.seek(start)) return 0;
        moved = moved || start > 0;
        double end = 0;
        bool any = false;
        for (; left > 0; --left) {
            if (calls.stopped()) return STOPPED;
            const std::optional<ScannedSample> sample = calls.read();
            if (!sample) break;
            end = std::max(end, secondsOf(addTicks(sample->time, sample->duration)));
            any = true;
        }
        if (any || start <= 0 || left == 0) return end;
    }
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
