#include "base/long_path.h"

#include <string_view>

namespace velkantrix {
namespace {

// Of files (\\?\) and of devices (\\.\): neither is limited in length, nor looked at any further.
bool hasPrefix(const std::wstring& path) {
    return path.starts_with(L"\\\\?\\") || path.starts_with(L"\\\\.\\");
}

} // namespace

std::wstring pathOfAnyLength(const std::wstring& path, const std::wstring& full) {
    if (full.size() < LONG_PATH || hasPrefix(full)) return path;
    if (full.starts_with(L"\\\\")) return L"\\\\?\\UNC" + full.substr(1);
    return L"\\\\?\\" + full;
}

std::wstring pathWithoutPrefix(const std::wstring& path) {
    constexpr std::wstring_view FILES = L"\\\\?\\", SERVERS = L"\\\\?\\UNC\\";
    std::wstring plain;
    if (path.starts_with(SERVERS))
        plain = L"\\\\" + path.substr(SERVERS.size());
    else if (path.starts_with(FILES) && path.size() > FILES.size() + 3 &&
             path.compare(FILES.size() + 1, 2, L":\\") == 0)
        plain = path.substr(FILES.size());
    return plain.empty() || plain.size() >= LONG_PATH ? path : plain;
}

} // namespace velkantrix
