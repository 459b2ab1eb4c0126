#include "platform/swap_files.h"

#include "base/long_path.h"
#include "platform/file_errors.h"
#include "platform/files.h"
#include "platform/handles.h"

namespace velkantrix {
namespace {

constexpr int MOST_PROBES = 100;

// By a name that nothing has, which goes again. It isn't shorter than the one that is wanted: that
// one may be too long.
DWORD askMayWriteBeside(const std::wstring& path, std::size_t more) {
    DWORD error = ERROR_SUCCESS;
    for (int i = 0; i < MOST_PROBES; i++) {
        const std::wstring number = std::to_wstring(i);
        std::wstring name = path;
        name.append(more > number.size() ? more - number.size() : 0, L'~').append(number);
        const UniqueFile file(CreateFileW(nameForSystem(name).c_str(), GENERIC_WRITE | DELETE, 0,
                                          nullptr, CREATE_NEW, FILE_FLAG_DELETE_ON_CLOSE, nullptr));
        if (file) return ERROR_SUCCESS;
        error = lastError();
        if (error != ERROR_FILE_EXISTS && error != ERROR_ALREADY_EXISTS) break;
    }
    return error;
}

// Of reparse points only those that lead elsewhere: others are the file itself, in another form.
bool isLink(const std::wstring& path) {
    const std::wstring name = nameForSystem(path);
    const DWORD attributes = GetFileAttributesW(name.c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES || (attributes & FILE_ATTRIBUTE_REPARSE_POINT) == 0)
        return false;
    const UniqueFile file(
        CreateFileW(name.c_str(), FILE_READ_ATTRIBUTES, SHARE_ALL, nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS | FILE_FLAG_OPEN_REPARSE_POINT, nullptr));
    FILE_ATTRIBUTE_TAG_INFO info = {};
    return !file ||
           !GetFileInformationByHandleEx(file.get(), FileAttributeTagInfo, &info, sizeof info) ||
           IsReparseTagNameSurrogate(info.ReparseTag);
}

DWORD askMayDelete(const std::wstring& path) {
    const UniqueFile file(CreateFileW(nameForSystem(path).c_str(), DELETE, SHARE_ALL, nullptr,
                                      OPEN_EXISTING, 0, nullptr));
    return file ? ERROR_SUCCESS : lastError();
}

// It is on the disk when this has ended.
DWORD moveFile(const std::wstring& from, const std::wstring& to, DWORD flags) {
    const BOOL done = MoveFileExW(nameForSystem(from).c_str(), nameForSystem(to).c_str(),
                                  flags | MOVEFILE_WRITE_THROUGH);
    return done ? ERROR_SUCCESS : lastError();
}

} // namespace

FileLook lookAtFile(const std::wstring& path) {
    BY_HANDLE_FILE_INFORMATION info = {};
    if (const DWORD error = informationOf(path, info)) {
        if (isNotThere(error)) return {.found = FileLook::Found::Nothing};
        return {.found = FileLook::Found::Unknown, .error = error};
    }
    if ((info.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0)
        return {.found = FileLook::Found::Nothing};
    return {.found = FileLook::Found::File,
            .stamp = stampOf(info),
            .readOnly = (info.dwFileAttributes & FILE_ATTRIBUTE_READONLY) != 0};
}

std::optional<std::wstring> pathBehindLink(const std::wstring& path) {
    if (!isLink(path)) return path;
    const UniqueFile file(CreateFileW(nameForSystem(path).c_str(), FILE_READ_ATTRIBUTES, SHARE_ALL,
                                      nullptr, OPEN_EXISTING, FILE_FLAG_BACKUP_SEMANTICS, nullptr));
    const std::wstring behind = file ? finalNameOf(file.get()) : std::wstring();
    if (behind.empty()) return std::nullopt;
    // What the system wouldn't leave as it is without the prefix needs it.
    const std::wstring plain = pathWithoutPrefix(behind);
    return absolutePath(plain) == plain ? plain : behind;
}

std::optional<std::uint64_t> freeBytesFor(const std::wstring& folder) {
    ULARGE_INTEGER free = {};
    if (!GetDiskFreeSpaceExW(nameForSystem(folder).c_str(), &free, nullptr, nullptr))
        return std::nullopt;
    return free.QuadPart;
}

DWORD askMayReplace(const std::wstring& original, std::size_t more) {
    const DWORD error = askMayWriteBeside(original, more);
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
    return moveFile(from, to, MOVEFILE_REPLACE_EXISTING);
}

DWORD moveFileToFreeName(const std::wstring& from, const std::wstring& to) {
    return moveFile(from, to, 0);
}

} // namespace velkantrix
