#include "export/job_rules.h"

#include <algorithm>
#include <array>
#include <cmath>
#include <cstdlib>
#include <utility>

#include "base/exposure.h"
#include "edit/clip_name.h"
#include "edit/edit_state.h"

namespace velkantrix {
namespace {

constexpr wchar_t DEFAULT_EXTENSION[] = L".mp4";

bool isSeparator(wchar_t character) {
    return character == L'\\' || character == L'/';
}

// A file name in two: what is before its last dot, and the rest with the dot. A dot in front of
// everything begins the name, not an extension.
struct NameParts {
    std::wstring base;
    std::wstring extension;
};

NameParts splitName(const std::wstring& path) {
    const std::size_t separator = path.find_last_of(L"\\/");
    const std::wstring name = separator == std::wstring::npos ? path : path.substr(separator + 1);
    const std::size_t dot = name.rfind(L'.');
    if (dot == std::wstring::npos || dot == 0) return {.base = name, .extension = {}};
    return {.base = name.substr(0, dot), .extension = name.substr(dot)};
}

} // namespace

bool hasFades(const ClipList& clips) {
    return std::ranges::any_of(clips, [](const Segment& clip) {
        return clip.fadeIn > MIN_FADE || clip.fadeOut > MIN_FADE;
    });
}

bool isCopyOnly(const ClipList& clips, double duration, const JobKind& kind) {
    if (kind.optimise || kind.rewrite || kind.separate || kind.quality > QUALITY_SOURCE_SIZE)
        return false;
    return !hasEdits(clips, duration) && !isExposed(kind.exposure) && !hasFades(clips);
}

bool isLosslessAllowed(const ClipList& clips, const JobKind& kind) {
    const bool needsReencode = isExposed(kind.exposure) || (!kind.separate && hasFades(clips));
    return kind.quality == QUALITY_LOSSLESS && !needsReencode;
}

FrameBox frameBoxOf(std::int32_t quality) {
    constexpr std::array<FrameBox, 5> BOXES = {
        {{0, 0}, {0, 0}, {1920, 1080}, {1280, 720}, {854, 480}}};
    const bool known = quality >= 0 && std::cmp_less(quality, BOXES.size());
    return known ? BOXES[static_cast<std::size_t>(quality)] : FrameBox{};
}

std::vector<ExportSpan> spansOfClips(const ClipList& clips) {
    std::vector<ExportSpan> spans;
    spans.reserve(clips.size());
    for (const Segment& clip : clips) {
        spans.push_back(
            {.start = clip.start, .end = clip.end, .fadeIn = clip.fadeIn, .fadeOut = clip.fadeOut});
    }
    return spans;
}

OutputSuggestion suggestOutput(const std::wstring& sourcePath, bool copyOnly) {
    const NameParts source = splitName(sourcePath);
    if (!copyOnly) {
        return {.name = source.base + L"-cut" + DEFAULT_EXTENSION,
                .extension = DEFAULT_EXTENSION,
                .typeLabel = L"MP4 video"};
    }
    // A dot alone is no extension.
    const std::wstring extension =
        source.extension.size() < 2 ? DEFAULT_EXTENSION : source.extension;
    return {.name = source.base + L"-copy" + extension,
            .extension = extension,
            .typeLabel = L"Video file"};
}

std::wstring folderOfFile(const std::wstring& path) {
    const std::size_t separator = path.find_last_of(L"\\/");
    if (separator == std::wstring::npos) return {};
    // "D:" alone would be the drive's current folder.
    const bool isRoot = separator == 0 || path[separator - 1] == L':';
    return path.substr(0, isRoot ? separator + 1 : separator);
}

std::wstring clipFileName(const std::wstring& name, std::size_t i) {
    const std::wstring number = (i < 9 ? L"0" : L"") + std::to_wstring(i + 1);
    const std::wstring clean = sanitizeFileName(name);
    if (clean.empty()) return L"clip-" + number + DEFAULT_EXTENSION;
    return number + L" - " + clean + DEFAULT_EXTENSION;
}

std::wstring nameOfVersion(const std::wstring& path, int version) {
    const std::wstring extension = splitName(path).extension;
    return path.substr(0, path.size() - extension.size()) + L" (" + std::to_wstring(version) +
           L")" + extension;
}

std::wstring pathInFolder(std::wstring folder, const std::wstring& fileName) {
    if (folder.empty()) return fileName;
    while (!folder.empty() && isSeparator(folder.back())) folder.pop_back();
    return folder + L"\\" + fileName;
}

double progressShare(double doneSeconds, double expectedSeconds) {
    if (!(expectedSeconds > 0) || std::isnan(doneSeconds)) return 1;
    return std::clamp(doneSeconds / expectedSeconds, 0.0, 1.0);
}

std::uint32_t taskbarValue(double doneSeconds, double expectedSeconds) {
    return static_cast<std::uint32_t>(
        std::lround(progressShare(doneSeconds, expectedSeconds) * TASKBAR_TOTAL));
}

double secondsLeft(double share, double elapsedSeconds) {
    if (!(share > 0.005) || share >= 1) return -1;
    return (1 - share) * elapsedSeconds / share;
}

} // namespace velkantrix
