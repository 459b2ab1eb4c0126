#include "platform/swap_files.h"

#include "platform/files.h"
#include "platform/handles.h"

namespace velkantrix {
namespace {

constexpr DWORD SHARE_ALL = FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE;

// Never 0: what has failed isn't done.
DWORD lastError() {
    const DWORD error = GetLastError();
    return error == ERROR_SUCCESS ? ERROR_GEN_FAILURE : error;
}

bool isNotThere(DWORD error) {
    return error == ERROR_FILE_NOT_FOUND || error == ERROR_PATH_NOT_FOUND;
}

// By a name that nothing has, and gone again.
DWORD askMayWriteBeside(const std::wstring& path) {
    const UniqueFile file(CreateFileW(nameForSystem(unusedNameBeside(path)).c_str(),
                                      GENERIC_WRITE | DELETE, 0, nullptr, CREATE_NEW,
                                      FILE_FLAG_DELETE_ON_CLOSE, nullptr));
    return file ? ERROR_SUCCESS : lastError();
}

DWORD askMayDelete(const std::wstring& path) {
    const UniqueFile file(CreateFileW(nameForSystem(path).c_str(), DELETE, SHARE_ALL, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    return file ? ERROR_SUCCESS : lastError();
}

} // namespace

std::optional<FoundFile> findFile(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(nameForSystem(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return std::nullopt;
    const std::optional<FileStamp> stamp = fileStamp(path);
    if (!stamp) return std::nullopt;
    return FoundFile{.stamp = *stamp, .readOnly = (attributes & FILE_ATTRIBUTE_READONLY) != 0};
}

std::wstring pathBehindLink(const std::wstring& path) {
    const std::wstring name = nameForSystem(path);
    const DWORD attributes = GetFileAttributesW(name.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
        return path;
    const UniqueFile file(CreateFileW(name.c_str(), FILE_READ_ATTRIBUTES, SHARE_ALL, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    if (!file) return path;
    const std::wstring behind = finalNameOf(file.get());
    return behind.empty() ? path : behind;
}

std::optional<std::uint64_t> freeBytesFor(const std::wstring& folder) {
    ULARGE_INTEGER free = {};
    if (!GetDiskFreeSpaceExW(nameForSystem(folder).c_str(), &free, nullptr, nullptr))
        return std::nullopt;
    return free.QuadPart;
}

DWORD askMayReplace(const std::wstring& original) {
    const DWORD error = askMayWriteBeside(original);
    if (error != ERROR_SUCCESS) return error;
    const DWORD mayDelete = askMayDelete(original);
    return mayDelete == ERROR_SHARING_VIOLATION ? ERROR_SUCCESS : mayDelete;
}

// By a handle that keeps everybody else out until it has gone.
DWORD clearLeftover(const std::wstring& path) {
    const UniqueFile file(CreateFileW(nameForSystem(path).c_str(),
                                      FILE_READ_ATTRIBUTES | GENERIC_WRITE | DELETE, 0, nullptr,
                                      OPEN_EXISTING, FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    if (!file) {
        const DWORD error = lastError();
        return isNotThere(error) ? ERROR_SUCCESS : error;
    }
    BY_HANDLE_FILE_INFORMATION info = {};
    if (!GetFileInformationByHandle(file.get(), &info)) return lastError();
    constexpr DWORD NO_LEFTOVER = FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_REPARSE_POINT;
    if ((info.dwFileAttributes & NO_LEFTOVER) != 0 || info.nNumberOfLinks > 1)
        return ERROR_FILE_EXISTS;
    FILE_DISPOSITION_INFO disposition{TRUE};
    const BOOL deleted = SetFileInformationByHandle(file.get(), FileDispositionInfo, &disposition,
                                                    sizeof disposition);
    return deleted ? ERROR_SUCCESS : lastError();
}

DWORD replaceWholeFile(const std::wstring& original, const std::wstring& replacement) {
    // Asked first: a replacement that fails has begun, and may leave more than it found.
    for (const std::wstring& path : {original, replacement}) {
        const DWORD error = askMayDelete(path);
        if (error != ERROR_SUCCESS) return error;
    }
    const BOOL done =
        ReplaceFileW(nameForSystem(original).c_str(), nameForSystem(replacement).c_str(), nullptr,
                     REPLACEFILE_IGNORE_MERGE_ERRORS, nullptr, nullptr);
    return done ? ERROR_SUCCESS : lastError();
}

DWORD moveFileOver(const std::wstring& from, const std::wstring& to) {
    const BOOL done = MoveFileExW(nameForSystem(from).c_str(), nameForSystem(to).c_str(),
                                  MOVEFILE_REPLACE_EXISTING);
    return done ? ERROR_SUCCESS : lastError();
}

} // namespace velkantrix
