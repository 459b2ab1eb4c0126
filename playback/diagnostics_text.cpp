#include "playback/diagnostics_text.h"

#include <algorithm>
#include <array>
#include <cinttypes>
#include <cstdio>
#include <cwchar>

namespace velkantrix {
namespace {

constexpr std::uint64_t BYTES_PER_MB = 1'048'576;
constexpr std::uint64_t TIMES_PER_MILLISECOND = 10'000;
constexpr const wchar_t* SEPARATOR = L"  \u00B7  ";

template <class... Values>
std::wstring wideText(const wchar_t* format, Values... values) {
    std::array<wchar_t, 64> buffer{};
    const int length = std::swprintf(buffer.data(), buffer.size(), format, values...);
    return length < 0 ? std::wstring()
                      : std::wstring(buffer.data(), static_cast<std::size_t>(length));
}

template <class... Values>
std::string lineText(const char* format, Values... values) {
    std::array<char, 512> buffer{};
    const int length = std::snprintf(buffer.data(), buffer.size(), format, values...);
    if (length < 0) return {};
    return {buffer.data(), std::min(static_cast<std::size_t>(length), buffer.size() - 1)};
}

// Seven characters each, so that the columns stay in line.
const char* pictureWord(bool isPreview) {
    return isPreview ? "preview" : "engine ";
}

const char* ownerWord(PictureOwner owner) {
    switch (owner) {
    case PictureOwner::Preview:
        return "preview";
    case PictureOwner::Frozen:
        return "frozen";
    case PictureOwner::Engine:
        break;
    }
    return "engine";
}

} // namespace

void takeProcessorTimes(ResourceStats& stats, const ProcessorTimes& now, std::uint32_t processors) {
    if (stats.lastTick != 0) {
        const std::uint64_t used =
            (now.user - stats.lastUserTime) + (now.kernel - stats.lastKernelTime);
        const std::uint64_t wholeMilliseconds = used / TIMES_PER_MILLISECOND;
        const auto busy = static_cast<double>(wholeMilliseconds);
        const double elapsed =
            now.tick > stats.lastTick ? static_cast<double>(now.tick - stats.lastTick) : 0;
        const double share = busy / (std::max(processors, 1U) * elapsed) * 100;
        stats.cpuPercent = elapsed > 0 ? std::clamp(share, 0.0, 100.0) : 0;
    }
    stats.lastKernelTime = now.kernel;
    stats.lastUserTime = now.user;
    stats.lastTick = now.tick;
}

std::wstring formatResourceLine(const ResourceStats& stats) {
    const auto size = static_cast<double>(stats.exeSize);
    return wideText(L"RAM %.0f MB", static_cast<double>(stats.workingSet) / BYTES_PER_MB) +
           SEPARATOR + wideText(L"CPU %.0f%%", stats.cpuPercent) + SEPARATOR +
           (stats.exeSize < BYTES_PER_MB ? wideText(L"DISK %.0f KB", size / 1024)
                                         : wideText(L"DISK %.1f MB", size / BYTES_PER_MB)) +
           SEPARATOR + L"0 DEPS" + SEPARATOR + L"0 NET";
}

bool asksForLog(std::wstring_view value, std::uint32_t length) {
    return length > 0 && length < LOG_VARIABLE_ROOM && !value.empty() && value[0] == L'1';
}

std::string engineLogLine(double seconds, std::uint32_t event, std::uint64_t param1,
                          std::uint32_t param2) {
    return lineText("%9.3f ev=%" PRIu32 " p1=%" PRIu64 " p2=%" PRIu32 "\n", seconds, event, param1,
                    param2);
}

std::string presentLogLine(double seconds, const PresentRecord& record, double engineTime) {
    const double tick = record.pts >= 0 ? secondsOf(record.pts) : -1.0;
    return lineText("%9.3f %s engine=%9.3f preview=%9.3f tick=%9.3f target=%9.3f owner=%s "
                    "gen=%" PRIu64 " waitplay=%d\n",
                    seconds, pictureWord(record.isPreview), engineTime, record.previewShownTime,
                    tick, secondsOf(record.seekTarget), ownerWord(record.owner), record.generation,
                    record.waitPlay ? 1 : 0);
}

} // namespace velkantrix
