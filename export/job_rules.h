// job_rules.h: what the user reads while an export runs.
#pragma once

#include <string>

namespace velkantrix {

// The share of the work that is done, in [0, 1]; 1 when nothing is expected.
double progressShare(double doneSeconds, double expectedSeconds);

// The time left in seconds, going by the pace so far; negative while nothing can be said (up to
// half a percent, and at the end).
double secondsLeft(double share, double elapsedSeconds);

// "Exporting  42%   ·   00:42.000 / 01:40.000   ·   about 00:58.000 remaining". All in seconds.
std::wstring progressText(double doneSeconds, double expectedSeconds, double elapsedSeconds);

} // namespace velkantrix
