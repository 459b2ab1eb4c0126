// replaced_import.h: a function of the system's answered by a test. What a program imports it calls
// through a table of its own, whose entry for f is the variable __imp_f.
#pragma once

#include <windows.h>

namespace velkantrix {

// No other thread calls the function while it is being replaced or put back.
template <class Function>
class ReplacedImport {
public:
    ReplacedImport(Function& entry, Function own) : entry_(entry), original_(entry) { write(own); }
    ~ReplacedImport() { write(original_); }
    ReplacedImport(const ReplacedImport&) = delete;
    ReplacedImport& operator=(const ReplacedImport&) = delete;

private:
    void write(Function function) const {
        DWORD before = 0;
        VirtualProtect(&entry_, sizeof entry_, PAGE_READWRITE, &before);
        entry_ = function;
        VirtualProtect(&entry_, sizeof entry_, before, &before);
    }

    Function& entry_;
    const Function original_;
};

} // namespace velkantrix
