#include "mp4/input_file.h"

#include <cerrno>
#include <fcntl.h>
#include <sys/stat.h>
#include <unistd.h>

namespace velkantrix {
namespace {

InputFile openRegularFile(const FilePath& path, int advice) {
    InputFile file;
    // Without O_NONBLOCK, opening a pipe would wait for its writer.
    const int descriptor = open(path.c_str(), O_RDONLY | O_CLOEXEC | O_NONBLOCK);
    if (descriptor < 0) return file;
    file.handle.reset(descriptor);
    struct stat status{};
    if (fstat(descriptor, &status) != 0 || !S_ISREG(status.st_mode)) return {};
    file.size = static_cast<std::uint64_t>(status.st_size);
    (void)posix_fadvise(descriptor, 0, 0, advice); // a hint: no harm when it isn't taken
    return file;
}

} // namespace

void InputHandleTraits::close(Value handle) {
    ::close(static_cast<int>(handle));
}

InputFile OpenForRandomAccess(const FilePath& path) {
    return openRegularFile(path, POSIX_FADV_RANDOM);
}

InputFile openForSequentialScan(const FilePath& path) {
    return openRegularFile(path, POSIX_FADV_SEQUENTIAL);
}

std::optional<std::uint64_t> fileSizeFromAttributes(const FilePath& path) {
    struct stat status{};
    if (stat(path.c_str(), &status) != 0 || S_ISDIR(status.st_mode)) return std::nullopt;
    return static_cast<std::uint64_t>(status.st_size);
}

std::size_t readSome(std::intptr_t handle, std::uint64_t offset, void* buffer, std::size_t length) {
    ssize_t got = 0;
    do {
        got = pread(static_cast<int>(handle), buffer, length, static_cast<off_t>(offset));
    } while (got < 0 && errno == EINTR);
    return got > 0 ? static_cast<std::size_t>(got) : 0;
}

} // namespace velkantrix
