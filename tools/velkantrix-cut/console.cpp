// Threads: the main thread, and the one that the system makes for each console event (onEvent).
#include "tools/velkantrix-cut/console.h"

#include "tools/velkantrix-cut/cancel_patience.h"

namespace velkantrix {
namespace {

constexpr DWORD LONGEST_CLEAN_UP_MS = 30'000; // the system itself waits for some seconds at most

// Set once, before the handler is. What it points to is never taken away.
std::atomic<std::atomic<bool>*> cancelFlag = nullptr;

// Set when the work is cleaned up. Closed by the end of the process.
HANDLE cleanedUpEvent() {
    static const HANDLE event = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    return event;
}

// In GetTickCount64's milliseconds.
CancelPatience patience;

BOOL WINAPI onEvent(DWORD event) {
    patience.ask(GetTickCount64());
    *cancelFlag.load() = true;
    if (event == CTRL_C_EVENT || event == CTRL_BREAK_EVENT) {
        // Pressed again long after: the program doesn't come to its end (a dead network drive), so
        // the system ends it. A key that is held down isn't meant so.
        return !patience.isOver(GetTickCount64());
    }
    if (cleanedUpEvent()) WaitForSingleObject(cleanedUpEvent(), LONGEST_CLEAN_UP_MS);
    return TRUE;
}

bool isConsoleHandle(HANDLE handle) {
    DWORD mode = 0;
    return GetConsoleMode(handle, &mode) != FALSE;
}

std::string utf8(const std::wstring& text) {
    const int length = static_cast<int>(text.size());
    const int size =
        WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length, nullptr, 0, nullptr, nullptr);
    std::string bytes(static_cast<size_t>(size), '\0');
    WideCharToMultiByte(CP_UTF8, 0, text.c_str(), length, bytes.data(), size, nullptr, nullptr);
    return bytes;
}

} // namespace

TextStream::TextStream(DWORD standardHandle)
    : handle_(GetStdHandle(standardHandle)), isConsole_(isConsoleHandle(handle_)) {}

size_t TextStream::width() const {
    CONSOLE_SCREEN_BUFFER_INFO info{};
    const bool known =
        isConsole_ && GetConsoleScreenBufferInfo(handle_, &info) && info.dwSize.X > 1;
    return known ? static_cast<size_t>(info.dwSize.X) : 80;
}

// A stream that takes nothing more (a closed pipe) is no reason to stop working.
void TextStream::write(const std::wstring& text) const {
    DWORD written = 0;
    if (isConsole_) {
        WriteConsoleW(handle_, text.c_str(), static_cast<DWORD>(text.size()), &written, nullptr);
        return;
    }
    const std::string bytes = utf8(text);
    WriteFile(handle_, bytes.data(), static_cast<DWORD>(bytes.size()), &written, nullptr);
}

CancelByConsole::CancelByConsole(std::atomic<bool>& flag) {
    cancelFlag = &flag;
    if (cleanedUpEvent()) ResetEvent(cleanedUpEvent());
    // A parent may have told the process to ignore Ctrl+C; who cancels expects to be heard.
    SetConsoleCtrlHandler(nullptr, FALSE);
    SetConsoleCtrlHandler(onEvent, TRUE);
}

// The handler stays: taking it away would wait for one that runs, and that one waits for this.
CancelByConsole::~CancelByConsole() {
    if (cleanedUpEvent()) SetEvent(cleanedUpEvent());
}

} // namespace velkantrix
