#include "app/recent_files.h"

namespace velkantrix {

void addRecent(RecentFiles& files, const std::wstring& path, const SamePath& same) {
    removeRecent(files, path, same);
    files.insert(files.begin(), path);
    if (files.size() > MAX_RECENT_FILES) files.resize(MAX_RECENT_FILES);
}

void removeRecent(RecentFiles& files, const std::wstring& path, const SamePath& same) {
    std::erase_if(files, [&](const std::wstring& file) { return same(file, path); });
}

} // namespace velkantrix
