// about.h: the About box. UI thread.
#pragma once

#include <windows.h>

#include <string>

namespace velkantrix {

// "1.2.3": the fourth number isn't for users.
[[nodiscard]] std::wstring versionText(const VS_FIXEDFILEINFO& version);

// That of the program's own version resource; empty when it has none.
[[nodiscard]] std::wstring programVersion();

// What the box says, for a version that may be empty.
[[nodiscard]] std::wstring aboutText(const std::wstring& version);

void showAbout(HWND owner);

} // namespace velkantrix
