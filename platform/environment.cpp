#include "platform/environment.h"

namespace velkantrix {

std::wstring environmentVariable(const wchar_t* name) {
    std::wstring value(64, L'\0');
    for (;;) {
        const DWORD length =
            GetEnvironmentVariableW(name, value.data(), static_cast<DWORD>(value.size()));
        // Too long: the length with the zero behind it.
        const bool fits = length < value.size();
        value.resize(length);
        if (fits) return value;
    }
}

} // namespace velkantrix
