// replaced_call.h: one call of a COM object answered by a test. All objects that share its table of
// functions share the answer: those of one class of one library.
#pragma once

#include <windows.h>

#include <cstddef>

namespace velkantrix {

class ReplacedCall {
public:
    using AnyFunction = void (*)();

    // `place` is the function's among those of the interface, from 0 on. Nobody else calls it while
    // it is being replaced or put back.
    template <class Interface, class Function>
    ReplacedCall(Interface* object, std::size_t place, Function* replacement)
        : entry_(*reinterpret_cast<AnyFunction**>(object) + place), original_(*entry_) {
        write(reinterpret_cast<AnyFunction>(replacement));
    }
    ~ReplacedCall() { write(original_); }
    ReplacedCall(const ReplacedCall&) = delete;
    ReplacedCall& operator=(const ReplacedCall&) = delete;

    template <class Function>
    [[nodiscard]] Function* original() const {
        return reinterpret_cast<Function*>(original_);
    }

private:
    void write(AnyFunction function) {
        DWORD before = 0;
        VirtualProtect(entry_, sizeof *entry_, PAGE_READWRITE, &before);
        *entry_ = function;
        VirtualProtect(entry_, sizeof *entry_, before, &before);
    }

    AnyFunction* entry_;
    AnyFunction original_;
};

} // namespace velkantrix
