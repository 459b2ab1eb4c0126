#include "platform/system_text.h"

#include "platform/handles.h"

namespace velkantrix {

std::wstring systemText(DWORD code) {
    UniqueLocalText message;
    const DWORD length = FormatMessageW(
        FORMAT_MESSAGE_ALLOCATE_BUFFER | FORMAT_MESSAGE_FROM_SYSTEM | FORMAT_MESSAGE_IGNORE_INSERTS,
        nullptr, code, 0, reinterpret_cast<wchar_t*>(message.put()), 0, nullptr);
    return length ? std::wstring(message.get(), length) : std::wstring();
}

} // namespace velkantrix
