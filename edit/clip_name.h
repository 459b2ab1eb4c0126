// clip_name.h: what clips are called on screen and in file names.
#pragma once

#include <cstdint>
#include <string>
#include <string_view>

#include "edit/segment.h"

namespace velkantrix {

// The clip's name, or "CLIP 1", "CLIP 2", ... by its place in the list. Empty where there is no
// clip.
std::wstring clipLabel(std::int32_t i);
std::wstring clipLabel(const ClipList& clips, std::int32_t i);

// What a file name can't hold (< > : " / \ | ? *) becomes '-'; blanks and dots at the end, which
// the file system would drop by itself, go away.
std::wstring sanitizeFileName(std::wstring_view text);

// Without the white space at both ends: what the user typed as a name.
std::wstring strippedName(std::wstring_view text);

} // namespace velkantrix
