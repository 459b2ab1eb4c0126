#include "tools/velkantrix-cut/cut_arguments.h"

#include <algorithm>
#include <array>
#include <cstddef>
#include <utility>

#include "base/exposure.h"
#include "base/time_text.h"
#include "edit/edit_state.h"

namespace velkantrix {
namespace {

constexpr double LONGEST_SECONDS = 1000 * 3600.0;
constexpr double MOST_STOPS = 1;
constexpr double ROUNDING = 1e-6;  // of lengths worked out from decimal times, in seconds
constexpr size_t MOST_DIGITS = 12; // of a number: more can't be a time, and would lose digits

bool isDigit(wchar_t c) {
    return c >= L'0' && c <= L'9';
}

// A cursor over a number or a time.
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

// Of one part, counted from 1.
struct GivenFade {
    bool in = false;
    std::size_t part = 0;
    double seconds = 0;
};

std::wstring optionOf(const GivenFade& fade) {
    return fade.in ? L"--fade-in" : L"--fade-out";
}

// "2:1.5". Shorter fades than MIN_FADE are none to the program; 0 is none to everybody.
std::optional<GivenFade> parseFade(const std::wstring& text) {
    TimeReader reader{text};
    const std::optional<double> part = reader.digits();
    if (!part || *part < 1 || !reader.take(L':')) return std::nullopt;
    const std::optional<double> seconds = parseTime(text.substr(reader.at));
    if (!seconds || (*seconds > 0 && *seconds <= MIN_FADE)) return std::nullopt;
    return GivenFade{.part = static_cast<std::size_t>(*part), .seconds = *seconds};
}

// By the numbers of job_rules.h.
constexpr std::array<const wchar_t*, QUALITY_COUNT> QUALITY_NAMES = {L"lossless", L"source",
                                                                     L"1080", L"720", L"480"};

std::optional<std::int32_t> parseQuality(const std::wstring& text) {
    const auto found = std::ranges::find(QUALITY_NAMES, text);
    if (found == QUALITY_NAMES.end()) return std::nullopt;
    return static_cast<std::int32_t>(found - QUALITY_NAMES.begin());
}

// Empty: the part isn't.
std::wstring emptinessOf(double start, double end) {
    if (start < end) return {};
    return L"A part must begin before it ends: " + formatTime(start) + L" to " + formatTime(end);
}

// What is wrong with a part, the `i`th from 0, as far as its ends are known; or empty.
std::wstring faultOf(const KeptPart& part, std::size_t i, double start, double end) {
    std::wstring empty = emptinessOf(start, end);
    if (!empty.empty()) return empty;
    const double fades = part.fadeIn + part.fadeOut;
    if (fades <= end - start + ROUNDING) return {};
    return L"The fades of part " + std::to_wstring(i + 1) + L" are longer than the part: " +
           formatTime(fades) + L" in " + formatTime(end - start);
}

// Empty: nothing is wrong that can be told without the source.
std::wstring faultOf(const std::vector<KeptPart>& parts) {
    for (std::size_t i = 0; i < parts.size(); i++) {
        const KeptPart& part = parts[i];
        if (!part.end) continue;
        std::wstring fault = faultOf(part, i, part.start.value_or(0), *part.end);
        if (!fault.empty()) return fault;
    }
    return {};
}

// Copied files have no fades, and separate ones aren't encoded for the sake of fades alone.
bool losesFades(const CutArguments& arguments) {
    const bool copied = arguments.separate && arguments.quality == QUALITY_LOSSLESS &&
                        !isExposed(arguments.exposure);
    return copied && std::ranges::any_of(arguments.parts, [](const KeptPart& part) {
               return part.fadeIn > 0 || part.fadeOut > 0;
           });
}

// Empty: nothing is missing, and all of it can be meant.
std::wstring whatIsWrong(const CutArguments& arguments) {
    if (arguments.help || arguments.version) return {};
    if (arguments.input.empty()) return L"No input file is named.";
    if (arguments.output.empty()) return L"No output file is named.";
    if (arguments.parts.empty()) return L"Nothing to keep: give --keep START-END at least once.";
    std::wstring fault = faultOf(arguments.parts);
    if (!fault.empty()) return fault;
    if (!losesFades(arguments)) return {};
    return L"Separate files are copied without their fades at quality lossless; to render them "
           L"give --quality source.";
}

// Goes through the words once. What it can't take is told by problem().
class WordReader {
public:
    explicit WordReader(const std::vector<std::wstring>& words) : words_(words) {}

    bool read() {
        while (at_ < words_.size()) {
            if (!takeWord(words_[at_++])) return false;
        }
        if (!applyFolder() || !applyFades()) return false;
        problem_ = whatIsWrong(arguments_);
        return problem_.empty();
    }

    [[nodiscard]] const CutArguments& arguments() const { return arguments_; }
    [[nodiscard]] const std::wstring& problem() const { return problem_; }

private:
    // The option's value is no such one, or its second: false, with the reason.
    struct ValueOption {
        const wchar_t* name;
        const wchar_t* needs;
        bool (WordReader::*take)(const std::wstring& value);
    };
    static const std::array<ValueOption, 6> VALUE_OPTIONS;

    bool fail(std::wstring problem) {
        problem_ = std::move(problem);
        return false;
    }

    bool takeWord(const std::wstring& word) {
        const bool isOption = !onlyPaths_ && word.size() > 1 && word[0] == L'-';
        if (!isOption) return takePath(word);
        if (word == L"--") return onlyPaths_ = true;
        if (word == L"--json") return arguments_.json = true;
        if (word == L"--help" || word == L"-h") return arguments_.help = true;
        if (word == L"--version") return arguments_.version = true;
        for (const ValueOption& option : VALUE_OPTIONS) {
            if (word == option.name) return takeValue(option);
        }
        return fail(L"Unknown option: " + word);
    }

