// user-registry: the current user's registry, for tests.
//
//     dump                     every value, a line of JSON each: [key, name, type, bytes in hex]
//     put KEY NAME TYPE HEX    writes one; TYPE in decimal. "" for no bytes
//
// Lines in UTF-8.
#include <windows.h>

#include <iostream>
#include <string>
#include <vector>

#include "tests/e2e/json_text.h"

namespace {

std::string hex(const std::vector<BYTE>& bytes) {
    constexpr const char* DIGITS = "0123456789abcdef";
    std::string text;
    for (const BYTE byte : bytes) {
        text += DIGITS[byte >> 4];
        text += DIGITS[byte & 15];
    }
    return text;
}

void dump(HKEY key, const std::wstring& path) {
    std::vector<BYTE> bytes(1 << 20);
    std::vector<wchar_t> name(16384);
    for (DWORD i = 0;; ++i) {
        auto nameSize = static_cast<DWORD>(name.size());
        auto size = static_cast<DWORD>(bytes.size());
        DWORD type = 0;
        if (RegEnumValueW(key, i, name.data(), &nameSize, nullptr, &type, bytes.data(), &size) !=
            ERROR_SUCCESS)
            break;
        std::cout << '[' << quoted(path) << ',' << quoted({name.data(), nameSize}) << ',' << type
                  << ",\"" << hex({bytes.begin(), bytes.begin() + size}) << "\"]\n";
    }
    for (DWORD i = 0; RegEnumKeyW(key, i, name.data(), 256) == ERROR_SUCCESS; ++i) {
        HKEY child = nullptr;
        if (RegOpenKeyExW(key, name.data(), 0, KEY_READ, &child) != ERROR_SUCCESS) continue;
        dump(child, path.empty() ? name.data() : path + L"\\" + name.data());
        RegCloseKey(child);
    }
}

} // namespace

int wmain(int count, wchar_t** words) {
    const std::wstring verb = count > 1 ? words[1] : L"";
    if (verb == L"dump") {
        dump(HKEY_CURRENT_USER, L"");
        return 0;
    }
    if (verb != L"put" || count != 6) return 2;
    const std::wstring digits = words[5];
    std::vector<BYTE> bytes;
    for (std::size_t i = 0; i + 1 < digits.size(); i += 2)
        bytes.push_back(static_cast<BYTE>(std::stoul(digits.substr(i, 2), nullptr, 16)));
    return RegSetKeyValueW(HKEY_CURRENT_USER, words[2], words[3],
                           static_cast<DWORD>(_wtoi(words[4])), bytes.data(),
                           static_cast<DWORD>(bytes.size())) == ERROR_SUCCESS
               ? 0
               : 1;
}
