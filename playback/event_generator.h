// event_generator.h: what a media source and its streams have in common: a queue of events.
#pragma once

#include <windows.h>

#include <mfidl.h>

#include "base/com_ptr.h"
#include "platform/com.h"

namespace velkantrix {

// `Interface` extends IMFMediaEventGenerator. Any thread may call; after the queue's Shutdown all
// calls answer MF_E_SHUTDOWN.
template <class Interface>
class EventGenerator : public ComObject<Interface> {
public:
    STDMETHODIMP QueryInterface(REFIID id, void** object) override {
        const bool generator = IsEqualIID(id, __uuidof(IMFMediaEventGenerator));
        return ComObject<Interface>::QueryInterface(generator ? __uuidof(Interface) : id, object);
    }
    STDMETHODIMP GetEvent(DWORD flags, IMFMediaEvent** event) override {
        // Not under a lock of ours: it waits for an event.
        return events_->GetEvent(flags, event);
    }
    STDMETHODIMP BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) override {
        return events_->BeginGetEvent(callback, state);
    }
    STDMETHODIMP EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override {
        return events_->EndGetEvent(result, event);
    }
    STDMETHODIMP QueueEvent(MediaEventType type, REFGUID extended, HRESULT status,
                            const PROPVARIANT* value) override {
        return events_->QueueEventParamVar(type, extended, status, value);
    }

protected:
    explicit EventGenerator(ComPtr<IMFMediaEventQueue> events) : events_(std::move(events)) {}

    const ComPtr<IMFMediaEventQueue> events_; // its own lock
};

} // namespace velkantrix
