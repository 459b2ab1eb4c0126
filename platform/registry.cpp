#include "platform/registry.h"

#include <algorithm>
#include <array>
#include <bit>

#include "base/unique_handle.h"

namespace velkantrix {
namespace {

struct RegKeyTraits {
    using Value = HKEY;
    static Value none() { return nullptr; }
    static void close(Value key) { RegCloseKey(key); }
};
using UniqueRegKey = UniqueHandle<RegKeyTraits>;

// HRESULT_FROM_WIN32 is a macro that looks at its argument twice.
HRESULT resultOf(LSTATUS status) {
    return HRESULT_FROM_WIN32(static_cast<DWORD>(status));
}

using NumberBytes = std::array<std::uint8_t, sizeof(DWORD)>;

UniqueRegKey openKey(const std::wstring& key, REGSAM access) {
    UniqueRegKey opened;
    if (RegOpenKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, access, opened.put()) != ERROR_SUCCESS)
        return {};
    return opened;
}

std::span<const std::uint8_t> bytesOf(const std::wstring& text) {
    const auto* const bytes = reinterpret_cast<const std::uint8_t*>(text.c_str());
    return {bytes, (text.size() + 1) * sizeof(wchar_t)};
}

} // namespace

std::optional<std::vector<std::uint8_t>> readRegistry(const std::wstring& key,
                                                      const std::wstring& name, DWORD type) {
    const UniqueRegKey opened = openKey(key, KEY_QUERY_VALUE);
    DWORD found = 0;
    DWORD size = 0;
    if (!opened || RegQueryValueExW(opened.get(), name.c_str(), nullptr, &found, nullptr, &size) !=
                       ERROR_SUCCESS)
        return std::nullopt;
    if (found != type || size > MAX_REGISTRY_BYTES) return std::nullopt;
    // Another program may change it in between. No room at all would only ask for the size again.
    std::vector<std::uint8_t> bytes(std::max<DWORD>(size, 1));
    size = static_cast<DWORD>(bytes.size());
    if (RegQueryValueExW(opened.get(), name.c_str(), nullptr, &found, bytes.data(), &size) !=
            ERROR_SUCCESS ||
        found != type)
        return std::nullopt;
    bytes.resize(size);
    return bytes;
}

std::optional<DWORD> readRegistryNumber(const std::wstring& key, const std::wstring& name) {
    const auto bytes = readRegistry(key, name, REG_DWORD);
    NumberBytes number{};
    if (!bytes || bytes->size() != number.size()) return std::nullopt;
    std::ranges::copy(*bytes, number.begin());
    return std::bit_cast<DWORD>(number);
}

HRESULT writeRegistry(const std::wstring& key, const std::wstring& name, DWORD type,
                      std::span<const std::uint8_t> bytes) {
    UniqueRegKey opened;
    RETURN_IF_FAILED(resultOf(RegCreateKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, nullptr,
                                              REG_OPTION_NON_VOLATILE, KEY_SET_VALUE, nullptr,
                                              opened.put(), nullptr)));
    return resultOf(RegSetValueExW(opened.get(), name.c_str(), 0, type, bytes.data(),
                                   static_cast<DWORD>(bytes.size())));
}

HRESULT writeRegistryNumber(const std::wstring& key, const std::wstring& name, DWORD number) {
    return writeRegistry(key, name, REG_DWORD, std::bit_cast<NumberBytes>(number));
}

HRESULT writeRegistryText(const std::wstring& key, const std::wstring& name,
                          const std::wstring& text) {
    return writeRegistry(key, name, REG_SZ, bytesOf(text));
}

HRESULT deleteRegistryValue(const std::wstring& key, const std::wstring& name) {
    const UniqueRegKey opened = openKey(key, KEY_SET_VALUE);
    if (!opened) return resultOf(ERROR_FILE_NOT_FOUND);
    return resultOf(RegDeleteValueW(opened.get(), name.c_str()));
}

} // namespace velkantrix
