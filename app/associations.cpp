#include "app/associations.h"

#include <windows.h>

#include <shlobj.h>

#include <string>

#include "platform/files.h"
#include "platform/hresult.h"
#include "platform/registry.h"

namespace velkantrix {
namespace {

constexpr const wchar_t* EXTENSIONS[] = {L".mp4",  L".mkv", L".mov", L".avi",
                                         L".webm", L".m4v", L".ts",  L".mts"};
constexpr const wchar_t* PROGRAM_ID = L"Velkantrix.Video";

void write(const std::wstring& key, const std::wstring& name, const std::wstring& text) {
    ignoreResult(writeRegistryText(key, name, text), "the program works without");
}

} // namespace

void registerAssociations() {
    const std::wstring path = programPath();
    if (path.empty()) return;
    const std::wstring classes = L"Software\\Classes\\";
    const std::wstring videos = classes + PROGRAM_ID;
    const std::wstring program = classes + L"Applications\\Velkantrix.exe";
    const std::wstring capabilities = L"Software\\Velkantrix\\Capabilities";
    const std::wstring open = L"\"" + path + L"\" \"%1\"";
    write(videos, L"", L"Video file");
    write(videos + L"\\DefaultIcon", L"", L"\"" + path + L"\",0");
    write(videos + L"\\shell\\open\\command", L"", open);
    write(program, L"FriendlyAppName", L"Velkantrix");
    write(program + L"\\shell\\open\\command", L"", open);
    write(capabilities, L"ApplicationName", L"Velkantrix");
    write(capabilities, L"ApplicationDescription", L"Fast native video cutter and clip exporter");
    for (const wchar_t* extension : EXTENSIONS)
        write(classes + extension + L"\\OpenWithProgids", PROGRAM_ID, L"");
    for (const wchar_t* extension : EXTENSIONS)
        write(capabilities + L"\\FileAssociations", extension, PROGRAM_ID);
    write(L"Software\\RegisteredApplications", L"Velkantrix", capabilities);
    SHChangeNotify(SHCNE_ASSOCCHANGED, SHCNF_IDLIST, nullptr, nullptr);
}

} // namespace velkantrix
