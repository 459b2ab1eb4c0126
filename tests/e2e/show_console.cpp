// show-console PROGRAM ARGUMENT...: starts a console program in a console of its own and writes
// every line that its screen ever showed, once, to standard output. Ends with the program's exit
// code.
#include <windows.h>

#include <set>
#include <string>

namespace {

constexpr DWORD LOOK_EVERY_MS = 10;
constexpr int LONGEST_LOOKS = 6000, NOT_STARTED = 100, HANGS = 101;
constexpr SHORT ROWS = 40;

std::wstring row(HANDLE screen, SHORT y) {
    wchar_t text[120];
    DWORD count = 0;
    if (!ReadConsoleOutputCharacterW(screen, text, 120, {0, y}, &count)) return {};
    std::wstring line(text, count);
    const size_t last = line.find_last_not_of(L' ');
    return last == std::wstring::npos ? L"" : line.substr(0, last + 1);
}

void writeLine(HANDLE output, const std::wstring& line) {
    char bytes[512];
    const int size = WideCharToMultiByte(CP_UTF8, 0, line.c_str(), static_cast<int>(line.size()),
                                         bytes, sizeof bytes - 1, nullptr, nullptr);
    bytes[size] = '\n';
    DWORD written = 0;
    WriteFile(output, bytes, static_cast<DWORD>(size) + 1, &written, nullptr);
}

int watch(HANDLE process, HANDLE screen, HANDLE output) {
    std::set<std::wstring> seen = {L""};
    for (int looks = 0; looks < LONGEST_LOOKS; looks++) {
        const bool ended = WaitForSingleObject(process, LOOK_EVERY_MS) == WAIT_OBJECT_0;
        for (SHORT y = 0; y < ROWS; y++) {
            const std::wstring line = row(screen, y);
            if (seen.insert(line).second) writeLine(output, line);
        }
        DWORD code = HANGS;
        if (ended && GetExitCodeProcess(process, &code)) return static_cast<int>(code);
    }
    TerminateProcess(process, HANGS);
    return HANGS;
}

} // namespace

int wmain(int count, wchar_t** words) {
    const HANDLE output = GetStdHandle(STD_OUTPUT_HANDLE);
    FreeConsole();
    if (count < 2 || !AllocConsole()) return NOT_STARTED;
    SECURITY_ATTRIBUTES inherited = {sizeof inherited, nullptr, TRUE};
    const HANDLE screen =
        CreateFileW(L"CONOUT$", GENERIC_READ | GENERIC_WRITE, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    &inherited, OPEN_EXISTING, 0, nullptr);
    SetConsoleScreenBufferSize(screen, {120, ROWS});
    std::wstring commandLine;
    for (int i = 1; i < count; i++)
        commandLine += std::wstring(i > 1 ? L" \"" : L"\"") + words[i] + L"\"";
    STARTUPINFOW startup{};
    startup.cb = sizeof startup;
    startup.dwFlags = STARTF_USESTDHANDLES;
    startup.hStdOutput = startup.hStdError = screen;
    PROCESS_INFORMATION process{};
    if (!CreateProcessW(nullptr, commandLine.data(), nullptr, nullptr, TRUE, 0, nullptr, nullptr,
                        &startup, &process)) {
        return NOT_STARTED;
    }
    const int code = watch(process.hProcess, screen, output);
    CloseHandle(process.hThread);
    CloseHandle(process.hProcess);
    CloseHandle(screen);
    return code;
}
