#include "playback/held_files.h"

#include <windows.h>

#include <atomic>

namespace velkantrix {
namespace {

constexpr DWORD STEP = 5; // milliseconds

constinit std::atomic<std::int32_t> heldFiles{0};

} // namespace

HeldFile::HeldFile() {
    ++heldFiles;
}

HeldFile::~HeldFile() {
    --heldFiles;
}

bool sourceFilesAreClosed(std::uint32_t longestWait) {
    const ULONGLONG begun = GetTickCount64();
    while (heldFiles > 0) {
        if (GetTickCount64() - begun >= longestWait) return false;
        Sleep(STEP);
    }
    return true;
}

} // namespace velkantrix
