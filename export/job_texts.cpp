#include "export/job_texts.h"

#include <cmath>

#include "base/time_text.h"
#include "export/job_rules.h"

namespace velkantrix {

std::wstring startText(bool saveInPlace, std::int32_t quality, bool fadesForceEncoding) {
    if (saveInPlace) return L"Saving — writing the new file beside the original…";
    if (quality == QUALITY_LOSSLESS && fadesForceEncoding)
        return L"Fades require re-encoding — exporting at source quality…";
    return L"Preparing native export…";
}

std::wstring progressText(double doneSeconds, double expectedSeconds, double elapsedSeconds) {
    const double share = progressShare(doneSeconds, expectedSeconds);
    std::wstring text = L"Exporting  " + std::to_wstring(std::lround(share * 100)) + L"%   ·   " +
                        formatTime(doneSeconds) + L" / " + formatTime(expectedSeconds);
    const double left = secondsLeft(share, elapsedSeconds);
    if (left >= 0) text += L"   ·   about " + formatTime(left) + L" remaining";
    return text;
}

std::wstring outcomeText(JobOutcome outcome, bool saveInPlace) {
    switch (outcome) {
    case JobOutcome::Cancelled:
        return saveInPlace ? L"Save cancelled — your original is untouched" : EXPORT_CANCELLED;
    case JobOutcome::Success:
        return saveInPlace ? L"Saved — the original was replaced"
                           : L"Export complete — File ▸ Show last export in Explorer";
    case JobOutcome::Failure:
        break;
    }
    return saveInPlace ? L"Save failed — your original is untouched" : L"Export failed";
}

std::wstring failureText(bool saveInPlace, const std::wstring& reason) {
    return (saveInPlace ? L"Save failed.\n\n" : L"Export failed.\n\n") +
           (reason.empty() ? COULD_NOT_ENCODE : reason);
}

} // namespace velkantrix
