#include "app/about.h"

#include <cstddef>
#include <vector>

#include "platform/files.h"
#include "platform/library.h"

namespace velkantrix {

std::wstring versionText(const VS_FIXEDFILEINFO& version) {
    return std::to_wstring(HIWORD(version.dwFileVersionMS)) + L"." +
           std::to_wstring(LOWORD(version.dwFileVersionMS)) + L"." +
           std::to_wstring(HIWORD(version.dwFileVersionLS));
}

// Loaded from the system's folder: an import would be looked for beside the program first.
std::wstring programVersion() {
    const HMODULE library = loadSystemLibrary(L"version.dll");
    const auto getSize =
        findFunction<decltype(GetFileVersionInfoSizeW)>(library, "GetFileVersionInfoSizeW");
    const auto getInfo =
        findFunction<decltype(GetFileVersionInfoW)>(library, "GetFileVersionInfoW");
    const auto query = findFunction<decltype(VerQueryValueW)>(library, "VerQueryValueW");
    if (!getSize || !getInfo || !query) return {};
    const std::wstring path = programPath();
    DWORD unused = 0;
    const DWORD size = getSize(path.c_str(), &unused);
    std::vector<std::byte> data(size);
    if (size == 0 || !getInfo(path.c_str(), 0, size, data.data())) return {};
    void* found = nullptr;
    UINT length = 0;
    if (!query(data.data(), L"\\", &found, &length) || length < sizeof(VS_FIXEDFILEINFO)) return {};
    return versionText(*static_cast<const VS_FIXEDFILEINFO*>(found));
}

std::wstring aboutText(const std::wstring& version) {
    std::wstring text = L"Velkantrix";
    if (!version.empty()) text += L"  " + version;
    return text + L"\n\nA fast native video cutter. One executable \u2014 no installer, no "
                  L"dependencies, no network.\n\nQuorndelph\nhttps://quorndelph.example";
}

void showAbout(HWND owner) {
    MessageBoxW(owner, aboutText(programVersion()).c_str(), L"About Velkantrix",
                MB_OK | MB_ICONINFORMATION);
}

} // namespace velkantrix
