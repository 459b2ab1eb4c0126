// file_claim.h: one of all the programs on this machine that ask may have a file for itself.
#pragma once

#include <windows.h>

#include <string>

#include "base/unique_handle.h"

namespace velkantrix {

struct ClaimTraits {
    using Value = HANDLE;
    static Value none() { return nullptr; }
    static void close(Value claim) { CloseHandle(claim); }
};
// Held as long as this lives; ends with the process in any case. It keeps nobody from the file who
// doesn't ask.
using FileClaim = UniqueHandle<ClaimTraits>;

// By whatever name the file goes. The error is 0 with a claim; ERROR_ALREADY_EXISTS when another
// one has the file, in this process or elsewhere.
[[nodiscard]] DWORD claimFile(const std::wstring& path, FileClaim& claim);

} // namespace velkantrix
