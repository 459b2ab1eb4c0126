// job_rules.h: what a job decides before it begins: whether it copies the file as it is, copies its
// samples or encodes them anew, what its files are called, and how far it is.
//
// All of it is pure. Times are double seconds.
#pragma once

#include <cstddef>
#include <cstdint>
#include <string>
#include <vector>

#include "edit/segment.h"
#include "export/export_request.h"

namespace velkantrix {

// Layouts and qualities by the numbers that the menu counts them with.
inline constexpr std::int32_t LAYOUT_JOINED = 0;
inline constexpr std::int32_t LAYOUT_SEPARATE = 1;
inline constexpr std::int32_t LAYOUT_COUNT = 2;
inline constexpr std::int32_t QUALITY_LOSSLESS = 0;
inline constexpr std::int32_t QUALITY_SOURCE_SIZE = 1; // re-encoded; 2 to 4 into smaller frames
inline constexpr std::int32_t QUALITY_COUNT = 5;

// What was asked for, beside the clips.
struct JobKind {
    bool separate = false; // a file for each clip
    std::int32_t quality = QUALITY_LOSSLESS;
    double exposure = 0;   // in stops
    bool optimise = false; // rewrite all of the source, whatever the clips are
    bool rewrite = false;  // never copy byte for byte, though nothing was cut
};

// Some clip has a fade that a joined export renders. Files of single clips are cut, not faded,
// unless they are re-encoded anyway.
bool hasFades(const ClipList& clips);

// The output would be the source: it is copied byte for byte.
bool isCopyOnly(const ClipList& clips, double duration, const JobKind& kind);

// Samples may be copied without decoding them.
bool isLosslessAllowed(const ClipList& clips, const JobKind& kind);

// What a re-encoded frame is fitted into, in pixels; 0 keeps the source's.
struct FrameBox {
    std::int32_t width = 0;
    std::int32_t height = 0;
    bool operator==(const FrameBox&) const = default;
};
FrameBox frameBoxOf(std::int32_t quality);

std::vector<ExportSpan> spansOfClips(const ClipList& clips);

// What the save dialog starts with.
struct OutputSuggestion {
    std::wstring name;      // "holiday-cut.mp4"
    std::wstring extension; // ".mp4"
    std::wstring typeLabel;
    bool operator==(const OutputSuggestion&) const = default;
};
OutputSuggestion suggestOutput(const std::wstring& sourcePath, bool copyOnly);

// The folder that a file lies in; of a drive's own files "D:\". Empty when the path names none.
std::wstring folderOfFile(const std::wstring& path);

// "01 - name.mp4", or "clip-01.mp4" when nothing of the name can be in a file's. `i` counts from 0.
std::wstring clipFileName(const std::wstring& name, std::size_t i);

// "out (2).mp4" for "out.mp4" and 2.
std::wstring nameOfVersion(const std::wstring& path, int version);

// The file in the folder, which may end with any number of separators; just the file without one.
std::wstring pathInFolder(std::wstring folder, const std::wstring& fileName);

// The share of the work that is done, in [0, 1]; 1 when nothing is expected.
double progressShare(double doneSeconds, double expectedSeconds);

// The share in thousandths, for the taskbar.
std::uint32_t taskbarValue(double doneSeconds, double expectedSeconds);
inline constexpr std::uint32_t TASKBAR_TOTAL = 1000;

// The time left in seconds, going by the pace so far; negative while nothing can be said (up to
// half a percent, and at the end).
double secondsLeft(double share, double elapsedSeconds);

} // namespace velkantrix
