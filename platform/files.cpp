#include "platform/files.h"

#include <shlwapi.h>

#include <array>
#include <atomic>
#include <cstdint>
#include <cstring>

#include "base/long_path.h"
#include "platform/file_errors.h"
#include "platform/handles.h"
#include "platform/hresult.h"

namespace velkantrix {
namespace {

constexpr size_t LONGEST_URL = 2084; // as the system has it, zero included
constexpr int TRIES = 11;
constexpr int MOST_LEFTOVERS = 1000;
constexpr DWORD PAUSE_MS = 50;

// The file that a stream belongs to: past the drive, a colon begins a stream's name.
std::wstring withoutStream(const std::wstring& path) {
    const size_t name = path.find_last_of(L"\\/");
    const size_t drive = path.find(L':');
    const bool onlyDrive = drive == 1 && name == std::wstring::npos;
    const size_t from = name != std::wstring::npos ? name : onlyDrive ? 2 : 0;
    return path.substr(0, path.find(L':', from));
}

// A handle by which a file, or a folder, can be asked what it is, and with DELETE also be deleted.
// It keeps nobody from anything.
UniqueFile openForQuestions(const std::wstring& path, DWORD moreAccess = 0, DWORD moreFlags = 0) {
    return UniqueFile(CreateFileW(nameForSystem(path).c_str(), FILE_READ_ATTRIBUTES | moreAccess,
                                  SHARE_ALL, nullptr, OPEN_EXISTING,
                                  FILE_FLAG_BACKUP_SEMANTICS | moreFlags, nullptr));
}

// The volume and the file's number on it.
struct Identity {
    ULONGLONG volume = 0;
    FILE_ID_128 file{};

