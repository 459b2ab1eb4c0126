#include "playback/work_line.h"

#include <mfapi.h>

#include <utility>

namespace velkantrix {

HRESULT WorkLine::add(std::function<void()> work) {
    const Lock held(lock_);
    waiting_.push_back(std::move(work));
    if (asked_) return S_OK;
    const HRESULT asked = askForThread();
    if (FAILED(asked)) waiting_.pop_back();
    return asked;
}

void WorkLine::clear() {
    std::deque<std::function<void()>> dropped; // destroyed without the lock: they may own this
    const Lock held(lock_);
    dropped.swap(waiting_);
}

HRESULT WorkLine::askForThread() {
    const HRESULT asked = MFPutWorkItem(MFASYNC_CALLBACK_QUEUE_MULTITHREADED, this, nullptr);
    asked_ = SUCCEEDED(asked);
    return asked;
}

STDMETHODIMP WorkLine::GetParameters(DWORD*, DWORD*) {
    return E_NOTIMPL; // the defaults
}

// One piece for each call, so that a long line leaves room for the queue's other users.
STDMETHODIMP WorkLine::Invoke(IMFAsyncResult*) {
    std::function<void()> work;
    {
        const Lock held(lock_);
        if (!waiting_.empty()) {
            work = std::move(waiting_.front());
            waiting_.pop_front();
        }
    }
    if (work) work();
    work = nullptr; // what it owned goes before the next begins
    std::deque<std::function<void()>> dropped;
    const Lock held(lock_);
    asked_ = false;
    if (!waiting_.empty() && FAILED(askForThread())) dropped.swap(waiting_);
    return S_OK;
}

} // namespace velkantrix
