#include "platform/threads.h"

#include <windows.h>

#include <process.h>

#include <exception>
#include <memory>
#include <utility>

#include "base/unique_handle.h"

namespace velkantrix {
namespace {

using Body = std::function<void()>;

struct ThreadTraits {
    using Value = HANDLE;
    static Value none() { return nullptr; }
    static void close(Value thread) { CloseHandle(thread); }
};
using UniqueThread = UniqueHandle<ThreadTraits>;

unsigned __stdcall runBody(void* given) {
    const std::unique_ptr<Body> body(static_cast<Body*>(given));
    (*body)();
    return 0;
}

} // namespace

void startDetached(Body body) noexcept {
    Body* const given = std::make_unique<Body>(std::move(body)).release(); // the thread's
    const UniqueThread thread(
        reinterpret_cast<HANDLE>(_beginthreadex(nullptr, 0, runBody, given, 0, nullptr)));
    if (!thread) std::terminate();
}

} // namespace velkantrix
