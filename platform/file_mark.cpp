#include "platform/file_mark.h"

#include "platform/file_errors.h"
#include "platform/files.h"
#include "platform/handles.h"

namespace velkantrix {
namespace {

constexpr int TRIES_TO_FINISH = 601;
constexpr int TRIES_TO_DELETE = 11;
constexpr DWORD PAUSE_MS = 50;

// Empty where there is no file to be asked.
std::wstring markOfOpen(HANDLE file) {
    BY_HANDLE_FILE_INFORMATION info = {};
    if (!GetFileInformationByHandle(file, &info)) return {};
    std::wstring mark = identityText(file);
    for (const DWORD part : {info.nFileSizeHigh, info.nFileSizeLow})
        mark += L"," + std::to_wstring(part);
    return mark;
}

UniqueFile openFor(const std::wstring& path, DWORD access, DWORD share) {
    return UniqueFile(CreateFileW(nameForSystem(path).c_str(), access, share, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
}

// Calls until somebody who has the file open is no more the reason for which it fails.
template <class Call>
DWORD patiently(int tries, Call call) {
    for (;; Sleep(PAUSE_MS)) {
        const DWORD error = call();
        if (error != ERROR_SHARING_VIOLATION || --tries <= 0) return error;
    }
}

} // namespace

std::wstring markOf(const std::wstring& path) {
    const UniqueFile file = openFor(path, FILE_READ_ATTRIBUTES, SHARE_ALL);
    return file ? markOfOpen(file.get()) : std::wstring();
}

DWORD finishFile(const std::wstring& path, std::wstring& mark,
                 const std::function<bool()>& cancelled) {
    mark = markOf(path); // also where somebody keeps it from being flushed
    return patiently(TRIES_TO_FINISH, [&] {
        if (cancelled()) return DWORD{ERROR_CANCELLED};
        const UniqueFile file = openFor(path, GENERIC_WRITE | FILE_READ_ATTRIBUTES, SHARE_ALL);
        if (!file) return lastError();
        if (!FlushFileBuffers(file.get())) return lastError();
        mark = markOfOpen(file.get()); // a server may only now know its size and time
        return mark.empty() ? lastError() : DWORD{ERROR_SUCCESS};
    });
}

// By a handle that keeps everybody else out: it is the very file that was asked which goes.
DWORD deleteMarkedFile(const std::wstring& path, const std::wstring& mark) {
    return patiently(TRIES_TO_DELETE, [&] {
        const UniqueFile file = openFor(path, FILE_READ_ATTRIBUTES | GENERIC_READ | DELETE, 0);
        if (!file) {
            const DWORD error = lastError();
            return isNotThere(error) ? DWORD{ERROR_SUCCESS} : error;
        }
        if (markOfOpen(file.get()) != mark) return DWORD{ERROR_FILE_INVALID};
        FILE_DISPOSITION_INFO disposition{TRUE};
        const BOOL deleted = SetFileInformationByHandle(file.get(), FileDispositionInfo,
                                                        &disposition, sizeof disposition);
        return deleted ? DWORD{ERROR_SUCCESS} : lastError();
    });
}

} // namespace velkantrix
