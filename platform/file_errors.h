// file_errors.h: what calls about files have in common. Any thread.
#pragma once

#include <windows.h>

namespace velkantrix {

// A handle that was opened so keeps nobody from the file.
inline constexpr DWORD SHARE_ALL = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

[[nodiscard]] inline bool isNotThere(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

// The calling thread's last error; never 0: what has failed isn't done.
[[nodiscard]] inline DWORD lastError() {
    const DWORD error = GetLastError();
    return error == ERROR_SUCCESS ? ERROR_GEN_FAILURE : error;
}

} // namespace velkantrix
