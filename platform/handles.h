// handles.h: owners of the kernel's handles.
#pragma once

#include <windows.h>

#include "base/unique_handle.h"

namespace velkantrix {

// What CreateFile and its like return: INVALID_HANDLE_VALUE is none.
struct FileTraits {
    using Value = HANDLE;
    static Value none() { return INVALID_HANDLE_VALUE; }
    static void close(Value file) { CloseHandle(file); }
};
using UniqueFile = UniqueHandle<FileTraits>;

// Text that the system allocated.
struct LocalTextTraits {
    using Value = wchar_t*;
    static Value none() { return nullptr; }
    static void close(Value text) { LocalFree(text); }
};
using UniqueLocalText = UniqueHandle<LocalTextTraits>;

} // namespace velkantrix
