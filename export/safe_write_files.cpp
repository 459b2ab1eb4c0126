// Threads: any.
#include "export/safe_write_files.h"

#include <windows.h>

#include "export/export_core.h"
#include "export/job_rules.h"
#include "platform/files.h"
#include "platform/hresult.h"

namespace velkantrix {
namespace {

constexpr int LAST_VERSION = 1000; // of a name, after which it is given up

std::wstring textOfFailure(HRESULT hr) {
    return SUCCEEDED(hr) ? std::wstring() : FormatExportError(hr);
}

std::wstring keepBeside(const std::wstring& path, const std::wstring& target) {
    std::wstring name = path;
    for (int version = 2; version <= LAST_VERSION; version++) {
        const std::wstring wanted = nameOfVersion(target, version);
        const HRESULT hr = moveToFreeName(path, wanted);
        if (SUCCEEDED(hr)) name = wanted;
        if (hr != HRESULT_FROM_WIN32(ERROR_ALREADY_EXISTS)) break;
    }
    return L"The export is complete, but could not take the place of " + target +
           L". It was kept as " + name + L".";
}

} // namespace

void deleteOwnFile(const std::wstring& path, const std::wstring& kept) {
    if (!sameFile(path, kept))
        SetFileAttributesW(nameForSystem(path).c_str(), FILE_ATTRIBUTE_NORMAL);
    ignoreResult(deleteFileUnlessSame(path, kept), "the job has ended without it in any case");
}

void bindSafeWriteCalls(SafeWriteCalls& calls) {
    calls.sameFile = sameFile;
    calls.deleteFile = deleteOwnFile;
    calls.nameToWrite = [](const std::wstring& target) {
        return fileExists(target) ? unusedNameBeside(target) : target;
    };
    calls.whyNotReplaced = [](const std::wstring& target) {
        return textOfFailure(askReplaceable(target));
    };
    calls.replaceFile = [](const std::wstring& path, const std::wstring& target,
                           const std::wstring& kept) {
        return textOfFailure(replaceFileUnlessSame(path, target, kept));
    };
    calls.keepBeside = keepBeside;
}

} // namespace velkantrix
