#include "tools/velkantrix-cut/cut_arguments.h"

#include <cwchar>

#include "base/time_text.h"

namespace velkantrix {
namespace {

constexpr double LONGEST_SECONDS = 1000 * 3600.0;
constexpr size_t MOST_DIGITS = 12; // of a number: more can't be a time, and would lose digits

bool isDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}

// A cursor over a time.
struct TimeReader {
    const std::wstring& text;
    size_t at = 0;

    [[nodiscard]] bool atEnd() const { return at == text.size(); }

    bool take(wchar_t c) {
        if (atEnd() || text[at] != c) return false;
        at++;
        return true;
    }

    std::optional<double> digits() {
        const size_t first = at;
        double value = 0;
        while (!atEnd() && isDigit(text[at])) value = value * 10 + (text[at++] - L'0');
        if (at == first || at - first > MOST_DIGITS) return std::nullopt;
        return value;
    }

    // ".250", or nothing.
    std::optional<double> fraction() {
        if (!take(L'.')) return 0;
        const size_t first = at;
        const std::optional<double> value = digits();
        if (!value) return std::nullopt;
        double scale = 1;
        for (size_t i = first; i < at; i++) scale *= 10;
        return *value / scale;
    }
};

std::optional<KeptPart> parsePart(const std::wstring& text) {
    const size_t dash = text.find(L'-');
    if (dash == std::wstring::npos) return std::nullopt;
    const std::wstring start = text.substr(0, dash), end = text.substr(dash + 1);
    const KeptPart part{.start = parseTime(start), .end = parseTime(end)};
    if (!part.start && !start.empty()) return std::nullopt;
    if (!part.end && !end.empty()) return std::nullopt;
    return part;
}

bool takeOption(const std::wstring& word, CutArguments& arguments) {
    if (word == L"--json") return arguments.json = true;
    if (word == L"--help" || word == L"-h") return arguments.help = true;
    if (word == L"--version") return arguments.version = true;
    return false;
}

bool takePath(const std::wstring& word, CutArguments& arguments) {
    std::wstring& path = arguments.input.empty() ? arguments.input : arguments.output;
    if (word.empty() || !path.empty()) return false;
    path = word;
    return true;
}

// Empty: the part isn't.
std::wstring emptinessOf(double start, double end) {
    if (start < end) return {};
    return L"A part must begin before it ends: " + formatTime(start) + L" to " + formatTime(end);
}

// Empty: nothing is wrong that can be told without the source.
std::wstring emptinessOf(const std::vector<KeptPart>& parts) {
    for (const KeptPart& part : parts) {
        std::wstring problem = part.end ? emptinessOf(part.start.value_or(0), *part.end) : L"";
        if (!problem.empty()) return problem;
    }
    return {};
}

// Empty: nothing is missing, and every part can be meant.
std::wstring whatIsWrong(const CutArguments& arguments) {
    if (arguments.help || arguments.version) return {};
    if (arguments.input.empty()) return L"No input file is named.";
    if (arguments.output.empty()) return L"No output file is named.";
    if (arguments.parts.empty()) return L"Nothing to keep: give --keep START-END at least once.";
    return emptinessOf(arguments.parts);
}

} // namespace

std::optional<double> parseTime(const std::wstring& text) {
    TimeReader reader{text};
    double seconds = 0;
    for (int field = 0;; field++) {
        const std::optional<double> value = reader.digits();
        if (!value || field > 2 || (field > 0 && *value >= 60)) return std::nullopt;
        seconds = seconds * 60 + *value;
        if (!reader.take(L':')) break;
    }
    const std::optional<double> fraction = reader.fraction();
    if (!fraction || !reader.atEnd()) return std::nullopt;
    seconds += *fraction;
    if (seconds > LONGEST_SECONDS) return std::nullopt;
    return seconds;
}

std::optional<CutArguments> parseCutArguments(const std::vector<std::wstring>& words,
                                              std::wstring& problem) {
    CutArguments arguments;
    bool onlyPaths = false; // after "--"
    for (size_t i = 0; i < words.size(); i++) {
        const std::wstring& word = words[i];
        const bool isOption = !onlyPaths && word.size() > 1 && word[0] == L'-';
        if (!isOption) {
            if (takePath(word, arguments)) continue;
            problem = word.empty() ? L"A file's name is empty." : L"One file too many: " + word;
            return std::nullopt;
        }
        if (word == L"--") {
            onlyPaths = true;
        } else if (word == L"--keep") {
            const std::optional<KeptPart> part =
                i + 1 < words.size() ? parsePart(words[i + 1]) : std::nullopt;
            if (!part) {
                problem = L"--keep needs START-END, in seconds or hh:mm:ss.mmm" +
                          (i + 1 < words.size() ? L": " + words[i + 1] : std::wstring(L"."));
                return std::nullopt;
            }
            arguments.parts.push_back(*part);
            i++;
        } else if (!takeOption(word, arguments)) {
            problem = L"Unknown option: " + word;
            return std::nullopt;
        }
    }
    problem = whatIsWrong(arguments);
    if (!problem.empty()) return std::nullopt;
    return arguments;
}

std::optional<std::vector<ExportSpan>> spansOf(const std::vector<KeptPart>& parts, double duration,
                                               std::wstring& problem) {
    std::vector<ExportSpan> spans;
    spans.reserve(parts.size());
    for (const KeptPart& part : parts) {
        const double start = part.start.value_or(0), end = part.end.value_or(duration);
        if (!part.end && start >= duration) {
            problem = L"A part begins behind the end of the video: " + formatTime(start) +
                      L", and it ends at " + formatTime(duration);
            return std::nullopt;
        }
        problem = emptinessOf(start, end);
        if (!problem.empty()) return std::nullopt;
        spans.push_back({.start = start, .end = end});
    }
    return spans;
}

std::wstring cutUsage() {
    return L"usage: velkantrix-cut INPUT OUTPUT --keep START-END [--keep START-END]... [--json]\n"
           L"\n"
           L"Writes the kept parts of INPUT to OUTPUT (MP4), one after the other, without "
           L"encoding\n"
           L"anything anew: every part begins at the keyframe at or before START and ends at the\n"
           L"first keyframe at or after END. INPUT is only read. An existing OUTPUT is replaced, "
           L"once\n"
           L"the new one is complete.\n"
           L"\n"
           L"  --keep START-END  a part to keep; times are seconds (75.5) or hh:mm:ss.mmm "
           L"(1:15.5);\n"
           L"                    without START from the beginning, without END to the end\n"
           L"  --json            progress and result as lines of JSON on standard output\n"
           L"  --version         the version\n"
           L"  --help            this text\n"
           L"\n"
           L"Ctrl+C cancels and leaves no output. The exit code is 0 for success, 1 for failure "
           L"(the\n"
           L"reason is on standard error), 2 for arguments that can't be meant.\n";
}

} // namespace velkantrix
