// environment.h: the process's environment variables. Any thread.
#pragma once

#include <windows.h>

#include <string>

namespace velkantrix {

// Empty where there is none.
[[nodiscard]] std::wstring environmentVariable(const wchar_t* name);

} // namespace velkantrix
