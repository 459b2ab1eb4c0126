// Threads: any.
#include "export/safe_write_files.h"

#include <windows.h>

#include <atomic>

#include "export/export_core.h"
#include "export/job_rules.h"
#include "platform/file_mark.h"
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
    const std::wstring complete =
        L"The export is complete, but could not take the place of " + target + L". ";
    // Somebody may have taken it away, or its folder.
    if (!fileExists(name))
        return complete + L"It is no longer where it was written, as " + name + L".";
    return complete + L"It was kept as " + name + L".";
}

FinishedFile finish(const std::wstring& path, const std::atomic<bool>& cancel) {
    FinishedFile finished;
    const DWORD error = finishFile(path, finished.mark, [&cancel] { return cancel.load(); });
    finished.done = error == ERROR_SUCCESS;
    if (!finished.done) finished.errorText = FormatExportError(HRESULT_FROM_WIN32(error));
    return finished;
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
    calls.finishFile = finish;
    calls.deleteFinished = [](const std::wstring& path, const std::wstring& mark) {
        const DWORD error = deleteMarkedFile(path, mark);
        return error == ERROR_SUCCESS || error == ERROR_FILE_INVALID; // then it is another's
    };
    calls.keepBeside = keepBeside;
}

} // namespace velkantrix
