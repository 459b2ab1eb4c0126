#include "playback/work_line.h"

#include <mfapi.h>

namespace velkantrix {

HRESULT WorkLine::addFunction(std::function<void()> work) {
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

std::function<void()> WorkLine::takeFirst() {
    const Lock held(lock_);
    if (waiting_.empty()) return {};
    std::function<void()> work = std::move(waiting_.front());
    waiting_.pop_front();
    return work;
}

// One piece for each call, so that a long line leaves room for the queue's other users. Where the
// queue takes no more, the rest is done at once: somebody waits for it.
STDMETHODIMP WorkLine::Invoke(IMFAsyncResult*) {
    while (true) {
        // What it owns goes before the next begins.
        if (const std::function<void()> work = takeFirst()) work();
        const Lock held(lock_);
        asked_ = false;
        if (waiting_.empty() || SUCCEEDED(askForThread())) return S_OK;
        asked_ = true; // by this very loop
    }
}

} // namespace velkantrix
