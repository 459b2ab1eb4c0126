// time_text.h: times as the user reads them.
#pragma once

#include <string>

namespace velkantrix {

// "mm:ss.mmm", or "hh:mm:ss.mmm" from one hour on; hours grow past two digits when they must.
// Rounded to the nearest millisecond. A negative time or one that is no number reads as zero, one
// that is too long to count as the longest that can be written.
std::wstring formatTime(double seconds);

} // namespace velkantrix
