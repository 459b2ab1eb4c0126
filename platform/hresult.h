// hresult.h: passing results on.
#pragma once

#include <windows.h>

// Ends the function with the result when it says failure. The function returns HRESULT.
#define RETURN_IF_FAILED(call)                                                                     \
    do {                                                                                           \
        const HRESULT returnIfFailedResult = (call);                                               \
        if (FAILED(returnIfFailedResult)) return returnIfFailedResult;                             \
    } while (false)

namespace velkantrix {

// For a result that can't matter; the reason is for the reader.
inline void ignoreResult(HRESULT, const char* /*reason*/) {}

// The last error of the calling thread; never success, though the thread's error says so.
[[nodiscard]] inline HRESULT lastErrorResult() {
    const DWORD error = GetLastError();
    return error == ERROR_SUCCESS ? E_FAIL : HRESULT_FROM_WIN32(error);
}

} // namespace velkantrix
