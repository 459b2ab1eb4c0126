// exposure_rules.h: how much brighter or darker the picture is shown: the steps, what is said of
// them, and what a video's own brightness asks for.
//
// The exposure is in the shader's stops: luma from 0 to 1 is raised to the power 1 / 3^exposure. 0
// is off. Free of any thread: these only calculate.
#pragma once

#include <array>
#include <cstddef>
#include <cstdint>
#include <functional>
#include <optional>
#include <span>
#include <string>

#include "base/ticks.h"

namespace velkantrix {

// One step of 0.1, between -1 and 1. What is left of 0 by rounding is 0.
[[nodiscard]] double brighterExposure(double exposure);
[[nodiscard]] double darkerExposure(double exposure);

// "Exposure +30%"; "Exposure reset" when there is none.
[[nodiscard]] std::wstring exposureText(double exposure);

// How often each luma code value occurs in what was looked at.
struct LumaHistogram {
    std::array<std::uint64_t, 256> counts{};
    std::uint64_t total = 0;
};

// Counts every 16th value of a picture's luma, beginning with the first.
void countLuma(LumaHistogram& histogram, std::span<const std::uint8_t> luma);

// What the video asks for; none when nothing was counted. The middle value is brought to code value
// 105 of ITU-R BT.601's range from 16 to 235, by 60 % of what that takes. It is brightened by less,
// the closer the brightest twentieth already comes to 215.
[[nodiscard]] std::optional<double> exposureFor(const LumaHistogram& histogram);

struct ExposureCalls {
    std::function<void(Ticks time)> seek; // where it can't, the next pictures do as well
    // Counts the next picture; false when there is none any more.
    std::function<bool()> countNext;
};

// Looks at eight pictures of a video of `duration` seconds, one for each eighth of it, or at its
// first ones when it is no longer than a second. Ends early where there is no picture.
void samplePictures(double duration, const ExposureCalls& calls);

} // namespace velkantrix
