// velkantrix-mp4 on Windows: shows what is read of an MP4 file.
#include <windows.h>

#include <algorithm>

#include "tools/velkantrix-mp4/mp4_tool.h"

namespace {

// The C runtime isn't asked: it would put \r in front of each \n.
bool writeBytes(HANDLE handle, std::string_view text) {
    while (!text.empty()) {
        const auto length = static_cast<DWORD>(std::min<std::size_t>(text.size(), 1 << 20));
        DWORD written = 0;
        if (!WriteFile(handle, text.data(), length, &written, nullptr) || written == 0)
            return false;
        text.remove_prefix(written);
    }
    return true;
}

// A console shows bytes in a code page of its own, which may lack letters of a file's name.
bool writeToConsole(HANDLE handle, const std::string& text) {
    const int length = static_cast<int>(text.size());
    const int size = MultiByteToWideChar(CP_UTF8, 0, text.c_str(), length, nullptr, 0);
    std::wstring wide(static_cast<size_t>(size), L'\0');
    MultiByteToWideChar(CP_UTF8, 0, text.c_str(), length, wide.data(), size);
    DWORD written = 0;
    return WriteConsoleW(handle, wide.data(), static_cast<DWORD>(size), &written, nullptr) &&
           written == static_cast<DWORD>(size);
}

velkantrix::TextSink sinkOf(DWORD standardHandle) {
    HANDLE const handle = GetStdHandle(standardHandle); // the process's, never closed here
    DWORD mode = 0;
    const bool isConsole = GetConsoleMode(handle, &mode) != FALSE;
    return [=](std::string_view text) {
        return isConsole ? writeToConsole(handle, std::string(text)) : writeBytes(handle, text);
    };
}

} // namespace

int wmain(int count, wchar_t** words) {
    return velkantrix::runMp4Tool({words + (count > 0), words + count}, sinkOf(STD_OUTPUT_HANDLE),
                                  sinkOf(STD_ERROR_HANDLE));
}
