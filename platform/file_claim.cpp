#include "platform/file_claim.h"

#include <cwchar>
#include <utility>

#include "base/hash64.h"
#include "platform/files.h"

namespace velkantrix {

DWORD claimFile(const std::wstring& path, FileClaim& claim) {
    Hash64 hash(0xcbf29ce484222325ULL);
    for (const wchar_t unit : identityText(path)) hash.add(unit);
    wchar_t name[64];
    std::swprintf(name, 64, L"Global\\Velkantrix-file-%016llX",
                  static_cast<unsigned long long>(hash.value()));
    // That it exists is the claim; nobody waits for it. One of another user's may not be opened.
    claim = FileClaim(CreateMutexW(nullptr, FALSE, name));
    const DWORD error = GetLastError();
    if (claim && error != ERROR_ALREADY_EXISTS) return ERROR_SUCCESS;
    claim.reset();
    return error == ERROR_ACCESS_DENIED || error == ERROR_SUCCESS ? DWORD{ERROR_ALREADY_EXISTS}
                                                                  : error;
}

} // namespace velkantrix
