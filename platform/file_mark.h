// file_mark.h: a finished file is known again by more than its name: another one may have come to
// stand there, from another machine.
//
// Any thread. Errors are the system's numbers, 0 for none. Paths may have any length.
#pragma once

#include <windows.h>

#include <functional>
#include <string>

namespace velkantrix {

// Tells the file from every other one, also from one that comes to stand by its name later; and
// from what it was before it grew. It keeps its mark when it is moved on its volume, as far as the
// file system numbers its files, and when ReplaceFileW gives it another file's times and streams,
// which it does before it can fail. Empty when there is none, or it can't be told.
[[nodiscard]] std::wstring markOf(const std::wstring& path);

// What was written to the file is on the disk itself, and not only in the system's memory, when
// there is no error; and the file's mark is known, if it can be, with an error too. Waits half a
// minute for who has it open, unless it is `cancelled`, which is asked from time to time: then the
// error is ERROR_CANCELLED.
[[nodiscard]] DWORD finishFile(const std::wstring& path, std::wstring& mark,
                               const std::function<bool()>& cancelled);

// Deletes the file by that name if it has the mark; 0 too when nothing stands there. Waits half a
// second for who has it open.
[[nodiscard]] DWORD deleteMarkedFile(const std::wstring& path, const std::wstring& mark);

} // namespace velkantrix
