// com.h: a thread's stay in a COM apartment.
#pragma once

#include <objbase.h>
#include <windows.h>

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

} // namespace velkantrix
