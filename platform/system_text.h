// system_text.h: what the system says about its error codes. Any thread.
#pragma once

#include <windows.h>

#include <string>

namespace velkantrix {

// The system's message for an error or a result, as it comes, line end included; empty when it has
// none.
[[nodiscard]] std::wstring systemText(DWORD code);

} // namespace velkantrix
