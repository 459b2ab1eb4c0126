// cut_arguments.h: the command line of velkantrix-cut.
#pragma once

#include <optional>
#include <string>
#include <vector>

#include "export/export_request.h"

namespace velkantrix {

// A part to keep, in seconds of the source. An end that wasn't given is the source's own.
struct KeptPart {
    std::optional<double> start;
    std::optional<double> end;

    bool operator==(const KeptPart&) const = default;
};

struct CutArguments {
    std::wstring input;
    std::wstring output;
    std::vector<KeptPart> parts;
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

// The spans to export, from a source that lasts `duration` seconds. Absent, with `problem`, when a
// part is empty or begins behind its end.
[[nodiscard]] std::optional<std::vector<ExportSpan>>
spansOf(const std::vector<KeptPart>& parts, double duration, std::wstring& problem);

// What --help prints.
[[nodiscard]] std::wstring cutUsage();

} // namespace velkantrix
