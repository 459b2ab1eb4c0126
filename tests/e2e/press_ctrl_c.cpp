// press-ctrl-c MILLISECONDS PROGRAM ARGUMENT...: starts a console program, presses Ctrl+C after a
// while and ends with the program's exit code. What the program writes goes to standard output.
#include <windows.h>

#include <cwchar>
#include <string>

namespace {

constexpr DWORD LONGEST_MS = 30'000;
constexpr int NOT_STARTED = 100, HANGS = 101;

std::wstring quoted(const wchar_t* word) {
    return L"\"" + std::wstring(word) + L"\"";
}

int runAndPress(DWORD pause, std::wstring commandLine, HANDLE output) {
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = output;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                        &startup, &process)) {
        return NOT_STARTED;
    }
    DWORD code = HANGS;
    if (WaitForSingleObject(process.hProcess, pause) == WAIT_TIMEOUT) {
        SetConsoleCtrlHandler(nullptr, TRUE); // not for this process
        GenerateConsoleCtrlEvent(CTRL_C_EVENT, 0);
    }
    if (WaitForSingleObject(process.hProcess, LONGEST_MS) == WAIT_OBJECT_0) {
        GetExitCodeProcess(process.hProcess, &code);
    } else {
        TerminateProcess(process.hProcess, HANGS);
    }
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    return static_cast<int>(code);
}

} // namespace

int wmain(int count, wchar_t** words) {
    if (count < 3) return NOT_STARTED;
    // A console of its own: the event goes to all programs of one. It takes the standard streams'
    // place.
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    SetHandleInformation(output, HANDLE_FLAG_INHERIT, HANDLE_FLAG_INHERIT);
    FreeConsole();
    if (!AllocConsole()) return NOT_STARTED;
    std::wstring commandLine;
    for (int i = 2; i < count; i++) commandLine += (i > 2 ? L" " : L"") + quoted(words[i]);
    return runAndPress(std::wcstoul(words[1], nullptr, 10), commandLine, output);
}
