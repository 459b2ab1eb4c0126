#include "mp4/input_file.h"

#include <windows.h>

#include "base/long_path.h"

namespace velkantrix {
namespace {

// A handle is a number, whatever its type.
HANDLE handleOf(std::intptr_t value) {
    return reinterpret_cast<HANDLE>(value); // NOLINT(performance-no-int-to-ptr)
}

// Empty when the system can't say it.
std::wstring fullName(const std::wstring& path) {
    std::wstring full(MAX_PATH, L'\0');
    for (;;) {
        const DWORD length =
            GetFullPathNameW(path.c_str(), static_cast<DWORD>(full.size()), full.data(), nullptr);
        const bool fits = length < full.size();
        full.resize(length);
        if (fits) return full;
    }
}

std::wstring nameForSystem(const FilePath& path) {
    return pathOfAnyLength(path, fullName(path));
}

InputFile openDiskFile(const FilePath& path, DWORD hint) {
    InputFile file;
    HANDLE const handle =
        CreateFileW(nameForSystem(path).c_str(), GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE,
                    nullptr, OPEN_EXISTING, FILE_ATTRIBUTE_NORMAL | hint, nullptr);
    if (handle == INVALID_HANDLE_VALUE) return file;
    file.handle.reset(reinterpret_cast<std::intptr_t>(handle));
    LARGE_INTEGER size{};
    if (GetFileType(handle) != FILE_TYPE_DISK || !GetFileSizeEx(handle, &size)) return {};
    file.size = static_cast<std::uint64_t>(size.QuadPart);
    return file;
}

} // namespace

void InputHandleTraits::close(Value handle) {
    CloseHandle(handleOf(handle));
}

InputFile OpenForRandomAccess(const FilePath& path) {
    return openDiskFile(path, FILE_FLAG_RANDOM_ACCESS);
}

InputFile openForSequentialScan(const FilePath& path) {
    return openDiskFile(path, FILE_FLAG_SEQUENTIAL_SCAN);
}

// By a handle: what GetFileAttributesEx says of a symbolic link is about the link.
std::optional<std::uint64_t> fileSizeFromAttributes(const FilePath& path) {
    const UniqueInputHandle handle(reinterpret_cast<std::intptr_t>(
        CreateFileW(nameForSystem(path).c_str(), FILE_READ_ATTRIBUTES,
                    FILE_SHARE_READ | FILE_SHARE_WRITE | FILE_SHARE_DELETE, nullptr, OPEN_EXISTING,
                    FILE_FLAG_BACKUP_SEMANTICS, nullptr)));
    BY_HANDLE_FILE_INFORMATION data{};
    if (!handle || !GetFileInformationByHandle(handleOf(handle.get()), &data) ||
        data.dwFileAttributes & FILE_ATTRIBUTE_DIRECTORY) {
        return std::nullopt;
    }
    return static_cast<std::uint64_t>(data.nFileSizeHigh) << 32 | data.nFileSizeLow;
}

std::size_t readSome(std::intptr_t handle, std::uint64_t offset, void* buffer, std::size_t length) {
    // A position in the request makes a read of a synchronous handle independent of all others.
    OVERLAPPED position{};
    position.Offset = static_cast<DWORD>(offset);
    position.OffsetHigh = static_cast<DWORD>(offset >> 32);
    DWORD got = 0;
    const BOOL done =
        ReadFile(handleOf(handle), buffer, static_cast<DWORD>(length), &got, &position);
    return done ? got : 0;
}

} // namespace velkantrix
