#include "platform/threads.h"

#include <process.h>

#include <exception>
#include <memory>
#include <utility>

namespace velkantrix {
namespace {

using Body = std::function<void()>;

unsigned __stdcall runBody(void* given) {
    const std::unique_ptr<Body> body(static_cast<Body*>(given));
    (*body)();
    return 0;
}

} // namespace

UniqueThread startThread(Body body) {
    auto given = std::make_unique<Body>(std::move(body));
    UniqueThread thread(
        reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, runBody, given.get(), 0, nullptr)));
    if (thread) static_cast<void>(given.release()); // the thread's
    return thread;
}

bool waitForEnd(const UniqueThread& thread, DWORD milliseconds) {
    return !thread || WaitForSingleObject(thread.get(), milliseconds) == WAIT_OBJECT_0;
}

void startDetached(Body body) noexcept {
    if (!startThread(std::move(body))) std::terminate();
}

} // namespace velkantrix
