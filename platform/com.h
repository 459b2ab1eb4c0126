// com.h: a thread's stay in a COM apartment, and the counting of objects that the system calls.
#pragma once

#include <objbase.h>
#include <windows.h>

#include <atomic>

namespace velkantrix {

// Enters an apartment for its own lifetime; leaves it only when entering succeeded (a thread that
// is in one of the other kind already stays there). Made and destroyed on the same thread.
class ComApartment {
public:
    explicit ComApartment(DWORD kind) : result_(CoInitializeEx(nullptr, kind)) {}
    ~ComApartment() {
        if (SUCCEEDED(result_)) CoUninitialize();
    }
    ComApartment(const ComApartment&) = delete;
    ComApartment& operator=(const ComApartment&) = delete;

    [[nodiscard]] HRESULT result() const { return result_; }

private:
    const HRESULT result_;
};

// The system's interfaces have no virtual destructors: their objects end by Release.
#if defined(__GNUC__)
#pragma GCC diagnostic push
#pragma GCC diagnostic ignored "-Wnon-virtual-dtor"
#endif

// What every reference-counted object with these interfaces needs. Made with one reference, which
// its maker holds; any thread may add and release. Interfaces that extend one another are all
// named, the first one stands for IUnknown.
template <class First, class... More>
class ComObject : public First, public More... {
public:
    ComObject(const ComObject&) = delete;
    ComObject& operator=(const ComObject&) = delete;

    STDMETHODIMP QueryInterface(REFIID id, void** object) override {
        if (!object) return E_POINTER;
        *object = nullptr;
        if (IsEqualIID(id, IID_IUnknown)) *object = static_cast<First*>(this);
        offer<First>(id, object);
        (offer<More>(id, object), ...);
        if (!*object) return E_NOINTERFACE;
        AddRef();
        return S_OK;
    }

    STDMETHODIMP_(ULONG) AddRef() override { return ++references_; }

    STDMETHODIMP_(ULONG) Release() override {
        const ULONG left = --references_;
        if (left == 0) delete this;
        return left;
    }

protected:
    ComObject() = default;
    virtual ~ComObject() = default;

private:
    template <class Interface>
    void offer(REFIID id, void** object) {
        if (IsEqualIID(id, __uuidof(Interface))) *object = static_cast<Interface*>(this);
    }

    std::atomic<ULONG> references_{1};
};

#if defined(__GNUC__)
#pragma GCC diagnostic pop
#endif

} // namespace velkantrix
