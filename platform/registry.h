// registry.h: values in the current user's part of the registry. Each call opens the key and closes
// it again. Any thread.
#pragma once

#include <windows.h>

#include <cstddef>
#include <cstdint>
#include <optional>
#include <span>
#include <string>
#include <vector>

#include "platform/hresult.h"

namespace velkantrix {

// Larger values are nobody's that this program reads.
inline constexpr std::size_t MAX_REGISTRY_BYTES = 1 << 20;

// The value's bytes; none where there is no such value, or it is of another type.
[[nodiscard]] std::optional<std::vector<std::uint8_t>>
readRegistry(const std::wstring& key, const std::wstring& name, DWORD type);
[[nodiscard]] std::optional<DWORD> readRegistryNumber(const std::wstring& key,
                                                      const std::wstring& name);

// Makes the key where there is none. An empty name is the key's default value.
[[nodiscard]] HRESULT writeRegistry(const std::wstring& key, const std::wstring& name, DWORD type,
                                    std::span<const std::uint8_t> bytes);
[[nodiscard]] HRESULT writeRegistryNumber(const std::wstring& key, const std::wstring& name,
                                          DWORD number);
[[nodiscard]] HRESULT writeRegistryText(const std::wstring& key, const std::wstring& name,
                                        const std::wstring& text);

[[nodiscard]] HRESULT deleteRegistryValue(const std::wstring& key, const std::wstring& name);

} // namespace velkantrix
