#include "platform/threads.h"

#include <process.h>

#include <exception>
#include <memory>
#include <new>
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

UniqueThread startThread(Body body) noexcept {
    Body* const given = new (std::nothrow) Body(std::move(body)); // the thread's
    if (!given) return {};
    UniqueThread thread(
        reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, runBody, given, 0, nullptr)));
    if (!thread) std::unique_ptr<Body>(given).reset();
    return thread;
}

bool waitForEnd(const UniqueThread& thread, DWORD milliseconds) {
    return !thread || WaitForSingleObject(thread.get(), milliseconds) == WAIT_OBJECT_0;
}

void startDetached(Body body) noexcept {
    if (!startThread(std::move(body))) std::terminate();
}

} // namespace velkantrix
