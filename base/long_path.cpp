#include "base/long_path.h"

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

} // namespace velkantrix
