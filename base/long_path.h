// long_path.h: the form in which Windows takes file names of any length.
//
// Without it, and unless a setting of the whole system says otherwise, names of 260 units and more
// can't be opened.
#pragma once

#include <cstddef>
#include <string>

namespace velkantrix {

// From this length on the form is used, in units of the absolute name. Files may be a little
// longer, but new folders may not.
inline constexpr std::size_t LONG_PATH = 248;

// What the system is to be given for `path`, whose absolute name is `full` (by GetFullPathNameW;
// empty when that failed): \\?\ in front of a long full name, \\?\UNC\ in front of one on a server.
// A name that has such a form already, or is short, or couldn't be made absolute, stays as it is.
[[nodiscard]] std::wstring pathOfAnyLength(const std::wstring& path, const std::wstring& full);

// The other way: "\\?\C:\a.mp4" as "C:\a.mp4", and likewise of a server, where the name is short
// enough for it. Any other name stays as it is.
[[nodiscard]] std::wstring pathWithoutPrefix(const std::wstring& path);

} // namespace velkantrix
