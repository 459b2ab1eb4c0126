#include "export/job_rules.h"

#include <algorithm>
#include <cmath>

#include "base/time_text.h"

namespace velkantrix {

double progressShare(double doneSeconds, double expectedSeconds) {
    if (!(expectedSeconds > 0) || std::isnan(doneSeconds)) return 1;
    return std::clamp(doneSeconds / expectedSeconds, 0.0, 1.0);
}

double secondsLeft(double share, double elapsedSeconds) {
    if (!(share > 0.005) || share >= 1) return -1;
    return (1 - share) * elapsedSeconds / share;
}

std::wstring progressText(double doneSeconds, double expectedSeconds, double elapsedSeconds) {
    const double share = progressShare(doneSeconds, expectedSeconds);
    std::wstring text = L"Exporting  " + std::to_wstring(std::lround(share * 100)) + L"%   ·   " +
                        formatTime(doneSeconds) + L" / " + formatTime(expectedSeconds);
    const double left = secondsLeft(share, elapsedSeconds);
    if (left >= 0) text += L"   ·   about " + formatTime(left) + L" remaining";
    return text;
}

} // namespace velkantrix
