// library.h: functions of libraries that are loaded while the program runs.
#pragma once

#include <windows.h>

#include <bit>

namespace velkantrix {

// Loads a library of the system's, from its own folder only. None when there is no such library. It
// stays loaded.
[[nodiscard]] inline HMODULE loadSystemLibrary(const wchar_t* name) {
    return LoadLibraryExW(name, nullptr, LOAD_LIBRARY_SEARCH_SYSTEM32);
}

// The function that the library exports by that name, or by the number that MAKEINTRESOURCEA made a
// name of; none when it doesn't, or when there is no library.
template <class Function>
[[nodiscard]] Function* findFunction(HMODULE library, const char* name) {
    return library ? std::bit_cast<Function*>(GetProcAddress(library, name)) : nullptr;
}

} // namespace velkantrix
