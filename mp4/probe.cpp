#include "mp4/probe.h"

#include "mp4/box_walk.h"

namespace velkantrix {

TopLevelWalk walkTopLevel(const InputFile& file) {
    TopLevelWalk walk;
    ProbeResult& result = walk.result;
    for (std::uint32_t boxes = 0; boxes < MAX_PROBED_BOXES; ++boxes) {
        const auto box = readBoxHeader(file, walk.offset, file.size);
        if (!box) {
            walk.end = WalkEnd::Unreadable;
            return walk;
        }
        if (boxes == 0) result.startsWithFtyp = box->type == boxType("ftyp");
        if (box->type == boxType("moof")) {
            result.hasMoof = true;
            ++result.moofCount;
        }
        if (!box->holdsItsHeader()) {
            walk.end = WalkEnd::BadBox;
            return walk;
        }
        walk.offset = box->end();
        if (walk.offset >= file.size) {
            result.reachedEnd = true;
            walk.end = WalkEnd::FileEnd;
            return walk;
        }
    }
    walk.end = WalkEnd::BoxLimit;
    return walk;
}

ProbeResult ProbeFile(const FilePath& path) {
    const InputFile file = openForSequentialScan(path);
    return file ? walkTopLevel(file).result : ProbeResult{};
}

bool IsLargeFragmentedFile(const FilePath& path) {
    const auto size = fileSizeFromAttributes(path);
    if (!size || *size < LARGE_FILE_BYTES) return false;
    const ProbeResult result = ProbeFile(path);
    return result.hasMoof && result.moofCount >= LARGE_FILE_FRAGMENTS;
}

} // namespace velkantrix
