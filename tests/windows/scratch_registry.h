// scratch_registry.h: an empty registry of the user's for a test, in the place of the real one.
#pragma once

#include <windows.h>

#include <cstdint>
#include <cstdlib>
#include <map>
#include <string>
#include <utility>
#include <vector>

#include <gtest/gtest.h>

namespace velkantrix {

// A value as it lies in the registry.
struct RegistryEntry {
    DWORD type = 0;
    std::vector<std::uint8_t> bytes;
    bool operator==(const RegistryEntry&) const = default;
};

// Each key's values by the key's path and the value's name.
using RegistryEntries = std::map<std::pair<std::wstring, std::wstring>, RegistryEntry>;

// Without it a test would write into the user's own: then the program ends.
class ScratchRegistry {
public:
    ScratchRegistry() {
        RegDeleteTreeW(HKEY_CURRENT_USER, place_.c_str());
        if (RegCreateKeyExW(HKEY_CURRENT_USER, place_.c_str(), 0, nullptr, REG_OPTION_NON_VOLATILE,
                            KEY_ALL_ACCESS, nullptr, &root_, nullptr) != ERROR_SUCCESS ||
            RegOverridePredefKey(HKEY_CURRENT_USER, root_) != ERROR_SUCCESS)
            std::abort();
    }
    ~ScratchRegistry() {
        RegOverridePredefKey(HKEY_CURRENT_USER, nullptr);
        RegCloseKey(root_);
        RegDeleteTreeW(HKEY_CURRENT_USER, place_.c_str());
    }
    ScratchRegistry(const ScratchRegistry&) = delete;
    ScratchRegistry& operator=(const ScratchRegistry&) = delete;

    // Of that key and those under it.
    [[nodiscard]] static RegistryEntries entries(const std::wstring& key) {
        RegistryEntries found;
        HKEY opened = nullptr;
        if (RegOpenKeyExW(HKEY_CURRENT_USER, key.c_str(), 0, KEY_READ, &opened) != ERROR_SUCCESS)
            return found;
        addValues(key, opened, found);
        wchar_t name[256] = L"";
        for (DWORD i = 0; RegEnumKeyW(opened, i, name, 256) == ERROR_SUCCESS; ++i)
            found.merge(entries(key + L"\\" + name));
        RegCloseKey(opened);
        return found;
    }

    static void put(const std::wstring& key, const std::wstring& name, DWORD type,
                    const std::vector<std::uint8_t>& bytes) {
        EXPECT_EQ(RegSetKeyValueW(HKEY_CURRENT_USER, key.c_str(), name.c_str(), type, bytes.data(),
                                  static_cast<DWORD>(bytes.size())),
                  ERROR_SUCCESS);
    }

    // As the registry holds them.
    [[nodiscard]] static RegistryEntry number(DWORD value) {
        return {REG_DWORD, bytesOf(&value, sizeof value)};
    }
    [[nodiscard]] static RegistryEntry text(const std::wstring& value) {
        return {REG_SZ, bytesOf(value.c_str(), (value.size() + 1) * sizeof(wchar_t))};
    }
    [[nodiscard]] static std::vector<std::uint8_t> bytesOf(const void* data, std::size_t size) {
        const auto* const bytes = static_cast<const std::uint8_t*>(data);
        return {bytes, bytes + size};
    }

private:
    // Another program's tests may run at the same time.
    const std::wstring place_ =
        L"Software\\VelkantrixTests" + std::to_wstring(GetCurrentProcessId());
    static void addValues(const std::wstring& key, HKEY opened, RegistryEntries& found) {
        for (DWORD i = 0;; ++i) {
            wchar_t name[256] = L"";
            DWORD nameSize = 256;
            std::vector<std::uint8_t> bytes(1 << 21);
            auto size = static_cast<DWORD>(bytes.size());
            DWORD type = 0;
            if (RegEnumValueW(opened, i, name, &nameSize, nullptr, &type, bytes.data(), &size) !=
                ERROR_SUCCESS)
                return;
            bytes.resize(size);
            found[{key, name}] = {type, bytes};
        }
    }

    HKEY root_ = nullptr;
};

} // namespace velkantrix
