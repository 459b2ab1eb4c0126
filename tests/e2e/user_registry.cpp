// user-registry: the current user's registry, for tests.
//
//     dump                     every value, a line of JSON each: [key, name, type, bytes in hex];
//                              for each key a line too, whose name is null. Fails where it can't
//                              see all
//     put KEY NAME TYPE HEX    writes one; TYPE in decimal. "" for no bytes
//     delete KEY [NAME]        the key with all in it, or one value
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

// Whether all of it could be seen.
bool dump(HKEY key, const std::wstring& path) {
    static std::vector<BYTE> bytes(1 << 22);
    std::vector<wchar_t> name(16384);
    std::cout << '[' << quoted(path) << ",null,0,\"\"]\n";
    LSTATUS status = ERROR_SUCCESS;
    for (DWORD i = 0;; ++i) {
        auto nameSize = static_cast<DWORD>(name.size());
        auto size = static_cast<DWORD>(bytes.size());
        DWORD type = 0;
        status = RegEnumValueW(key, i, name.data(), &nameSize, nullptr, &type, bytes.data(), &size);
        if (status != ERROR_SUCCESS) break;
        std::cout << '[' << quoted(path) << ',' << quoted({name.data(), nameSize}) << ',' << type
                  << ",\"" << hex({bytes.begin(), bytes.begin() + size}) << "\"]\n";
    }
    if (status != ERROR_NO_MORE_ITEMS) return false;
    for (DWORD i = 0;; ++i) {
        status = RegEnumKeyW(key, i, name.data(), 256);
        if (status != ERROR_SUCCESS) return status == ERROR_NO_MORE_ITEMS;
        HKEY child = nullptr;
        if (RegOpenKeyExW(key, name.data(), 0, KEY_READ, &child) != ERROR_SUCCESS) return false;
        const bool all = dump(child, path.empty() ? name.data() : path + L"\\" + name.data());
        RegCloseKey(child);
        if (!all) return false;
    }
}

bool isGone(LSTATUS status) {
    return status == ERROR_SUCCESS || status == ERROR_FILE_NOT_FOUND;
}

} // namespace

int wmain(int count, wchar_t** words) {
    const std::wstring verb = count > 1 ? words[1] : L"";
    if (verb == L"dump") return dump(HKEY_CURRENT_USER, L"") ? 0 : 1;
    if (verb == L"delete" && count == 3)
        return isGone(RegDeleteTreeW(HKEY_CURRENT_USER, words[2])) ? 0 : 1;
    if (verb == L"delete" && count == 4)
        return isGone(RegDeleteKeyValueW(HKEY_CURRENT_USER, words[2], words[3])) ? 0 : 1;
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
