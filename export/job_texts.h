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
// A save has ended, and will ask as soon as it can.
inline constexpr wchar_t WAITING_FOR_ANSWER[] = L"Waiting for your answer…";

// The status when a job begins; `fadesForceEncoding`: its clips have fades, in one joined file.
std::wstring startText(bool saveInPlace, std::int32_t quality, bool fadesForceEncoding);

// "Exporting  42%   ·   00:42.000 / 01:40.000   ·   about 00:58.000 remaining". All in seconds.
std::wstring progressText(double doneSeconds, double expectedSeconds, double elapsedSeconds);

enum class JobOutcome { Cancelled, Success, Failure };

// The status when it has ended. Of a save: the original stands as it was opened, unless it
// succeeded.
std::wstring outcomeText(JobOutcome outcome, bool saveInPlace, bool originalStands);

// The box about a failure, whose reason may be empty.
std::wstring failureText(bool saveInPlace, const std::wstring& reason);

// Of saves in place. `name` is the file's last part; reasons are the system's.
inline constexpr wchar_t NOTHING_TO_SAVE[] = L"Nothing to save — this video is unedited";
inline constexpr wchar_t NEEDLESS_OPTIMISING[] =
    L"This file already seeks well — optimising it would rewrite it for no gain.\n\n"
    L"Rewrite it anyway?";
std::wstring replaceQuestion(const std::wstring& name);
std::wstring optimiseQuestion(const std::wstring& name);
// `leftOut` of `tracks` won't be in the new file: the first video is, and where `keepsSound` the
// first sound.
std::wstring tracksQuestion(const std::wstring& name, std::uint32_t tracks, std::uint32_t leftOut,
                            bool keepsSound);
inline constexpr wchar_t OPTIMISING_LOSES_EDITS[] =
    L"Your edits haven't been exported, and optimising doesn't apply them: it rewrites the whole "
    L"file and opens it anew. The edits are lost then, and so are the steps to undo.\n\n"
    L"Go on without your edits?";
std::wstring noRoomText(std::uint64_t neededMegabytes, std::uint64_t freeMegabytes);

// Why a save isn't begun.
std::wstring noMp4NameText(const std::wstring& name);
std::wstring lostLinkText(const std::wstring& name);
std::wstring neverExaminedText(const std::wstring& name);
std::wstring beingSavedText(const std::wstring& name);
std::wstring fileIsGoneText(const std::wstring& path);
std::wstring changedSinceOpenedText(const std::wstring& name);
std::wstring readOnlyText(const std::wstring& name);
std::wstring cannotReplaceText(const std::wstring& name, const std::wstring& reason);
std::wstring nameIsTakenText(const std::wstring& temporary, const std::wstring& reason);

// Of a save: what was written isn't all of it.
inline constexpr wchar_t REPLACE_BY_LESS[] =
    L"The new file seems to be incomplete. The source may be damaged, or have sound without "
    L"pictures, which can't always be kept.\n\nReplace the original all the same? It can't be "
    L"recovered then. Export As writes to a file of its own instead.";

// Why the new file isn't swapped in. Reasons may be empty: then it was never tried. The two about
// the original are followed by where the new file was kept.
std::wstring notReplacedText(const std::wstring& reason);
std::wstring originalGoneText(const std::wstring& reason);
std::wstring originalUnknownText(const std::wstring& reason);
// Another program has taken the new file away, or put one of its own in its place.
std::wstring newFileLostText(bool originalStands);

// The new file should have gone, and stays: behind a box's text, and behind a status.
// `undeletable`: it was tried.
std::wstring newFileStaysText(const std::wstring& path, bool undeletable);
std::wstring newFileStaysStatus(const std::wstring& name, bool undeletable);

} // namespace velkantrix