    bool takePath(const std::wstring& word) {
        std::wstring& path = arguments_.input.empty() ? arguments_.input : arguments_.output;
        if (word.empty()) return fail(L"A file's name is empty.");
        if (!path.empty()) return fail(L"One file too many: " + word);
        path = word;
        return true;
    }

    bool takeValue(const ValueOption& option) {
        const std::wstring needs = std::wstring(option.name) + L" needs " + option.needs;
        if (at_ == words_.size()) return fail(needs + L".");
        const std::wstring& value = words_[at_++];
        if ((this->*option.take)(value)) return true;
        return problem_.empty() ? fail(needs + L": " + value) : false;
    }

    bool takePart(const std::wstring& value) {
        const std::optional<KeptPart> part = parsePart(value);
        if (part) arguments_.parts.push_back(*part);
        return part.has_value();
    }

    bool takeQuality(const std::wstring& value) {
        if (hasQuality_) return fail(L"--quality is given twice.");
        const std::optional<std::int32_t> quality = parseQuality(value);
        arguments_.quality = quality.value_or(QUALITY_LOSSLESS);
        return hasQuality_ = quality.has_value();
    }

    bool takeExposure(const std::wstring& value) {
        if (hasExposure_) return fail(L"--exposure is given twice.");
        const std::optional<double> stops = parseStops(value);
        arguments_.exposure = stops.value_or(0);
        return hasExposure_ = stops.has_value();
    }

    bool takeFadeIn(const std::wstring& value) { return takeFade(true, value); }
    bool takeFadeOut(const std::wstring& value) { return takeFade(false, value); }

    bool takeFade(bool in, const std::wstring& value) {
        std::optional<GivenFade> fade = parseFade(value);
        if (!fade) return false;
        fade->in = in;
        fades_.push_back(*fade);
        return true;
    }

    bool takeFolder(const std::wstring& value) {
        if (!folder_.empty()) return fail(L"--separate is given twice.");
        folder_ = value;
        return !folder_.empty();
    }

    // The folder takes the place of the output file.
    bool applyFolder() {
        if (folder_.empty()) return true;
        if (!arguments_.output.empty()) {
            return fail(L"With --separate no output file is named: " + arguments_.output);
        }
        arguments_.output = folder_;
        return arguments_.separate = true;
    }

    // They may be given before their parts.
    bool applyFades() {
        for (const GivenFade& fade : fades_) {
            const std::wstring part = L"part " + std::to_wstring(fade.part);
            if (fade.part > arguments_.parts.size()) {
                return fail(optionOf(fade) + L" names a part that isn't kept: " + part);
            }
            KeptPart& kept = arguments_.parts[fade.part - 1];
            double& length = fade.in ? kept.fadeIn : kept.fadeOut;
            if (length > 0) return fail(optionOf(fade) + L" is given twice for " + part + L".");
            length = fade.seconds;
        }
        return true;
    }

    const std::vector<std::wstring>& words_;
    std::size_t at_ = 0;
    bool onlyPaths_ = false; // after "--"
    bool hasQuality_ = false, hasExposure_ = false;
    std::wstring folder_;
    std::vector<GivenFade> fades_;
    CutArguments arguments_;
    std::wstring problem_;
};

const std::array<WordReader::ValueOption, 6> WordReader::VALUE_OPTIONS = {{
    {L"--keep", L"START-END, in seconds or hh:mm:ss.mmm", &WordReader::takePart},
    {L"--quality", L"lossless, source, 1080, 720 or 480", &WordReader::takeQuality},
    {L"--exposure", L"stops from -1 to 1", &WordReader::takeExposure},
    {L"--fade-in", L"PART:SECONDS, of more than 0.05 seconds", &WordReader::takeFadeIn},
    {L"--fade-out", L"PART:SECONDS, of more than 0.05 seconds", &WordReader::takeFadeOut},
    {L"--separate", L"a folder", &WordReader::takeFolder},
}};

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

std::optional<double> parseStops(const std::wstring& text) {
    TimeReader reader{text};
    const bool darker = reader.take(L'-');
    if (!darker) reader.take(L'+');
    const std::optional<double> whole = reader.digits();
    const std::optional<double> fraction = whole ? reader.fraction() : std::nullopt;
    if (!fraction || !reader.atEnd() || *whole + *fraction > MOST_STOPS) return std::nullopt;
    return (*whole + *fraction) * (darker ? -1 : 1);
}

std::optional<CutArguments> parseCutArguments(const std::vector<std::wstring>& words,
                                              std::wstring& problem) {
    WordReader reader(words);
    const bool meant = reader.read();
    problem = reader.problem();
    if (!meant) return std::nullopt;
    return reader.arguments();
}

std::optional<std::vector<ExportSpan>> spansOf(const std::vector<KeptPart>& parts, double duration,
                                               std::wstring& problem) {
    std::vector<ExportSpan> spans;
    spans.reserve(parts.size());
    for (std::size_t i = 0; i < parts.size(); i++) {
        const KeptPart& part = parts[i];
        const double start = part.start.value_or(0), end = part.end.value_or(duration);
        if (!part.end && start >= duration) {
            problem = L"A part begins behind the end of the video: " + formatTime(start) +
                      L", and it ends at " + formatTime(duration);
            return std::nullopt;
        }
        problem = faultOf(part, i, start, end);
        if (!problem.empty()) return std::nullopt;
        spans.push_back(
            {.start = start, .end = end, .fadeIn = part.fadeIn, .fadeOut = part.fadeOut});
    }
    return spans;
}

} // namespace velkantrix
