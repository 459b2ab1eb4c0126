// unique_handle.h: sole owner of one handle of the operating system.
#pragma once

namespace velkantrix {

// Traits name the handle: `Value`, `none()` for "no handle", `close(value)`.
//
//     struct KeyTraits {
//         using Value = HKEY;
//         static Value none() { return nullptr; }
//         static void close(HKEY key) { RegCloseKey(key); }
//     };
template <class Traits>
class UniqueHandle {
public:
    using Value = typename Traits::Value;

    UniqueHandle() = default;
    explicit UniqueHandle(Value value) : value_(value) {}
    UniqueHandle(UniqueHandle&& other) noexcept : value_(other.release()) {}
    UniqueHandle& operator=(UniqueHandle&& other) noexcept {
        if (this != &other) reset(other.release());
        return *this;
    }
    UniqueHandle(const UniqueHandle&) = delete;
    UniqueHandle& operator=(const UniqueHandle&) = delete;
    ~UniqueHandle() { reset(); }

    [[nodiscard]] Value get() const { return value_; }
    explicit operator bool() const { return value_ != Traits::none(); }

    // Closes what is held and takes over `value`.
    void reset(Value value = Traits::none()) {
        const Value old = value_;
        value_ = value;
        if (old != Traits::none()) Traits::close(old);
    }

    // Gives the handle up without closing it.
    [[nodiscard]] Value release() {
        const Value value = value_;
        value_ = Traits::none();
        return value;
    }

    // For out-parameters: closes what is held first.
    [[nodiscard]] Value* put() {
        reset();
        return &value_;
    }

private:
    Value value_ = Traits::none();
};

} // namespace velkantrix
