// source_layer.cpp: see source_layer.h.
#include "source_layer.h"
#include "../common/log.h"
#include <atomic>
#include <cguid.h>
#include <mutex>
#include <vector>

namespace rig {
namespace {

class SourceLayer : public IMFMediaSource, public SourceFailure {
public:
    explicit SourceLayer(Com<IMFMediaSource> source) : real(std::move(source)) {}
    virtual ~SourceLayer() = default;

    STDMETHODIMP QueryInterface(REFIID iid, void** out) override {
        if (!out) return E_POINTER;
        if (iid == SOURCE_FAILURE_ID) {
            *out = static_cast<SourceFailure*>(this);
        } else if (iid == IID_IUnknown || iid == IID_IMFMediaSource ||
                   iid == IID_IMFMediaEventGenerator) {
            *out = static_cast<IMFMediaSource*>(this);
        } else {
            return real->QueryInterface(iid, out);
        }
        AddRef();
        return S_OK;
    }
    STDMETHODIMP_(ULONG) AddRef() override { return InterlockedIncrement(&references); }
    STDMETHODIMP_(ULONG) Release() override {
        ULONG left = InterlockedDecrement(&references);
        if (!left) delete this;
        return left;
    }

    STDMETHODIMP GetFailure() override { return failure; }

    STDMETHODIMP GetEvent(DWORD flags, IMFMediaEvent** event) override {
        HRESULT hr = real->GetEvent(flags, event);
        if (SUCCEEDED(hr)) look(*event);
        return hr;
    }
    STDMETHODIMP BeginGetEvent(IMFAsyncCallback* callback, IUnknown* state) override {
        return real->BeginGetEvent(callback, state);
    }
    STDMETHODIMP EndGetEvent(IMFAsyncResult* result, IMFMediaEvent** event) override {
        HRESULT hr = real->EndGetEvent(result, event);
        if (SUCCEEDED(hr)) look(*event);
        return hr;
    }
    STDMETHODIMP QueueEvent(MediaEventType type, REFGUID extended, HRESULT status,
                            const PROPVARIANT* value) override {
        return real->QueueEvent(type, extended, status, value);
    }

    STDMETHODIMP GetCharacteristics(DWORD* out) override { return real->GetCharacteristics(out); }
    STDMETHODIMP CreatePresentationDescriptor(IMFPresentationDescriptor** out) override {
        return real->CreatePresentationDescriptor(out);
    }
    STDMETHODIMP Start(IMFPresentationDescriptor* presentation, const GUID* format,
                       const PROPVARIANT* position) override;
    STDMETHODIMP Stop() override {
        forgetSelection();
        return real->Stop();
    }
    STDMETHODIMP Pause() override {
        forgetSelection();
        return real->Pause();
    }
    STDMETHODIMP Shutdown() override {
        std::vector<Com<IMFMediaStream>> gone;
        {
            std::lock_guard<std::mutex> guard(lock);
            gone.swap(streams);
        }
        return real->Shutdown();
    }

private:
    void look(IMFMediaEvent* event);
    void fail(HRESULT status);
    void forgetSelection() {
        std::lock_guard<std::mutex> guard(lock);
        selection.clear();
    }

    LONG references = 1;
    const Com<IMFMediaSource> real;
    std::atomic<HRESULT> failure = S_OK;
    std::mutex lock;
    std::vector<BOOL> selection; // at the last start; empty when the source doesn't run
    std::vector<Com<IMFMediaStream>> streams;
};

std::vector<BOOL> selectionOf(IMFPresentationDescriptor* presentation) {
    std::vector<BOOL> selected;
    DWORD count = 0;
    if (!presentation || FAILED(presentation->GetStreamDescriptorCount(&count))) return selected;
    for (DWORD i = 0; i < count; i++) {
        BOOL on = FALSE;
        Com<IMFStreamDescriptor> stream;
        presentation->GetStreamDescriptorByIndex(i, &on, stream.put());
        selected.push_back(on);
    }
    return selected;
}

HRESULT SourceLayer::Start(IMFPresentationDescriptor* presentation, const GUID* format,
                           const PROPVARIANT* position) {
    std::vector<BOOL> wanted = selectionOf(presentation);
    {
        std::lock_guard<std::mutex> guard(lock);
        bool goesOn = position && position->vt == VT_EMPTY;
        if (goesOn && !wanted.empty() && wanted == selection) return S_OK;
        selection = std::move(wanted);
    }
    HRESULT hr = real->Start(presentation, format, position);
    if (FAILED(hr)) forgetSelection();
    return hr;
}

void SourceLayer::look(IMFMediaEvent* event) {
    MediaEventType type = MEUnknown;
    HRESULT status = S_OK;
    event->GetType(&type);
    event->GetStatus(&status);
    if (type == MENewStream) {
        PROPVARIANT value;
        PropVariantInit(&value);
        Com<IMFMediaStream> stream;
        if (SUCCEEDED(event->GetValue(&value)) && value.vt == VT_UNKNOWN)
            value.punkVal->QueryInterface(IID_IMFMediaStream, stream.putVoid());
        PropVariantClear(&value);
        std::lock_guard<std::mutex> guard(lock);
        if (stream) streams.push_back(std::move(stream));
    } else if (type == MEError) {
        fail(FAILED(status) ? status : E_FAIL);
    } else if ((type == MESourceStarted || type == MESourceSeeked) && FAILED(status)) {
        fail(status);
    }
}

void SourceLayer::fail(HRESULT status) {
    log("the program's source failed: 0x%08lX", static_cast<unsigned long>(status));
    failure = status;
    std::lock_guard<std::mutex> guard(lock);
    for (auto& stream : streams) stream->QueueEvent(MEEndOfStream, GUID_NULL, S_OK, nullptr);
}

} // namespace

Com<IUnknown> layerOver(Com<IUnknown> source) {
    Com<IMFMediaSource> real;
    if (!source || FAILED(source->QueryInterface(IID_IMFMediaSource, real.putVoid())))
        return source;
    log("a source of the program's own");
    return Com<IUnknown>::own(static_cast<IMFMediaSource*>(new SourceLayer(std::move(real))));
}

} // namespace rig
