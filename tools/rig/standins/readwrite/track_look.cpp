// track_look.cpp: see track_look.h. Box names and layouts are those of ISO/IEC 14496-12.
#include "track_look.h"
#include <cstring>
#include <span>
#include <vector>

namespace rig {
namespace {

using Bytes = std::span<const uint8_t>;
constexpr uint64_t MOST_TABLES = 64u << 20;

uint32_t read16(Bytes b, size_t at) {
    return at + 2 <= b.size() ? uint32_t(b[at] << 8 | b[at + 1]) : 0;
}
uint32_t read32(Bytes b, size_t at) {
    return read16(b, at) << 16 | read16(b, at + 2);
}

// Calls `use` with the content of each box of the type, until it returns true.
template <class Use>
bool forEachBox(Bytes in, const char* type, Use use) {
    for (size_t at = 0; at + 8 <= in.size();) {
        const uint64_t size = read32(in, at);
        if (size < 8 || size > in.size() - at) return false;
        if (!memcmp(in.data() + at + 4, type, 4) && use(in.subspan(at + 8, size - 8))) return true;
        at += size;
    }
    return false;
}

Bytes child(Bytes in, std::initializer_list<const char*> path) {
    for (const char* type : path) {
        Bytes found;
        forEachBox(in, type, [&](Bytes content) { return found = content, true; });
        in = found;
    }
    return in;
}

bool readAt(HANDLE file, uint64_t at, void* to, DWORD size) {
    LARGE_INTEGER position;
    position.QuadPart = static_cast<LONGLONG>(at);
    DWORD got = 0;
    return SetFilePointerEx(file, position, nullptr, FILE_BEGIN) &&
           ReadFile(file, to, size, &got, nullptr) && got == size;
}

std::vector<uint8_t> loadMovie(HANDLE file) {
    uint8_t head[16] = {};
    for (uint64_t at = 0; readAt(file, at, head, 8);) {
        uint64_t size = read32(head, 0);
        const uint64_t headSize = size == 1 ? 16 : 8;
        if (size == 1 && !readAt(file, at, head, 16)) return {};
        if (size == 1) size = uint64_t{read32(head, 8)} << 32 | read32(head, 12);
        if (size < headSize) return {};
        if (!memcmp(head + 4, "moov", 4)) {
            if (size > MOST_TABLES) return {};
            std::vector<uint8_t> movie(size - headSize);
            const bool whole = readAt(file, at + headSize, movie.data(), DWORD(movie.size()));
            return whole ? movie : std::vector<uint8_t>{};
        }
        at += size;
    }
    return {};
}

uint32_t rotationOf(Bytes trackHeader) {
    const size_t matrix = !trackHeader.empty() && trackHeader[0] == 1 ? 52 : 40;
    const auto a = int32_t(read32(trackHeader, matrix));
    const auto b = int32_t(read32(trackHeader, matrix + 4));
    if (b > 0) return 90;
    if (b < 0) return 270;
    return a < 0 ? 180 : 0;
}

Colours coloursOf(Bytes sampleTable) {
    constexpr size_t DESCRIPTION_HEAD = 8, ENTRY_HEAD = 8 + 78;
    const Bytes description = child(sampleTable, {"stsd"});
    if (description.size() < DESCRIPTION_HEAD + ENTRY_HEAD) return {};
    const Bytes colr = child(description.subspan(DESCRIPTION_HEAD + ENTRY_HEAD), {"colr"});
    if (colr.size() < 11 || memcmp(colr.data(), "nclx", 4)) return {};
    const auto stated = [&](size_t at) {
        return read16(colr, at) == 2 ? 0 : read16(colr, at);
    };
    return {stated(4), stated(6), stated(8), colr[10] & 0x80 ? 2u : 1u};
}

} // namespace

TrackLook lookOfVideo(const wchar_t* path) {
    HANDLE file = CreateFileW(path, GENERIC_READ, FILE_SHARE_READ | FILE_SHARE_WRITE, nullptr,
                              OPEN_EXISTING, 0, nullptr);
    if (file == INVALID_HANDLE_VALUE) return {};
    const std::vector<uint8_t> movie = loadMovie(file);
    CloseHandle(file);
    TrackLook look;
    forEachBox(movie, "trak", [&](Bytes track) {
        const Bytes handler = child(track, {"mdia", "hdlr"});
        if (handler.size() < 12 || memcmp(handler.data() + 8, "vide", 4)) return false;
        look.rotation = rotationOf(child(track, {"tkhd"}));
        look.colours = coloursOf(child(track, {"mdia", "minf", "stbl"}));
        return true;
    });
    return look;
}

} // namespace rig
