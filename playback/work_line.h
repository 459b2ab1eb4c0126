// work_line.h: pieces of work that run one after another on Media Foundation's threads.
#pragma once

#include <windows.h>

#include <mfobjects.h>

#include <deque>
#include <functional>
#include <new>
#include <utility>

#include "base/mutex.h"
#include "platform/com.h"

namespace velkantrix {

// Any thread may add. What is added keeps the line alive until it has run or is dropped. It must
// not throw.
class WorkLine final : public ComObject<IMFAsyncCallback> {
public:
    // Failed, be it for want of memory: it will not run.
    template <class Work>
    [[nodiscard]] HRESULT add(Work work) EXCLUDES(lock_) {
        try {
            return addFunction(std::move(work));
        } catch (const std::bad_alloc&) { return E_OUTOFMEMORY; }
    }

    // Drops all that hasn't begun.
    void clear() EXCLUDES(lock_);

    STDMETHODIMP GetParameters(DWORD* flags, DWORD* queue) override;
    STDMETHODIMP Invoke(IMFAsyncResult* result) override EXCLUDES(lock_);

private:
    HRESULT addFunction(std::function<void()> work) EXCLUDES(lock_);
    HRESULT askForThread() REQUIRES(lock_);
    std::function<void()> takeFirst() EXCLUDES(lock_);

    Mutex lock_; // held for no call but the system's own queueing
    std::deque<std::function<void()>> waiting_ GUARDED_BY(lock_);
    bool asked_ GUARDED_BY(lock_) = false; // a thread is on its way, or at work
};

} // namespace velkantrix
