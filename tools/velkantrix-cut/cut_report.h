// cut_report.h: what velkantrix-cut says while it works and at its end.
#pragma once

#include <optional>
#include <string>
#include <vector>

namespace velkantrix {

// Decides when a progress line is worth writing: the first one at once, then one per tenth of a
// second. Times are milliseconds of any clock that only goes forward. One thread.
class ReportPace {
public:
    [[nodiscard]] bool due(long long nowMilliseconds);

private:
    static constexpr long long PAUSE = 100;
    long long next_ = 0;
    bool any_ = false;
};

// Lines of JSON (RFC 8259), without the line end. Times are seconds of the output; `remaining` is
// null while it can't be said. The length is the output's own, for keyframes make it another than
// asked; null when it can't be read back.
[[nodiscard]] std::wstring progressJson(double doneSeconds, double expectedSeconds,
                                        double elapsedSeconds);
[[nodiscard]] std::wstring doneJson(const std::wstring& output, std::optional<double> length,
                                    double elapsedSeconds);
// Of --separate: `output` is the folder, `length` that of all files.
struct WrittenFile {
    std::wstring path;
    std::optional<double> length;
};
[[nodiscard]] std::wstring doneJson(const std::wstring& folder,
                                    const std::vector<WrittenFile>& files, double elapsedSeconds);
[[nodiscard]] std::wstring errorJson(const std::wstring& message);
// Something to know, said before the work begins.
[[nodiscard]] std::wstring noteJson(const std::wstring& message);

// A message of the system in one line: it may end in a line break, or have one before its code.
[[nodiscard]] std::wstring oneLine(const std::wstring& text);

} // namespace velkantrix
