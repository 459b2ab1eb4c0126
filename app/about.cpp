#include "app/about.h"

#include <cstddef>
#include <vector>

#include "platform/files.h"

namespace velkantrix {

std::wstring programVersion() {
    const std::wstring path = programPath();
    DWORD unused = 0;
    const DWORD size = GetFileVersionInfoSizeW(path.c_str(), &unused);
    std::vector<std::byte> data(size);
    if (size == 0 || !GetFileVersionInfoW(path.c_str(), 0, size, data.data())) return {};
    void* found = nullptr;
    UINT length = 0;
    if (!VerQueryValueW(data.data(), L"\\", &found, &length) || length < sizeof(VS_FIXEDFILEINFO))
        return {};
    const auto& version = *static_cast<const VS_FIXEDFILEINFO*>(found);
    return std::to_wstring(HIWORD(version.dwFileVersionMS)) + L"." +
           std::to_wstring(LOWORD(version.dwFileVersionMS)) + L"." +
           std::to_wstring(HIWORD(version.dwFileVersionLS));
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
