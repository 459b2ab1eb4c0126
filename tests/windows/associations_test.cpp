#include "app/associations.h"

#include <windows.h>

#include <shlobj.h>

#include <algorithm>
#include <string>
#include <vector>

#include <gmock/gmock.h>
#include <gtest/gtest.h>

#include "tests/windows/replaced_import.h"
#include "tests/windows/scratch_registry.h"

extern "C" decltype(&SHChangeNotify) __imp_SHChangeNotify;
extern "C" decltype(&RegSetValueExW) __imp_RegSetValueExW;
extern "C" decltype(&GetModuleFileNameW) __imp_GetModuleFileNameW;

namespace velkantrix {
namespace {

std::wstring ownPath() {
    wchar_t path[MAX_PATH] = L"";
    GetModuleFileNameW(nullptr, path, MAX_PATH);
    return path;
}

class Associations : public testing::Test {
protected:
    using Key = std::pair<std::wstring, std::wstring>;

    static RegistryEntry text(const std::wstring& value) { return ScratchRegistry::text(value); }

    static RegistryEntries expected() {
        const std::wstring open = L"\"" + ownPath() + L"\" \"%1\"";
        const std::wstring videos = L"Software\\Classes\\Velkantrix.Video";
        const std::wstring program = L"Software\\Classes\\Applications\\Velkantrix.exe";
        const std::wstring capabilities = L"Software\\Velkantrix\\Capabilities";
        RegistryEntries entries = {
            {Key(videos, L""), text(L"Video file")},
            {Key(videos + L"\\DefaultIcon", L""), text(L"\"" + ownPath() + L"\",0")},
            {Key(videos + L"\\shell\\open\\command", L""), text(open)},
            {Key(program, L"FriendlyAppName"), text(L"Velkantrix")},
            {Key(program + L"\\shell\\open\\command", L""), text(open)},
            {Key(capabilities, L"ApplicationName"), text(L"Velkantrix")},
            {Key(capabilities, L"ApplicationDescription"),
             text(L"Fast native video cutter and clip exporter")},
            {Key(L"Software\\RegisteredApplications", L"Velkantrix"), text(capabilities)},
        };
        for (const wchar_t* extension :
             {L".mp4", L".mkv", L".mov", L".avi", L".webm", L".m4v", L".ts", L".mts"}) {
            entries[{std::wstring(L"Software\\Classes\\") + extension + L"\\OpenWithProgids",
                     L"Velkantrix.Video"}] = text(L"");
            entries[{capabilities + L"\\FileAssociations", extension}] = text(L"Velkantrix.Video");
        }
        return entries;
    }

