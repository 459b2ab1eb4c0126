// recent_files.h: the videos that were opened last, the newest first. UI thread.
#pragma once

#include <cstddef>
#include <functional>
#include <string>
#include <vector>

namespace velkantrix {

inline constexpr std::size_t MAX_RECENT_FILES = 10;

using RecentFiles = std::vector<std::wstring>; // full paths
using SamePath = std::function<bool(const std::wstring& a, const std::wstring& b)>;

// To the front, also when it was in the list before; the oldest goes when there are too many.
void addRecent(RecentFiles& files, const std::wstring& path, const SamePath& same);

void removeRecent(RecentFiles& files, const std::wstring& path, const SamePath& same);

} // namespace velkantrix
