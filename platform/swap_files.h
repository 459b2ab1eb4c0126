// swap_files.h: a complete file in the place of another one, of which nothing may be lost.
//
// Any thread. Errors are the system's numbers, 0 for none. Paths may have any length.
#pragma once

#include <windows.h>

#include <cstdint>
#include <optional>
#include <string>

#include "base/file_look.h"

namespace velkantrix {

[[nodiscard]] FileLook lookAtFile(const std::wstring& path);

// The file that a symbolic link leads to, as other programs would name it; any other path stays as
// it is. None for a link that can't be followed.
[[nodiscard]] std::optional<std::wstring> pathBehindLink(const std::wstring& path);

// The bytes that the user may still write into the folder; none when that can't be told.
[[nodiscard]] std::optional<std::uint64_t> freeBytesFor(const std::wstring& folder);

// Whether a new file can be written beside the original, by a name that is longer by `more`, and
// the original be deleted, as far as rights go: that somebody has it open isn't asked.
[[nodiscard]] DWORD askMayReplace(const std::wstring& original, std::size_t more);

// Takes away a plain file with one name that nobody has open; nothing else. 0 too when nothing
// stands there.
[[nodiscard]] DWORD clearLeftover(const std::wstring& path);

// The original's place is taken by the other file, with the original's attributes, rights, streams
// and time of creation. When it fails both stand where they stood, though the other one may have
// got the original's streams and rights by then; unless the error is
// ERROR_UNABLE_TO_MOVE_REPLACEMENT (the original is gone) or ..._2 (it has a name that isn't told).
[[nodiscard]] DWORD replaceWholeFile(const std::wstring& original, const std::wstring& replacement);

// Likewise without those, also where nothing stands. When it fails both are as they were.
[[nodiscard]] DWORD moveFileOver(const std::wstring& from, const std::wstring& to);

// Likewise, only where nothing stands.
[[nodiscard]] DWORD moveFileToFreeName(const std::wstring& from, const std::wstring& to);

} // namespace velkantrix
