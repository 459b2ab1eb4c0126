#include "app/associations.h"

#include <windows.h>

#include <gtest/gtest.h>

#include "tests/windows/scratch_registry.h"

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

} // namespace
} // namespace velkantrix
