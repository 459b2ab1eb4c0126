#include "tools/velkantrix-cut/cut_report.h"

#include <algorithm>
#include <array>
#include <cwchar>

#include "export/job_rules.h"

namespace velkantrix {
namespace {

std::wstring quoted(const std::wstring& text) {
    std::wstring out = L"\"";
    for (const wchar_t c : text) {
        if (c == L'"' || c == L'\\') {
            out += L'\\';
            out += c;
        } else if (c < 0x20) {
            std::array<wchar_t, 8> escape{};
            std::swprintf(escape.data(), escape.size(), L"\\u%04x", static_cast<unsigned>(c));
            out += escape.data();
        } else {
            out += c;
        }
    }
    return out + L"\"";
}

std::wstring number(double value) {
    std::array<wchar_t, 64> text{};
    // JSON has no infinities; times past a year are no times.
    const double kept = value > 0 ? std::min(value, 1e8) : 0;
    std::swprintf(text.data(), text.size(), L"%.3f", kept);
    return text.data();
}

std::wstring numberOrNull(std::optional<double> value) {
    return value ? number(*value) : L"null";
}

// Of a result, open for more.
std::wstring doneStart(const std::wstring& output, std::optional<double> length,
                       double elapsedSeconds) {
    return L"{\"event\":\"done\",\"output\":" + quoted(output) + L",\"length\":" +
           numberOrNull(length) + L",\"elapsed\":" + number(elapsedSeconds);
}

} // namespace

bool ReportPace::due(long long nowMilliseconds) {
    if (any_ && nowMilliseconds < next_) return false;
    any_ = true;
    next_ = nowMilliseconds + PAUSE;
    return true;
}

std::wstring progressJson(double doneSeconds, double expectedSeconds, double elapsedSeconds) {
    const double share = progressShare(doneSeconds, expectedSeconds);
    const double left = secondsLeft(share, elapsedSeconds);
    return L"{\"event\":\"progress\",\"seconds\":" + number(doneSeconds) + L",\"total\":" +
           number(expectedSeconds) + L",\"share\":" + number(share) + L",\"remaining\":" +
           (left < 0 ? L"null" : number(left)) + L"}";
}

std::wstring doneJson(const std::wstring& output, std::optional<double> length,
                      double elapsedSeconds) {
    return doneStart(output, length, elapsedSeconds) + L"}";
}

std::wstring doneJson(const std::wstring& folder, const std::vector<WrittenFile>& files,
                      double elapsedSeconds) {
    std::optional<double> all = 0;
    std::wstring list;
    for (const WrittenFile& file : files) {
        all = all && file.length ? std::optional(*all + *file.length) : std::nullopt;
        list += (list.empty() ? L"{\"output\":" : L",{\"output\":") + quoted(file.path) +
                L",\"length\":" + numberOrNull(file.length) + L"}";
    }
    return doneStart(folder, all, elapsedSeconds) + L",\"files\":[" + list + L"]}";
}

std::wstring errorJson(const std::wstring& message) {
    return L"{\"event\":\"error\",\"message\":" + quoted(message) + L"}";
}

std::wstring noteJson(const std::wstring& message) {
    return L"{\"event\":\"note\",\"message\":" + quoted(message) + L"}";
}

std::wstring oneLine(const std::wstring& text) {
    std::wstring out;
    bool gap = false;
    for (const wchar_t c : text) {
        if (c == L'\r' || c == L'\n' || c == L'\t' || c == L' ') {
            gap = true;
            continue;
        }
        if (gap && !out.empty()) out += L' ';
        gap = false;
        out += c;
    }
    return out;
}

} // namespace velkantrix
