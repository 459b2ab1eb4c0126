// Threads: the UI thread; the functions of JobCalls run on a job's threads, two at once.
#include "export/export_job.h"

#include <shlobj.h>

#include <memory>

#include "base/unique_handle.h"
#include "export/export_core.h"
#include "export/export_job_core.h"
#include "platform/dialogs.h"
#include "platform/files.h"
#include "platform/hresult.h"
#include "platform/system_text.h"
#include "platform/taskbar.h"
#include "platform/threads.h"

namespace velkantrix {
namespace {

constexpr int LAST_VERSION = 1000;               // of a name
constexpr DWORD PAUSE_BEFORE_POSTING_AGAIN = 50; // milliseconds

struct ItemListTraits {
    using Value = PIDLIST_ABSOLUTE;
    static Value none() { return nullptr; }
    static void close(Value list) { ILFree(list); }
};
using UniqueItemList = UniqueHandle<ItemListTraits>;

DWORD CALLBACK onCopied(LARGE_INTEGER total, LARGE_INTEGER copied, LARGE_INTEGER, LARGE_INTEGER,
                        DWORD, DWORD, HANDLE, HANDLE, void* context) {
    const CopyProgress& progress = *static_cast<const CopyProgress*>(context);
    const bool goesOn = progress(static_cast<std::uint64_t>(copied.QuadPart),
                                 static_cast<std::uint64_t>(total.QuadPart));
    return goesOn ? PROGRESS_CONTINUE : PROGRESS_CANCEL;
}

// A file that the job has made itself. The copy of one that is read-only is read-only too, and
// couldn't be deleted.
void deleteOwnFile(const std::wstring& path, const std::wstring& kept) {
    if (!sameFile(path, kept))
        SetFileAttributesW(nameForSystem(path).c_str(), FILE_ATTRIBUTE_NORMAL);
    ignoreResult(deleteFileUnlessSame(path, kept), "the job has ended without it in any case");
}

// The system takes a broken-off copy away by itself; whether it always does isn't documented.
CopyResult copyFile(const std::wstring& source, const std::wstring& target,
                    const CopyProgress& progress) {
    CopyProgress watched = progress;
    CopyResult result;
    result.done = CopyFileExW(nameForSystem(source).c_str(), nameForSystem(target).c_str(),
                              onCopied, &watched, nullptr, COPY_FILE_FAIL_IF_EXISTS) != FALSE;
    if (result.done) return result;
    const DWORD error = GetLastError();
    result.errorText = systemText(error);
    if (error != ERROR_FILE_EXISTS) deleteOwnFile(target, source);
    return result;
}

std::wstring textOfFailure(HRESULT hr) {
    return SUCCEEDED(hr) ? std::wstring() : FormatExportError(hr);
}

// "out (2).mp4" for "out.mp4", or the next number that nothing has.
std::wstring nameOfNewVersion(const std::wstring& target) {
    const std::size_t nameBegins = target.find_last_of(L"\\/") + 1;
    const std::size_t dot = target.find_last_of(L'.');
    const bool hasExtension = dot != std::wstring::npos && dot > nameBegins;
    const std::wstring stem = hasExtension ? target.substr(0, dot) : target;
    const std::wstring extension = hasExtension ? target.substr(dot) : std::wstring();
    std::wstring name;
    for (int version = 2; version <= LAST_VERSION; version++) {
        name = stem + L" (" + std::to_wstring(version) + L")";
        name += extension;
        if (!fileExists(name)) break;
    }
    return name;
}

// Where somebody has opened the old file meanwhile, the work isn't lost: the new one stays, beside
// it.
std::wstring replaceFile(const std::wstring& path, const std::wstring& target,
                         const std::wstring& kept) {
    const HRESULT hr = replaceFileUnlessSame(path, target, kept);
    if (SUCCEEDED(hr)) return {};
    const std::wstring wanted = nameOfNewVersion(target);
    const bool moved = MoveFileExW(nameForSystem(path).c_str(), nameForSystem(wanted).c_str(), 0);
    std::wstring text = FormatExportError(hr);
    text += L"\n\nThe export is complete, but could not take the place of " + target;
    text += L". It was kept as " + (moved ? wanted : path) + L".";
    return text;
}

// A job whose end got lost would lock the edit for good: the queue may be full for a while.
void postCompletion(HWND window, bool success) {
    while (!PostMessageW(window, WM_EXPORT_FINISHED, success ? 1 : 0, 0) && IsWindow(window))
        Sleep(PAUSE_BEFORE_POSTING_AGAIN);
}

void bindCalls(JobCalls& calls, HWND window) {
    calls.exportFile = ExportFile;
    calls.copyFile = copyFile;
    calls.sameFile = sameFile;
    calls.deleteFile = deleteOwnFile;
    calls.nameToWrite = [](const std::wstring& target) {
        return fileExists(target) ? unusedNameBeside(target) : target;
    };
    calls.whyNotReplaced = [](const std::wstring& target) {
        return textOfFailure(askReplaceable(target));
    };
    calls.replaceFile = replaceFile;
    calls.postCompletion = [window](bool success) {
        postCompletion(window, success);
    };
}

void bindDialogs(JobHost& host, HWND window) {
    host.chooseExportFile = [window](const std::wstring& folder,
                                     const OutputSuggestion& suggestion) {
        return chooseFileToWrite(window, {.folder = folder,
                                          .name = suggestion.name,
                                          .extension = suggestion.extension,
                                          .typeLabel = suggestion.typeLabel});
    };
    host.chooseOutputFolder = [window](const std::wstring& folder) {
        return chooseFolder(window, L"Choose clip output folder", folder);
    };
    host.showError = [window](const std::wstring& text) {
        showErrorBox(window, text);
    };
}

// The state is that of the calling thread, and lasts as long as it does.
void keepAwake(bool awake) {
    SetThreadExecutionState(awake ? ES_CONTINUOUS | ES_SYSTEM_REQUIRED : ES_CONTINUOUS);
}

void flash(HWND window) {
    FLASHWINFO info = {};
    info.cbSize = sizeof info;
    info.hwnd = window;
    info.dwFlags = FLASHW_ALL | FLASHW_TIMERNOFG;
    FlashWindowEx(&info);
}

void showInFolder(const std::wstring& path) {
    const UniqueItemList item(ILCreateFromPathW(path.c_str()));
    if (!item) return; // it is gone
    ignoreResult(SHOpenFolderAndSelectItems(item.get(), 0, nullptr, 0),
                 "the shell tells its troubles by itself");
}

void bindWindow(JobHost& host, HWND window) {
    host.now = [] {
        return static_cast<std::uint64_t>(GetTickCount64());
    };
    host.startThread = startDetached;
    host.keepAwake = keepAwake;
    host.isForeground = [window] {
        return GetForegroundWindow() == window;
    };
    host.flash = [window] {
        flash(window);
    };
    host.showInFolder = showInFolder;
    host.closeWindow = [window] {
        DestroyWindow(window);
    };
    const auto taskbar = std::make_shared<TaskbarProgress>(window);
    host.setTaskbarState = [taskbar](bool runs) {
        taskbar->show(runs);
    };
    host.setTaskbarValue = [taskbar](std::uint32_t thousandths) {
        taskbar->setValue(thousandths, TASKBAR_TOTAL);
    };
}

} // namespace

void bindExportJob(HWND window) {
    JobHost& host = jobHost();
    bindCalls(host.calls, window);
    bindDialogs(host, window);
    bindWindow(host, window);
}

void unbindExportJob() {
    jobHost() = {};
}

} // namespace velkantrix
