#include "base/time_text.h"

#include <array>
#include <cstdint>
#include <cwchar>

namespace velkantrix {
namespace {

// About 31 years: far past any recording, and exact in a double to the millisecond.
constexpr double LONGEST_SECONDS = 1e9 - 0.001;

std::int64_t milliseconds(double seconds) {
    if (!(seconds > 0)) return 0;
    if (seconds > LONGEST_SECONDS) seconds = LONGEST_SECONDS;
    const double rounded = seconds * 1000 + 0.5; // and then cut off: halves go up
    return static_cast<std::int64_t>(rounded);
}

} // namespace

std::wstring formatTime(double seconds) {
    const std::int64_t total = milliseconds(seconds);
    const int hours = static_cast<int>(total / 3'600'000);
    const int minutes = static_cast<int>(total / 60'000 % 60);
    const int wholeSeconds = static_cast<int>(total / 1000 % 60);
    const int rest = static_cast<int>(total % 1000);
    std::array<wchar_t, 32> text{};
    if (hours > 0) {
        std::swprintf(text.data(), text.size(), L"%02d:%02d:%02d.%03d", hours, minutes,
                      wholeSeconds, rest);
    } else {
        std::swprintf(text.data(), text.size(), L"%02d:%02d.%03d", minutes, wholeSeconds, rest);
    }
    return text.data();
}

} // namespace velkantrix
