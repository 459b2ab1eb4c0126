#include "platform/file_claim.h"

#include <cwchar>

#include "base/hash64.h"
#include "platform/files.h"

namespace velkantrix {

FileClaim claimFile(const std::wstring& path) {
    Hash64 hash(0xcbf29ce484222325ULL);
    for (const wchar_t unit : identityText(path)) hash.add(unit);
    wchar_t name[64];
    std::swprintf(name, 64, L"Global\\Velkantrix-file-%016llX",
                  static_cast<unsigned long long>(hash.value()));
    // That it exists is the claim; nobody waits for it. One of another user's may not be opened.
    FileClaim claim(CreateMutexW(nullptr, FALSE, name));
    if (GetLastError() == ERROR_ALREADY_EXISTS) claim.reset();
    return claim;
}

} // namespace velkantrix