    // Some network file systems number nothing.
    [[nodiscard]] bool known() const {
        const FILE_ID_128 none{};
        return std::memcmp(&file, &none, sizeof none) != 0;
    }
    bool operator==(const Identity& other) const {
        return volume == other.volume && std::memcmp(&file, &other.file, sizeof file) == 0;
    }
};

// Not every file system has numbers of 128 bits; the others have shorter ones.
Identity identityOf(HANDLE file) {
    Identity identity;
    FILE_ID_INFO wide{};
    if (GetFileInformationByHandleEx(file, FileIdInfo, &wide, sizeof wide)) {
        identity.volume = wide.VolumeSerialNumber;
        identity.file = wide.FileId;
        return identity;
    }
    BY_HANDLE_FILE_INFORMATION info{};
    if (GetFileInformationByHandle(file, &info)) {
        const DWORD number[2] = {info.nFileIndexLow, info.nFileIndexHigh};
        identity.volume = info.dwVolumeSerialNumber;
        std::memcpy(&identity.file, number, sizeof number);
    }
    return identity;
}

bool sameOpenFile(HANDLE a, HANDLE b) {
    const Identity identity = identityOf(a);
    if (identity.known() && identity == identityOf(b)) return true;
    // Network file systems may number one file differently through two drive letters.
    const std::wstring name = finalNameOf(a);
    return !name.empty() && equalNames(name, finalNameOf(b));
}

std::wstring upperCase(std::wstring name) {
    CharUpperBuffW(name.data(), static_cast<DWORD>(name.size()));
    return name;
}

bool sameNames(const std::wstring& a, const std::wstring& b) {
    if (equalNames(a, b)) return true;
    const std::wstring fullA = absolutePath(a);
    return !fullA.empty() && equalNames(fullA, absolutePath(b));
}

// Nothing can ever have that name.
bool isNoName(DWORD error) {
    return error == ERROR_INVALID_NAME || error == ERROR_BAD_PATHNAME ||
           error == ERROR_FILENAME_EXCED_RANGE || error == ERROR_INVALID_DRIVE;
}

bool isThere(const std::wstring& path) {
    return GetFileAttributesW(nameForSystem(path).c_str()) != INVALID_FILE_ATTRIBUTES;
}

bool isFolder(HANDLE file) {
    FILE_BASIC_INFO info = {};
    return GetFileInformationByHandleEx(file, FileBasicInfo, &info, sizeof info) &&
           (info.FileAttributes & FILE_ATTRIBUTE_DIRECTORY) != 0;
}

// One try: S_OK, or the error for which the file is still there. A link is deleted, not what it
// leads to; but one that leads to the kept file is left alone too.
HRESULT deleteOnce(const std::wstring& path, const std::wstring& kept) {
    if (sameFile(path, kept)) return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    const UniqueFile file = openForQuestions(path, DELETE, FILE_FLAG_OPEN_REPARSE_POINT);
    if (!file) {
        const DWORD error = GetLastError();
        return isNotThere(error) ? S_OK : HRESULT_FROM_WIN32(error);
    }
    if (isFolder(file.get())) return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    // Asked again of the very file that is to go: the name may have been given to another since.
    const UniqueFile keptFile = openForQuestions(kept);
    if (keptFile && sameOpenFile(file.get(), keptFile.get())) {
        return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    }
    FILE_DISPOSITION_INFO disposition{TRUE};
    const BOOL deleted = SetFileInformationByHandle(file.get(), FileDispositionInfo, &disposition,
                                                    sizeof disposition);
    return deleted ? S_OK : lastErrorResult();
}

// Another program may have the file open for a moment.
bool mayPass(HRESULT hr) {
    return hr == HRESULT_FROM_WIN32(ERROR_SHARING_VIOLATION) ||
           hr == HRESULT_FROM_WIN32(ERROR_LOCK_VIOLATION);
}

// Calls until it doesn't fail for a reason that may pass, for half a second.
template <class Call, class Passes>
HRESULT patiently(Call call, Passes passes) {
    for (int tries = 1;; tries++) {
        const HRESULT hr = call();
        if (!passes(hr) || tries == TRIES) return hr;
        Sleep(PAUSE_MS);
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

DWORD informationOf(const std::wstring& path, BY_HANDLE_FILE_INFORMATION& information) {
    const UniqueFile file = openForQuestions(path, 0, FILE_FLAG_OPEN_REPARSE_POINT);
    const bool known = file && GetFileInformationByHandle(file.get(), &information);
    return known ? ERROR_SUCCESS : lastError();
}

std::optional<FileStamp> fileStamp(const std::wstring& path) {
    BY_HANDLE_FILE_INFORMATION information = {};
    if (informationOf(path, information) != ERROR_SUCCESS) return std::nullopt;
    return stampOf(information);
}

FileStamp stampOf(const BY_HANDLE_FILE_INFORMATION& information) {
    const auto both = [](DWORD high, DWORD low) {
        return std::uint64_t{high} << 32 | low;
    };
    const FILETIME& written = information.ftLastWriteTime;
    return {.size = both(information.nFileSizeHigh, information.nFileSizeLow),
            .time = both(written.dwHighDateTime, written.dwLowDateTime)};
}

std::wstring finalNameOf(HANDLE file) {
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

std::wstring identityText(HANDLE file) {
    const Identity identity = identityOf(file);
    if (!identity.known()) return upperCase(finalNameOf(file));
    std::wstring text = std::to_wstring(identity.volume);
    for (const BYTE byte : identity.file.Identifier) text += L"-" + std::to_wstring(byte);
    return text;
}

std::wstring identityText(const std::wstring& path) {
    const UniqueFile file = openForQuestions(path);
    return file ? identityText(file.get()) : upperCase(absolutePath(path));
}

std::wstring pathOfUrl(const std::wstring& urlOrPath) {
    if (!PathIsURLW(urlOrPath.c_str())) return urlOrPath;
    std::array<wchar_t, LONGEST_URL> path{};
    DWORD length = static_cast<DWORD>(path.size());
    if (FAILED(PathCreateFromUrlW(urlOrPath.c_str(), path.data(), &length, 0))) return {};
    return {path.data(), length};
}

std::wstring programPath() {
    std::array<wchar_t, MAX_PATH> path{};
    const DWORD length = GetModuleFileNameW(nullptr, path.data(), MAX_PATH);
    return length < MAX_PATH ? std::wstring(path.data(), length) : std::wstring();
}

std::wstring nameForSystem(const std::wstring& path) {
    return pathOfAnyLength(path, absolutePath(path));
}

bool fileExists(const std::wstring& path) {
    if (isThere(path)) return true;
    const DWORD error = GetLastError();
    return !isNotThere(error) && !isNoName(error);
}

bool isFile(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(nameForSystem(path).c_str());
    return attributes != INVALID_FILE_ATTRIBUTES && (attributes & FILE_ATTRIBUTE_DIRECTORY) == 0;
}

bool equalNames(const std::wstring& a, const std::wstring& b) {
    return CompareStringOrdinal(a.c_str(), static_cast<int>(a.size()), b.c_str(),
                                static_cast<int>(b.size()), TRUE) == CSTR_EQUAL;
}

bool sameFile(const std::wstring& a, const std::wstring& b) {
    if (a.empty() || b.empty()) return false;
    const std::wstring pathA = withoutStream(a), pathB = withoutStream(b);
    if (sameNames(pathA, pathB)) return true;
    const UniqueFile fileA = openForQuestions(pathA), fileB = openForQuestions(pathB);
    return fileA && fileB && sameOpenFile(fileA.get(), fileB.get());
}

HRESULT deleteFileUnlessSame(const std::wstring& path, const std::wstring& kept) {
    return patiently([&] { return deleteOnce(path, kept); }, mayPass);
}

HRESULT askReplaceable(const std::wstring& path) {
    const DWORD attributes = GetFileAttributesW(nameForSystem(path).c_str());
    if (attributes == INVALID_FILE_ATTRIBUTES) return S_OK;
    if ((attributes & (FILE_ATTRIBUTE_DIRECTORY | FILE_ATTRIBUTE_READONLY)) != 0)
        return HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    // Whoever has it open, even to share it, keeps another file from its place.
    return patiently(
        [&] {
            const UniqueFile file(CreateFileW(nameForSystem(path).c_str(), DELETE, 0, nullptr,
                                              OPEN_EXISTING, 0, nullptr));
            if (file) return S_OK;
            // It has gone since, or it is a link that leads nowhere.
            return isNotThere(GetLastError()) ? S_OK : lastErrorResult();
        },
        mayPass);
}

HRESULT replaceFileUnlessSame(const std::wstring& from, const std::wstring& to,
                              const std::wstring& kept) {
    const HRESULT denied = HRESULT_FROM_WIN32(ERROR_ACCESS_DENIED);
    return patiently(
        [&] {
            if (sameFile(to, kept)) return denied;
            const BOOL moved = MoveFileExW(nameForSystem(from).c_str(), nameForSystem(to).c_str(),
                                           MOVEFILE_REPLACE_EXISTING);
            return moved ? S_OK : lastErrorResult();
        },
        // Denied is also what somebody has open, such as a preview of the file.
        [&](HRESULT hr) {
            return mayPass(hr) || (hr == denied && isFile(to) && !sameFile(to, kept));
        });
}

HRESULT moveToFreeName(const std::wstring& from, const std::wstring& to) {
    return patiently(
        [&] {
            if (MoveFileExW(nameForSystem(from).c_str(), nameForSystem(to).c_str(), 0)) return S_OK;
            const DWORD error = GetLastError();
            return HRESULT_FROM_WIN32(error == ERROR_FILE_EXISTS ? ERROR_ALREADY_EXISTS : error);
        },
        mayPass);
}

std::wstring unusedNameBeside(const std::wstring& path) {
    static std::atomic<std::uint32_t> last{0};
    // Also of "D:name.mp4" the folder; what can't be made absolute stays as it is.
    const std::wstring absolute = absolutePath(path), &whole = absolute.empty() ? path : absolute;
    std::wstring process = whole.substr(0, whole.find_last_of(L"\\/") + 1);
    process += L"~vx" + std::to_wstring(GetCurrentProcessId()) + L"-";
    std::wstring name;
    // What is left of processes that were ended stands in the way at most so often.
    for (int tries = 0; tries < MOST_LEFTOVERS; tries++) {
        name = process;
        name += std::to_wstring(++last) + L".tmp";
        if (!isThere(name)) break;
    }
    return name;
}

} // namespace velkantrix
