#include "export/job_texts.h"

#include <cmath>

#include "base/time_text.h"
#include "export/job_rules.h"

namespace velkantrix {
namespace {

constexpr wchar_t EXPORT_INSTEAD[] = L"\n\nFile ▸ Export As… writes your edit to another file.";

const wchar_t* wordsOfOriginal(bool stands) {
    return stands ? L"your original is untouched" : L"the original was not replaced";
}

constexpr wchar_t UNTOUCHED[] = L"\n\nYour original file is untouched.";

// The system's sentences end with a line's end.
std::wstring inParentheses(const std::wstring& reason) {
    const std::size_t last = reason.find_last_not_of(L" \r\n\t");
    return last == std::wstring::npos ? std::wstring() : L" (" + reason.substr(0, last + 1) + L")";
}

std::wstring quoted(const std::wstring& name) {
    return L"\"" + name + L"\"";
}

} // namespace

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

std::wstring outcomeText(JobOutcome outcome, bool saveInPlace, bool originalStands) {
    switch (outcome) {
    case JobOutcome::Cancelled:
        if (!saveInPlace) return EXPORT_CANCELLED;
        return std::wstring(L"Save cancelled — ") + wordsOfOriginal(originalStands);
    case JobOutcome::Success:
        return saveInPlace ? L"Saved — the original was replaced"
                           : L"Export complete — File ▸ Show last export in Explorer";
    case JobOutcome::Failure:
        break;
    }
    if (!saveInPlace) return L"Export failed";
    return std::wstring(L"Save failed — ") + wordsOfOriginal(originalStands);
}

std::wstring failureText(bool saveInPlace, const std::wstring& reason) {
    return (saveInPlace ? L"Save failed.\n\n" : L"Export failed.\n\n") +
           (reason.empty() ? COULD_NOT_ENCODE : reason);
}

std::wstring replaceQuestion(const std::wstring& name) {
    return L"Replace " + quoted(name) +
           L" with your edit?\n\n"
           L"The original is written over and can't be recovered. Velkantrix writes the new file "
           L"beside it first and only swaps it in once that's finished, so a failure or a cancel "
           L"leaves your original untouched.";
}

std::wstring optimiseQuestion(const std::wstring& name) {
    return L"Rewrite " + quoted(name) +
           L" so it seeks quickly?\n\n"
           L"No frame is re-encoded — the video and audio are copied across exactly as they are, "
           L"and only the file's index is rebuilt. Any cuts you have made are not applied. The new "
           L"file is written beside the original and swapped in only once it is complete.";
}

std::wstring tracksQuestion(const std::wstring& name, std::uint32_t tracks, std::uint32_t leftOut,
                            bool keepsSound) {
    return quoted(name) + L" has " + std::to_wstring(tracks) +
           (tracks == 1 ? L" track" : L" tracks") +
           (keepsSound ? L"; only the first video and the first sound track are kept. "
                       : L"; only the first video track is kept. ") +
           (leftOut == 1 ? std::wstring(L"The other one")
                         : L"The other " + std::to_wstring(leftOut)) +
           (keepsSound
                ? L" would be lost: more sound, subtitles or other data."
                : L" would be lost: sound that Windows can't read, subtitles or other data.") +
           L"\n\nGo on without " + (leftOut == 1 ? L"it?" : L"them?");
}

std::wstring noRoomText(std::uint64_t neededMegabytes, std::uint64_t freeMegabytes) {
    return L"Not enough free space to save in place.\n\nAbout " + std::to_wstring(neededMegabytes) +
           L" MB is needed next to the original while the new file is written; " +
           std::to_wstring(freeMegabytes) + L" MB is free.";
}

std::wstring noMp4NameText(const std::wstring& name) {
    return quoted(name) +
           L" can't be saved in place: what is written is an MP4 file, and only by the endings "
           L".mp4, "
           L".m4v and .mov is it opened as one." +
           EXPORT_INSTEAD;
}

std::wstring lostLinkText(const std::wstring& name) {
    return quoted(name) + L" is a link, and the file that it leads to can't be found out." +
           EXPORT_INSTEAD;
}

std::wstring neverExaminedText(const std::wstring& name) {
    return quoted(name) +
           L" could not be examined when it was opened, so it can't be told whether it has been "
           L"changed since." +
           EXPORT_INSTEAD;
}

std::wstring beingSavedText(const std::wstring& name) {
    return quoted(name) + L" is being saved in another window of Velkantrix.\n\n"
                          L"Wait until that has finished.";
}

std::wstring fileIsGoneText(const std::wstring& path) {
    return path + L"\n\nThis file no longer exists.";
}

std::wstring changedSinceOpenedText(const std::wstring& name) {
    return quoted(name) +
           L" has been changed by another program since it was opened. What is in it now would be "
           L"lost." +
           EXPORT_INSTEAD;
}

std::wstring readOnlyText(const std::wstring& name) {
    return quoted(name) + L" is read-only, so it can't be replaced." + EXPORT_INSTEAD;
}

std::wstring cannotReplaceText(const std::wstring& name, const std::wstring& reason) {
    return quoted(name) + L" can't be replaced" + inParentheses(reason) + L"." + EXPORT_INSTEAD;
}

std::wstring nameIsTakenText(const std::wstring& temporary, const std::wstring& reason) {
    return L"The new file can't be written beside the original, as " + temporary +
           inParentheses(reason) + L"." + EXPORT_INSTEAD;
}

std::wstring notReplacedText(const std::wstring& reason) {
    return L"The edit was encoded, but it could not replace the original" + inParentheses(reason) +
           L"." + UNTOUCHED;
}

std::wstring originalGoneText(const std::wstring& reason) {
    if (reason.empty())
        return L"The original has been changed or taken away by another program since it was "
               L"opened.\n\n";
    return L"Replacing the original failed" + inParentheses(reason) +
           L", and it is no longer as it was.\n\n";
}

std::wstring originalUnknownText(const std::wstring& reason) {
    return L"The original could not be examined" + inParentheses(reason) + L".\n\n";
}

std::wstring newFileLostText(bool originalStands) {
    return std::wstring(L"The new file was replaced or taken away by another program before it "
                        L"could take the original's place.") +
           (originalStands ? UNTOUCHED : L"");
}

std::wstring newFileStaysText(const std::wstring& path, bool undeletable) {
    return (undeletable ? L"\n\nThe new file could not be deleted: "
                        : L"\n\nThe new file was left as ") +
           path;
}

std::wstring newFileStaysStatus(const std::wstring& name, bool undeletable) {
    if (undeletable) return L"; " + name + L" could not be deleted";
    return L"; the new file was left as " + name;
}

} // namespace velkantrix
