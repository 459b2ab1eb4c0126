// time-start PROGRAM [VIDEO]: starts a program and says how many milliseconds passed until its
// window waits for input, shown and painted; with a video, until the video's picture is on screen.
// Then it closes the window.
#include <windows.h>

#include <cstdio>
#include <string>

namespace {

constexpr DWORD LONGEST_WAIT = 30'000; // milliseconds

struct Started {
    DWORD processId;
    HWND window;
};

// The visible window of the process; none yet is null.
HWND windowOf(DWORD processId) {
    Started search{processId, nullptr};
    EnumWindows(
        [](HWND window, LPARAM data) -> BOOL {
            auto* const wanted = reinterpret_cast<Started*>(data);
            DWORD owner = 0;
            GetWindowThreadProcessId(window, &owner);
            if (owner != wanted->processId || !IsWindowVisible(window)) return TRUE;
            wanted->window = window;
            return FALSE;
        },
        reinterpret_cast<LPARAM>(&search));
    return search.window;
}

bool showsVideo(DWORD processId) {
    const HWND window = windowOf(processId);
    const HWND video = window ? FindWindowExW(window, nullptr, L"Static", nullptr) : nullptr;
    return video && IsWindowVisible(video);
}

bool waitForVideo(const PROCESS_INFORMATION& process) {
    const ULONGLONG begun = GetTickCount64();
    while (!showsVideo(process.dwProcessId)) {
        if (GetTickCount64() - begun > LONGEST_WAIT) return false;
        if (WaitForSingleObject(process.hProcess, 1) != WAIT_TIMEOUT) return false;
    }
    return true;
}

void end(const PROCESS_INFORMATION& process) {
    PostMessageW(windowOf(process.dwProcessId), WM_CLOSE, 0, 0);
    if (WaitForSingleObject(process.hProcess, LONGEST_WAIT) != WAIT_OBJECT_0)
        TerminateProcess(process.hProcess, 99);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
}

} // namespace

int wmain(int count, wchar_t** words) {
    if (count < 2 || count > 3) return 2;
    const bool video = count == 3;
    std::wstring commandLine = L"\"" + std::wstring(words[1]) + L"\"";
    if (video) commandLine += L" \"" + std::wstring(words[2]) + L"\"";
    LARGE_INTEGER frequency;
    LARGE_INTEGER begun;
    LARGE_INTEGER shown;
    QueryPerformanceFrequency(&frequency);
    STARTUPINFOW startup = {};
    startup.cb = sizeof startup;
    PROCESS_INFORMATION process = {};
    QueryPerformanceCounter(&begun);
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, FALSE, 0, nullptr, nullptr,
                        &startup, &process))
        return 3;
    bool done = WaitForInputIdle(process.hProcess, LONGEST_WAIT) == 0;
    if (video) done = waitForVideo(process);
    QueryPerformanceCounter(&shown);
    done = done && windowOf(process.dwProcessId) != nullptr;
    end(process);
    if (!done) return 1;
    std::printf("%.1f\n", 1e3 * static_cast<double>(shown.QuadPart - begun.QuadPart) /
                              static_cast<double>(frequency.QuadPart));
    return 0;
}
