#include "playback/logs.h"

#include <array>
#include <chrono>
#include <cstdio>
#include <optional>
#include <string>

#include "base/mutex.h"
#include "playback/diagnostics_text.h"

namespace velkantrix {
namespace {

// One log. It stays open until the process ends, and every line is on disk at once: what matters
// most is what was written last before something went wrong.
class Log {
public:
    Log(const wchar_t* variable, const wchar_t* name) {
        std::array<wchar_t, LOG_VARIABLE_ROOM> value{};
        const DWORD length = GetEnvironmentVariableW(variable, value.data(), LOG_VARIABLE_ROOM);
        if (!asksForLog(value.data(), length)) return;
        if (_wfopen_s(&file_, name, L"w") != 0) file_ = nullptr;
    }

    [[nodiscard]] bool isOpen() const { return file_ != nullptr; }

    // A line at a time: an engine may still speak while the next already does.
    template <class Format>
    void write(Format format) {
        const Lock held(lock_);
        const std::string line = format(seconds());
        std::fputs(line.c_str(), file_);
        std::fflush(file_);
    }

private:
    double seconds() REQUIRES(lock_) {
        using Clock = std::chrono::steady_clock;
        static_assert(Clock::is_steady);
        const Clock::time_point now = Clock::now();
        if (!begin_) begin_ = now;
        const auto passed = std::chrono::duration_cast<std::chrono::nanoseconds>(now - *begin_);
        return static_cast<double>(passed.count()) / 1e9;
    }

    FILE* file_ = nullptr; // set once, in the constructor
    Mutex lock_;           // a leaf: nothing is locked under it
    std::optional<std::chrono::steady_clock::time_point> begin_ GUARDED_BY(lock_);
};

Log& engineLog() {
    static Log log(L"VELKANTRIX_ENGLOG", L"engine.log");
    return log;
}

Log& presentLog() {
    static Log log(L"VELKANTRIX_PRESENTLOG", L"present.log");
    return log;
}

} // namespace

void logEngineEvent(DWORD event, DWORD_PTR param1, DWORD param2) {
    Log& log = engineLog();
    if (!log.isOpen()) return;
    log.write([&](double seconds) { return engineLogLine(seconds, event, param1, param2); });
}

bool presentsAreLogged() {
    return presentLog().isOpen();
}

void logPresent(const PresentRecord& record, double engineTime) {
    Log& log = presentLog();
    if (!log.isOpen()) return;
    log.write([&](double seconds) { return presentLogLine(seconds, record, engineTime); });
}

} // namespace velkantrix
