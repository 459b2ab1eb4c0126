// job_texts.h: what the user reads before, during and after a job.
#pragma once

#include <cstdint>
#include <string>

namespace velkantrix {

// Why an export whose output would be its source isn't begun.
inline constexpr wchar_t WOULD_OVERWRITE_SOURCE[] =
    L"The export would overwrite the video it is reading.";

// Why it failed, where nobody has said it.
inline constexpr wchar_t COULD_NOT_ENCODE[] =
    L"Windows Media Foundation could not encode this file.";

inline constexpr wchar_t EXPORT_CANCELLED[] = L"Export cancelled";
inline constexpr wchar_t CANCELLING[] = L"Cancelling…";

// The status when a job begins; `fadesForceEncoding`: its clips have fades, in one joined file.
std::wstring startText(bool saveInPlace, std::int32_t quality, bool fadesForceEncoding);

// "Exporting  42%   ·   00:42.000 / 01:40.000   ·   about 00:58.000 remaining". All in seconds.
std::wstring progressText(double doneSeconds, double expectedSeconds, double elapsedSeconds);

enum class JobOutcome { Cancelled, Success, Failure };

// The status when it has ended.
std::wstring outcomeText(JobOutcome outcome, bool saveInPlace);

// The box about a failure, whose reason may be empty.
std::wstring failureText(bool saveInPlace, const std::wstring& reason);

} // namespace velkantrix
