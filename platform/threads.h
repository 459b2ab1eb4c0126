// threads.h: threads that nobody waits for, or not for longer than some time.
//
// std::thread can't do it: it is waited for without end, and with mingw's runtime a thread that
// ends just while it is being detached has its record freed twice, and the next thread to be
// started is lost.
#pragma once

#include <windows.h>

#include <functional>

#include "base/unique_handle.h"

namespace velkantrix {

struct ThreadHandleTraits {
    using Value = HANDLE;
    static Value none() { return nullptr; }
    static void close(Value thread) { CloseHandle(thread); }
};
// A thread that may have ended. Without its handle it runs on.
using UniqueThread = UniqueHandle<ThreadHandleTraits>;

// Runs `body` on a thread of its own, which goes when it is done. None when it can't be started, or
// when there is no memory for it: then `body` has been let go of.
[[nodiscard]] UniqueThread startThread(std::function<void()> body) noexcept;

// Waits until the thread has ended. Without a thread there is nothing to wait for: true at once.
// False when it still runs after `milliseconds`.
[[nodiscard]] bool waitForEnd(const UniqueThread& thread, DWORD milliseconds);

// Like startThread, but a thread that can't be started ends the process.
void startDetached(std::function<void()> body) noexcept;

} // namespace velkantrix