    ScratchRegistry registry;
};

TEST_F(Associations, AreExactlyTheseValues) {
    registerAssociations();
    EXPECT_EQ(ScratchRegistry::entries(L"Software"), expected());
}

TEST_F(Associations, ASecondStartChangesNothing) {
    registerAssociations();
    registerAssociations();
    EXPECT_EQ(ScratchRegistry::entries(L"Software"), expected());
}

TEST_F(Associations, AProgramThatWasMovedIsFoundAgain) {
    const auto old = ScratchRegistry::text(L"\"C:\\old\\Velkantrix.exe\" \"%1\"");
    for (const wchar_t* key : {L"Software\\Classes\\Velkantrix.Video\\shell\\open\\command",
                               L"Software\\Classes\\Velkantrix.Video\\DefaultIcon",
                               L"Software\\Classes\\Applications\\Velkantrix.exe"
                               L"\\shell\\open\\command"})
        ScratchRegistry::put(key, L"", old.type, old.bytes);
    registerAssociations();
    EXPECT_EQ(ScratchRegistry::entries(L"Software"), expected());
}

TEST_F(Associations, AnotherProgramsVideosStayItsOwn) {
    const auto other = ScratchRegistry::text(L"Other.Video");
    ScratchRegistry::put(L"Software\\Classes\\.mp4", L"", other.type, other.bytes);
    ScratchRegistry::put(L"Software\\Classes\\.mp4\\OpenWithProgids", L"Other.Video", REG_NONE, {});
    registerAssociations();
    RegistryEntries entries = expected();
    entries[{L"Software\\Classes\\.mp4", L""}] = other;
    entries[{L"Software\\Classes\\.mp4\\OpenWithProgids", L"Other.Video"}] = {REG_NONE, {}};
    EXPECT_EQ(ScratchRegistry::entries(L"Software"), entries);
}

// What the system is asked, in this order: the names that are written, and then the shell is told.
std::vector<std::wstring>& asked() {
    static std::vector<std::wstring> names;
    return names;
}

LSTATUS WINAPI noteValue(HKEY, const wchar_t* name, DWORD, DWORD, const BYTE*, DWORD) {
    asked().emplace_back(name);
    return ERROR_SUCCESS;
}

void WINAPI noteChange(LONG event, UINT flags, const void* first, const void* second) {
    EXPECT_EQ(event, SHCNE_ASSOCCHANGED);
    EXPECT_EQ(flags, static_cast<UINT>(SHCNF_IDLIST));
    EXPECT_FALSE(first);
    EXPECT_FALSE(second);
    asked().emplace_back(L"the shell is told");
}

TEST_F(Associations, TheShellIsToldOnceWhenAllIsWritten) {
    asked().clear();
    {
        const ReplacedImport<decltype(&RegSetValueExW)> value(__imp_RegSetValueExW, noteValue);
        const ReplacedImport<decltype(&SHChangeNotify)> change(__imp_SHChangeNotify, noteChange);
        registerAssociations();
    }
    std::vector<std::wstring> expected = {
        L"", L"", L"", L"FriendlyAppName", L"", L"ApplicationName", L"ApplicationDescription"};
    for (int i = 0; i < 8; ++i) expected.emplace_back(L"Velkantrix.Video");
    for (const wchar_t* extension :
         {L".mp4", L".mkv", L".mov", L".avi", L".webm", L".m4v", L".ts", L".mts"})
        expected.emplace_back(extension);
    expected.emplace_back(L"Velkantrix");
    expected.emplace_back(L"the shell is told");
    EXPECT_EQ(asked(), expected);
}

// A volatile key can't have others in it that stay.
TEST_F(Associations, AKeyThatCantBeMadeIsPassedOver) {
    HKEY key = nullptr;
    ASSERT_EQ(RegCreateKeyW(HKEY_CURRENT_USER, L"Software\\Classes", &key), ERROR_SUCCESS);
    RegCloseKey(key);
    ASSERT_EQ(RegCreateKeyExW(HKEY_CURRENT_USER, L"Software\\Classes\\.mp4", 0, nullptr,
                              REG_OPTION_VOLATILE, KEY_ALL_ACCESS, nullptr, &key, nullptr),
              ERROR_SUCCESS);
    registerAssociations();
    RegCloseKey(key);
    RegistryEntries entries = expected();
    entries.erase({L"Software\\Classes\\.mp4\\OpenWithProgids", L"Velkantrix.Video"});
    EXPECT_EQ(ScratchRegistry::entries(L"Software"), entries);
}

DWORD& pathLength() {
    static DWORD length = 0;
    return length;
}

// As the system does where there isn't room for all of it.
DWORD WINAPI nameOfThatLength(HMODULE, wchar_t* path, DWORD room) {
    const std::wstring whole = L"C:\\" + std::wstring(pathLength() - 3, L'x');
    const std::size_t given = std::min<std::size_t>(whole.size(), room - 1);
    whole.copy(path, given);
    path[given] = L'\0';
    return whole.size() < room ? static_cast<DWORD>(whole.size()) : room;
}

TEST_F(Associations, AProgramWhoseNameIsTooLongIsNotOfferedByHalfOfIt) {
    const ReplacedImport<decltype(&GetModuleFileNameW)> replaced(__imp_GetModuleFileNameW,
                                                                 nameOfThatLength);
    pathLength() = 260;
    registerAssociations();
    EXPECT_TRUE(ScratchRegistry::entries(L"Software").empty());
    pathLength() = 259;
    registerAssociations();
    EXPECT_EQ(ScratchRegistry::entries(L"Software"), expected());
}

} // namespace
} // namespace velkantrix
