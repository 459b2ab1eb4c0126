#include "platform/files.h"

#include <cstring>
#include <optional>

#include "platform/handles.h"
#include "platform/hresult.h"

namespace velkantrix {
namespace {

constexpr int DELETE_TRIES = 10;
constexpr DWORD DELETE_PAUSE_MS = 50;

bool equalNames(const std::wstring& a, const std::wstring& b) {
    return CompareStringOrdinal(a.c_str(), static_cast<int>(a.size()), b.c_str(),
                                static_cast<int>(b.size()), TRUE) == CSTR_EQUAL;
}

// A handle by which a file, or a folder, can be asked what it is. It keeps nobody from anything.
UniqueFile openForQuestions(const std::wstring& path) {
    constexpr DWORD SHARE_ALL = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;
    return UniqueFile(CreateFileW(path.c_str(), FILE_READ_ATTRIBUTES, SHARE_ALL, nullptr,
                                  OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
}

// The volume and the file's number on it. Not every file system has numbers of 128 bits.
bool sameIdentity(HANDLE a, HANDLE b) {
    FILE_ID_INFO wideA{}, wideB{};
    if (GetFileInformationByHandleEx(a, FileIdInfo, &wideA, sizeof wideA) &&
        GetFileInformationByHandleEx(b, FileIdInfo, &wideB, sizeof wideB)) {
        return wideA.VolumeSerialNumber == wideB.VolumeSerialNumber &&
               std::memcmp(&wideA.FileId, &wideB.FileId, sizeof wideA.FileId) == 0;
    }
    BY_HANDLE_FILE_INFORMATION infoA{}, infoB{};
    if (!GetFileInformationByHandle(a, &infoA) || !GetFileInformationByHandle(b, &infoB)) {
        return false;
    }
    return infoA.dwVolumeSerialNumber == infoB.dwVolumeSerialNumber &&
           infoA.nFileIndexHigh == infoB.nFileIndexHigh &&
           infoA.nFileIndexLow == infoB.nFileIndexLow;
}

// The name that the system itself gives an open file: the same through every drive letter.
std::wstring finalName(HANDLE file) {
    std::wstring name(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            GetFinalPathNameByHandleW(file, name.data(), static_cast<DWORD>(name.size()), 0);
        if (length == 0) return {};
        const bool fits = length < name.size();
        name.resize(length);
        if (fits) return name;
    }
}

} // namespace

std::wstring absolutePath(const std::wstring& path) {
    std::wstring full(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
        if (length == 0) return {};
        const bool fits = length < full.size();
        full.resize(length);
        if (fits) return full;
    }
}

bool sameFile(const std::wstring& a, const std::wstring& b) {
    if (a.empty() || b.empty()) return false;
    if (equalNames(a, b)) return true;
    const std::wstring fullA = absolutePath(a), fullB = absolutePath(b);
    if (!fullA.empty() && equalNames(fullA, fullB)) return true;

    const UniqueFile fileA = openForQuestions(a), fileB = openForQuestions(b);
    if (!fileA || !fileB) return false;
    if (sameIdentity(fileA.get(), fileB.get())) return true;
    // Network file systems may number one file differently through two drive letters.
    const std::wstring nameA = finalName(fileA.get());
    return !nameA.empty() && equalNames(nameA, finalName(fileB.get()));
}

HRESULT deleteFileUnlessSame(const std::wstring& path, const std::wstring& kept) {
    for (int i = 0;; i++) {
        if (sameFile(path, kept)) return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
        if (DeleteFileW(path.c_str())) return S_OK;
        const DWORD error = GetLastError();
        if (error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND) return S_OK;
        if (error != ERROR_SHARING_VIOLATION || i + 1 == DELETE_TRIES) {
            return HRESULT_FROM_WIN32(error);
        }
        Sleep(DELETE_PAUSE_MS);
    }
}

} // namespace velkantrix
