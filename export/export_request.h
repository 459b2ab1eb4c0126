// export_request.h: what to write into one output file.
#pragma once

#include <atomic>
#include <cstdint>
#include <functional>
#include <limits>
#include <optional>
#include <string>
#include <vector>

namespace velkantrix {

// A part [start, end) of the source, in seconds of source time; fades are lengths in seconds, 0 for
// none, and are rendered by the re-encode only. From 0 to infinity it is the whole source, up to
// the end of each of its streams, which a copy leaves at their times.
struct ExportSpan {
    double start = 0;
    double end = 0;
    double fadeIn = 0;
    double fadeOut = 0;
};

[[nodiscard]] inline bool isWholeSource(const ExportSpan& span) {
    return span.start == 0 && span.end == std::numeric_limits<double>::infinity();
}

// Where a span came out: `sourceStart` of the source is at `outputStart` of the output, in seconds.
// A copy begins before the span, with a keyframe.
struct WrittenSpan {
    struct Hole {
        double from = 0; // the span's start, or where the picture before ends
        double to = 0;   // the next picture
    };
    double sourceStart = 0;
    double outputStart = 0;
    // Up to where its pictures are known to go: where the last of them ends, or further where one
    // behind it has been seen, or where it doesn't say how long it lasts.
    double sourceEnd = 0;
    bool hasPictures = true;
    std::optional<double> soundEnd; // likewise; absent where the source offers no sound
    // Of more than a second, in front of the first picture; in a re-encode between two as well.
    std::vector<Hole> holes;
};

// Filled by the caller; the export only reads it.
struct ExportRequest {
    std::wstring sourcePath;
    std::wstring outputPath;
    std::vector<ExportSpan> spans; // written back to back, in this order
    // The box that a re-encoded frame is fitted into, in pixels; 0 or less: the source's own size
    // in that dimension.
    std::int32_t maxWidth = 0;
    std::int32_t maxHeight = 0;
    double exposure = 0; // in stops, for the re-encode; |exposure| <= 0.001 is none
    const std::atomic<bool>* cancel = nullptr; // set by the user's side at any time; may be null
    std::function<void(double)> progress; // gets the output seconds written so far; may be empty
    // Gets each span that was written, in their order; may be empty.
    std::function<void(const WrittenSpan&)> spanWritten;
    bool losslessAllowed = false; // copy samples; otherwise re-encode
};

// The length of all spans as asked for, in seconds: what an export's progress ends at.
[[nodiscard]] inline double totalSeconds(const std::vector<ExportSpan>& spans) {
    double total = 0;
    for (const ExportSpan& span : spans) total += span.end - span.start;
    return total;
}

} // namespace velkantrix
