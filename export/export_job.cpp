// Threads: the UI thread; the functions of JobCalls run on a job's threads, two at once.
#include "export/export_job.h"

#include <shlobj.h>

#include <functional>
#include <memory>

#include "base/unique_handle.h"
#include "export/export_core.h"
#include "export/export_job_core.h"
#include "export/safe_write_files.h"
#include "mp4/video_claim.h"
#include "platform/dialogs.h"
#include "platform/files.h"
#include "platform/hresult.h"
#include "platform/system_text.h"
#include "platform/taskbar.h"
#include "platform/threads.h"

namespace velkantrix {
namespace {

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

// A job whose end got lost would lock the edit for good: the queue may be full for a while.
void postCompletion(HWND window, bool success) {
    while (!PostMessageW(window, WM_EXPORT_FINISHED, success ? 1 : 0, 0) && IsWindow(window))
        Sleep(PAUSE_BEFORE_POSTING_AGAIN);
}

void bindCalls(JobCalls& calls, HWND window) {
    bindSafeWriteCalls(calls);
    calls.exportFile = ExportFile;
    calls.copyFile = copyFile;
    calls.claimOfVideo = [](const std::wstring& source, const std::function<bool()>& cancelled) {
        return readVideoClaim(source, cancelled);
    };
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

// Boxes disable the window; in a menu, a drag or a move keys and buttons are meant for that.
bool canAsk(HWND window) {
    constexpr DWORD BUSY = GUI_INMENUMODE | GUI_POPUPMENUMODE | GUI_SYSTEMMENUMODE | GUI_INMOVESIZE;
    GUITHREADINFO thread = {};
    thread.cbSize = sizeof thread;
    const bool busy = GetGUIThreadInfo(GetCurrentThreadId(), &thread) &&
                      ((thread.flags & BUSY) != 0 || thread.hwndCapture);
    return IsWindowEnabled(window) && !busy;
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
    host.canAsk = [window] {
        return canAsk(window);
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
