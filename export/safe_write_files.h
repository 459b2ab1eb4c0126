// safe_write_files.h: the file system's side of safe_write.h.
#pragma once

#include "export/safe_write.h"

namespace velkantrix {

void bindSafeWriteCalls(SafeWriteCalls& calls);

// Takes away a file that an export has made itself, unless it is `kept`. The copy of a file that is
// read-only is read-only too, and couldn't be deleted as it is.
void deleteOwnFile(const std::wstring& path, const std::wstring& kept);

} // namespace velkantrix
