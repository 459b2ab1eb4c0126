#include "edit/clip_name.h"

#include "edit/edit_state.h"

namespace velkantrix {
namespace {

constexpr std::wstring_view FORBIDDEN_IN_FILE_NAMES = L"<>:\"/\\|?*";

// Spelled out, because iswspace asks the locale. Its first line is that of the C locale.
constexpr std::wstring_view WHITE_SPACE =
    L" \t\n\v\f\r"
    L"\u0085\u00a0\u1680\u2000\u2001\u2002\u2003\u2004\u2005\u2006\u2007\u2008\u2009\u200a"
    L"\u2028\u2029\u202f\u205f\u3000";

} // namespace

std::wstring clipLabel(std::int32_t i) {
    return clipLabel(editState().clips, i);
}

std::wstring clipLabel(const ClipList& clips, std::int32_t i) {
    if (!isClip(clips, i)) return {};
    const Segment& clip = clips[static_cast<std::size_t>(i)];
    if (!clip.name.empty()) return clip.name;
    return L"CLIP " + std::to_wstring(std::int64_t{i} + 1);
}

std::wstring sanitizeFileName(std::wstring_view text) {
    std::wstring clean(text);
    for (wchar_t& character : clean) {
        if (FORBIDDEN_IN_FILE_NAMES.find(character) != std::wstring_view::npos) character = L'-';
    }
    clean.erase(clean.find_last_not_of(L" .") + 1);
    return clean;
}

std::wstring strippedName(std::wstring_view text) {
    const std::size_t first = text.find_first_not_of(WHITE_SPACE);
    if (first == std::wstring_view::npos) return {};
    return std::wstring(text.substr(first, text.find_last_not_of(WHITE_SPACE) + 1 - first));
}

} // namespace velkantrix
