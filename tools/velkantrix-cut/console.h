// console.h: a console program's surroundings: its standard streams, and the user's wish to stop.
#pragma once

#include <windows.h>

#include <atomic>
#include <string>

namespace velkantrix {

// One of the standard streams. Text goes to a console as it is, elsewhere as UTF-8.
class TextStream {
public:
    explicit TextStream(DWORD standardHandle);

    [[nodiscard]] bool isConsole() const { return isConsole_; }
    // Of a console's line, in characters.
    [[nodiscard]] size_t width() const;
    void write(const std::wstring& text) const;

private:
    const HANDLE handle_; // the process's, never closed here
    const bool isConsole_;
};

// While it lives, Ctrl+C, Ctrl+Break and the closing of the console set the flag instead of ending
// the process; pressed again after some seconds they end it. On a close the system ends the process
// as soon as the handler returns; so that one waits until the object is destroyed, when the work
// has been cleaned up. Once per process.
class CancelByConsole {
public:
    // The flag stays for good: the system may call at any time, even as the process ends.
    explicit CancelByConsole(std::atomic<bool>& flag);
    ~CancelByConsole();
    CancelByConsole(const CancelByConsole&) = delete;
    CancelByConsole& operator=(const CancelByConsole&) = delete;
};

} // namespace velkantrix
