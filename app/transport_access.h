// transport_access.h: the transport bar for those who don't see it: its controls by Microsoft
// Active Accessibility, which newer interfaces read through. UI thread; the system brings calls
// from other processes to it.
#pragma once

#include <windows.h>

#include <optional>

namespace velkantrix {

// The answer to the bar's WM_GETOBJECT; none when it is asked for another object than its own, or
// the system has no such interface: then the system answers.
[[nodiscard]] std::optional<LRESULT> answerObjectRequest(WPARAM wide, LPARAM lng);

} // namespace velkantrix
