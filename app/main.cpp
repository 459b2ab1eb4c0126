// main.cpp: the start of the program, from top to bottom, and its one message loop.
#include <windows.h>

#include <commctrl.h>
#include <shellapi.h>
#include <shobjidl.h>

#include <string>

#include "app/associations.h"
#include "app/bindings.h"
#include "app/dark_mode.h"
#include "app/main_window.h"
#include "app/message_loop.h"
#include "app/placing.h"
#include "app/settings.h"
#include "edit/open_flow.h"
#include "platform/files.h"
#include "platform/handles.h"
#include "platform/hresult.h"
#include "platform/library.h"
#include "platform/media_startup.h"
#include "platform/threads.h"
#include "playback/byte_stream_handler.h"
#include "playback/media_end.h"

namespace velkantrix {
namespace {

template <class Policy>
void setPolicy(PROCESS_MITIGATION_POLICY kind, DWORD flags) {
    static_assert(sizeof(Policy) == sizeof flags);
    SetProcessMitigationPolicy(kind, &flags, sizeof flags); // what the system can't do it doesn't
}

// Nothing is loaded into this process from outside, and it starts no others.
void hardenProcess() {
    setPolicy<PROCESS_MITIGATION_EXTENSION_POINT_DISABLE_POLICY>(ProcessExtensionPointDisablePolicy,
                                                                 1);
    // Not from the network, not from places of low trust, the system's own ones first.
    setPolicy<PROCESS_MITIGATION_IMAGE_LOAD_POLICY>(ProcessImageLoadPolicy, 1 | 2 | 4);
    setPolicy<DWORD>(static_cast<PROCESS_MITIGATION_POLICY>(13), 1); // no child processes
}

// The first argument, if it is a file. What else is there isn't looked at.
std::wstring fileToOpen() {
    struct ArgumentsTraits {
        using Value = wchar_t**;
        static Value none() { return nullptr; }
        static void close(Value words) { LocalFree(static_cast<void*>(words)); }
    };
    int count = 0;
    const UniqueHandle<ArgumentsTraits> words(CommandLineToArgvW(GetCommandLineW(), &count));
    if (!words || count < 2) return {};
    const wchar_t* const path = words.get()[1];
    return isFile(path) ? path : L"";
}

// The first open of a video then waits for none of this. A thread that can't be started ends the
// process.
void warmUp() noexcept {
    startDetached([] {
        ignoreResult(startMedia(registerMp4Source), "the open that needs it tells the user");
        for (const wchar_t* name : {L"mfplay.dll", L"mfreadwrite.dll"})
            static_cast<void>(loadSystemLibrary(name)); // without it, what needs it tells
    });
}

void runMessageLoop(HWND window, HACCEL accelerators) {
    MSG message;
    while (GetMessageW(&message, nullptr, 0, 0) > 0) handleMessage(window, accelerators, message);
}

void showAndServe(HWND window, int show, const std::wstring& path) {
    const HACCEL accelerators = createAccelerators();
    darkenTitleBar(window);
    if (!loadWindowPlacement(window)) {
        placeWindowFirst();
        ShowWindow(window, show);
    }
    UpdateWindow(window);
    if (path.empty())
        warmUp();
    else
        openVideo(path);
    runMessageLoop(window, accelerators);
    DestroyAcceleratorTable(accelerators);
}

void run(HINSTANCE instance, int show) {
    hardenProcess();
    ignoreResult(SetCurrentProcessExplicitAppUserModelID(L"Quorndelph.Velkantrix"),
                 "the taskbar then groups by the program's path");
    SetProcessDpiAwarenessContext(DPI_AWARENESS_CONTEXT_PER_MONITOR_AWARE_V2);
    const HRESULT apartment = CoInitializeEx(nullptr, COINIT_APARTMENTTHREADED);
    const INITCOMMONCONTROLSEX controls = {sizeof controls, ICC_BAR_CLASSES};
    InitCommonControlsEx(&controls);
    registerAssociations();
    loadVolume();
    loadRecent();
    const std::wstring path = fileToOpen();
    darkenMenus();
    bindHosts();
    registerWindowClasses(instance);
    if (const HWND window = createMainWindow(instance)) showAndServe(window, show, path);
    endMedia();
    if (SUCCEEDED(apartment)) CoUninitialize();
}

} // namespace
} // namespace velkantrix

int WINAPI wWinMain(HINSTANCE instance, HINSTANCE, PWSTR, int show) {
    velkantrix::run(instance, show);
    return 0;
}
