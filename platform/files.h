// files.h: which file a path means, and taking files away without taking away the wrong one.
//
// Any thread. Paths may be relative, and may be longer than MAX_PATH where the system allows it.
#pragma once

#include <windows.h>

#include <optional>
#include <string>

#include "base/file_stamp.h"

namespace velkantrix {

// The path made absolute; empty when the system can't. What looks like a URL becomes a path too,
// and so can't lead anywhere but to files.
[[nodiscard]] std::wstring absolutePath(const std::wstring& path);

// What a file: URL names; what is no URL is a path already. Empty for URLs of other kinds.
[[nodiscard]] std::wstring pathOfUrl(const std::wstring& urlOrPath);

// The running program's own file; empty when its name has 260 characters or more, which other
// programs couldn't start it by.
[[nodiscard]] std::wstring programPath();

// What the system is to be given for the path, however long it is and whatever its own setting.
[[nodiscard]] std::wstring nameForSystem(const std::wstring& path);

// A file or folder is there, or can't be told not to be: its server doesn't answer, say.
[[nodiscard]] bool fileExists(const std::wstring& path);

// A file is there, and it is no folder.
[[nodiscard]] bool isFile(const std::wstring& path);

// What a file, or folder, is by its size and time; none when it can't be examined. A link is one by
// itself. All are told by a handle: what a server's file is by its name the system may know from
// some seconds ago.
[[nodiscard]] std::optional<FileStamp> fileStamp(const std::wstring& path);
[[nodiscard]] DWORD informationOf(const std::wstring& path,
                                  BY_HANDLE_FILE_INFORMATION& information);
[[nodiscard]] FileStamp stampOf(const BY_HANDLE_FILE_INFORMATION& information);

// The name that the system itself gives an open file: the same through every drive letter, or
// nearly so. Empty when it gives none.
[[nodiscard]] std::wstring finalNameOf(HANDLE file);

// A text that is the same for all names of a file, and another one for every other file: the number
// that the file system gives it, or else its name.
[[nodiscard]] std::wstring identityText(const std::wstring& path);
[[nodiscard]] std::wstring identityText(HANDLE file);

// Do both paths name one existing or future file? True when their absolute forms are equal but for
// letter case, or when both exist and are the same file by another name: a hard link, another drive
// letter, a path with the \\?\ prefix, trailing dots. A stream of a file ("a.mp4:x") is the file.
// An empty path names no file. A file that may not even be looked at is told apart by its name
// alone: then it can't be opened for writing either.
[[nodiscard]] bool sameFile(const std::wstring& a, const std::wstring& b);

// Is it one name, but for letter case? As the system's file names are compared, not by a language.
[[nodiscard]] bool equalNames(const std::wstring& a, const std::wstring& b);

// Deletes `path`, unless it is `kept`, which is asked of the very file that goes. One that another
// program has open for a moment (a virus scanner) is tried for again for half a second. A stream
// ("a.mp4:x") goes without its file. S_OK when the file is gone, also when it never was.
[[nodiscard]] HRESULT deleteFileUnlessSame(const std::wstring& path, const std::wstring& kept);

// A short name, absolute, in the folder of `path`, that nothing has yet; another one at each call.
[[nodiscard]] std::wstring unusedNameBeside(const std::wstring& path);

// Whether replaceFileUnlessSame could replace the file at this moment: the error for which not.
// S_OK too when there is none.
[[nodiscard]] HRESULT askReplaceable(const std::wstring& path);

// Moves `from` to `to` on the same volume, in place of what is there, unless that is `kept`. As
// patient as the above.
[[nodiscard]] HRESULT replaceFileUnlessSame(const std::wstring& from, const std::wstring& to,
                                            const std::wstring& kept);

// Likewise, where nothing may stand: ERROR_ALREADY_EXISTS when something does.
[[nodiscard]] HRESULT moveToFreeName(const std::wstring& from, const std::wstring& to);

} // namespace velkantrix
