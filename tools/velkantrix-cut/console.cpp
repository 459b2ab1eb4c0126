// Threads: the main thread, and the one that the system makes for each console event (onEvent).
#include "tools/velkantrix-cut/console.h"

namespace velkantrix {
namespace {

constexpr DWORD LONGEST_CLEAN_UP_MS = 30'000; // the system itself waits for five seconds at most

// Read by onEvent, written by the main thread only while no handler is installed.
std::atomic<bool>* cancelFlag = nullptr;
// Set when the work is cleaned up. Never closed: a handler may still wait when the process ends.
HANDLE cleanedUp = nullptr;

BOOL WINAPI onEvent(DWORD event) {
    cancelFlag->store(true);
    if (event != CTRL_C_EVENT && event != CTRL_BREAK_EVENT) {
        WaitForSingleObject(cleanedUp, LONGEST_CLEAN_UP_MS);
    }
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

CancelByConsole::CancelByConsole(std::atomic<bool>& cancel) {
    cancelFlag = &cancel;
    if (!cleanedUp) cleanedUp = CreateEventW(nullptr, TRUE, FALSE, nullptr);
    // A parent may have told the process to ignore Ctrl+C; who cancels expects to be heard.
    SetConsoleCtrlHandler(nullptr, FALSE);
    SetConsoleCtrlHandler(onEvent, TRUE);
}

CancelByConsole::~CancelByConsole() {
    SetConsoleCtrlHandler(onEvent, FALSE);
    SetEvent(cleanedUp);
}

} // namespace velkantrix
