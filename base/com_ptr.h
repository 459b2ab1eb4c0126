// com_ptr.h: an owning pointer to a reference-counted object. It needs nothing of the object but
// AddRef and Release, so it is tested without Windows.
#pragma once

#include <cstddef>
#include <utility>

namespace velkantrix {

template <class T>
class ComPtr {
public:
    ComPtr() = default;
    ComPtr(std::nullptr_t) {}
    ComPtr(const ComPtr& other) : pointer_(other.pointer_) {
        if (pointer_) pointer_->AddRef();
    }
    ComPtr(ComPtr&& other) noexcept : pointer_(std::exchange(other.pointer_, nullptr)) {}
    ComPtr& operator=(ComPtr other) noexcept {
        std::swap(pointer_, other.pointer_);
        return *this;
    }
    ~ComPtr() { reset(); }

    // Takes over a reference that the caller holds.
    [[nodiscard]] static ComPtr adopt(T* pointer) {
        ComPtr owner;
        owner.pointer_ = pointer;
        return owner;
    }

    // Adds a reference of its own.
    [[nodiscard]] static ComPtr share(T* pointer) {
        if (pointer) pointer->AddRef();
        return adopt(pointer);
    }

    // For out-parameters: releases what is held first.
    [[nodiscard]] T** put() {
        reset();
        return &pointer_;
    }
    [[nodiscard]] void** putVoid() { return reinterpret_cast<void**>(put()); }

    [[nodiscard]] T* get() const { return pointer_; }
    T* operator->() const { return pointer_; }
    explicit operator bool() const { return pointer_ != nullptr; }

    // Gives the reference to the caller.
    [[nodiscard]] T* detach() { return std::exchange(pointer_, nullptr); }

    // The pointer is cleared first: a release may come back here.
    void reset() {
        if (T* old = std::exchange(pointer_, nullptr)) old->Release();
    }

private:
    T* pointer_ = nullptr;
};

} // namespace velkantrix
