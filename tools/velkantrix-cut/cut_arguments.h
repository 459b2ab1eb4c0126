// cut_arguments.h: the command line of velkantrix-cut.
#pragma once

#include <cstdint>
#include <optional>
#include <string>
#include <vector>

#include "export/export_request.h"
#include "export/job_rules.h"

namespace velkantrix {

// A part to keep, in seconds of the source. An end that wasn't given is the source's own.
struct KeptPart {
    std::optional<double> start;
    std::optional<double> end;
    double fadeIn = 0; // 0: none
    double fadeOut = 0;

    bool operator==(const KeptPart&) const = default;
};

struct CutArguments {
    std::wstring input;
    std::wstring output;   // a folder when separate
    bool separate = false; // a file for each part
    std::vector<KeptPart> parts;
    std::int32_t quality = QUALITY_LOSSLESS; // as job_rules.h counts them
    double exposure = 0;                     // in stops
    bool json = false;
    bool help = false;
    bool version = false;
};

// Reads the arguments after the program's own name. When they can't be meant, the result is absent
// and `problem` says why in one sentence. With --help or --version nothing else is required.
[[nodiscard]] std::optional<CutArguments> parseCutArguments(const std::vector<std::wstring>& words,
                                                            std::wstring& problem);

// "12", "12.5", "3:07.250" or "1:02:03.5" in seconds; in the forms with colons, minutes and seconds
// stay below 60. Absent for anything else, and past 1,000 hours.
[[nodiscard]] std::optional<double> parseTime(const std::wstring& text);

// "0.5", "+0.5" or "-0.5"; absent for anything else, and beyond one stop either way.
[[nodiscard]] std::optional<double> parseStops(const std::wstring& text);

// The spans to export, from a source that lasts `duration` seconds. Absent, with `problem`, when a
// part is empty, begins behind its end, or is shorter than its fades.
[[nodiscard]] std::optional<std::vector<ExportSpan>>
spansOf(const std::vector<KeptPart>& parts, double duration, std::wstring& problem);

} // namespace velkantrix
