// Threads: the UI thread.
#include "export/save_in_place.h"

#include <algorithm>
#include <cmath>
#include <iterator>
#include <limits>
#include <utility>
#include <vector>

#include "base/exposure.h"
#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "edit/rename.h"
#include "edit/timeline_map.h"
#include "export/export_job_core.h"
#include "export/job_texts.h"
#include "export/save_swap.h"

namespace velkantrix {
namespace {

constexpr double LEAST_RATIO = 0.05;
constexpr double SHORTEST_MEASURED = 0.1; // seconds; of less no ratio is made
constexpr double MARGIN = 1.25;
constexpr std::uint64_t MIB = std::uint64_t{1} << 20;
constexpr std::uint64_t SPARE_BYTES = 64 * MIB;

constexpr wchar_t TEMPORARY_ENDING[] = L".velkantrix-tmp";
constexpr std::size_t LONGER_NAME = std::size(TEMPORARY_ENDING) - 1;

SaveHost theSaveHost;

struct SaveTarget {
    std::wstring original;
    std::wstring temporary;
};

std::optional<SaveTarget> targetOfSave() {
    const std::optional<std::wstring> original = saveHost().pathBehindLink(openState().path);
    if (!original) return std::nullopt;
    return SaveTarget{.original = *original, .temporary = *original + TEMPORARY_ENDING};
}

// Between the first question and the job, which then releases the file at its end.
class ClaimedFile {
public:
    explicit ClaimedFile(const std::wstring& path) : claim_(saveHost().claim(path)) {}
    ~ClaimedFile() {
        if (held() && !jobs_) saveHost().release();
    }
    ClaimedFile(const ClaimedFile&) = delete;
    ClaimedFile& operator=(const ClaimedFile&) = delete;

    [[nodiscard]] bool held() const { return claim_.outcome == Claim::Outcome::Held; }
    [[nodiscard]] std::wstring whyNot() const {
        const std::wstring& name = openState().displayName;
        if (claim_.outcome == Claim::Outcome::Taken) return beingSavedText(name);
        return cannotReplaceText(name, saveHost().errorText(claim_.error));
    }
    void leaveToJob() { jobs_ = true; }

private:
    const Claim claim_;
    bool jobs_ = false;
};

// Empty when nothing is known that keeps the original from being replaced.
std::wstring whyNotSaved(const SaveTarget& target) {
    const std::wstring& name = openState().displayName;
    const SaveHost& host = saveHost();
    const FileLook file = host.lookAt(target.original);
    if (file.found == FileLook::Found::Nothing) return fileIsGoneText(openState().path);
    if (file.found == FileLook::Found::Unknown)
        return cannotReplaceText(name, host.errorText(file.error));
    if (openState().stamp == FileStamp{}) return neverExaminedText(name);
    if (file.stamp != openState().stamp) return changedSinceOpenedText(name);
    if (file.readOnly) return readOnlyText(name);
    const SystemError error = host.askMayReplace(target.original, LONGER_NAME);
    return error ? cannotReplaceText(name, host.errorText(error)) : std::wstring();
}

// The open video as it was before a box, behind which messages came in.
struct BeforeBox {
    std::wstring path = openState().path;
    FileStamp stamp = openState().stamp;

    [[nodiscard]] bool stillHolds() const {
        const EditState& edit = editState();
        return edit.videoLoaded && !edit.exportBusy && openState().path == path &&
               openState().stamp == stamp;
    }
};

bool maySave() {
    return !editState().exportBusy && editState().videoLoaded && !openState().path.empty();
}

// A save would be the same file again, byte for byte.
bool isUnedited() {
    const EditState& edit = editState();
    const JobKind kind{.quality = exportJob().exportQuality, .exposure = exposureNow()};
    return isCopyOnly(edit.clips, edit.duration, kind);
}

// What isn't in any file yet, and goes when the video is opened anew.
bool hasUnsavedWork() {
    const double exposure = exposureNow();
    return editState().edited ||
           (isExposed(exposure) && isExposed(exposure - editState().exportedExposure));
}

// What is left out can't be had again from anywhere. True also when nothing is.
bool acceptsLoss() {
    const TracksOfSource tracks = saveHost().countTracks();
    const std::uint32_t leftOut = tracksLeftOut(tracks);
    if (leftOut == 0) return true;
    const std::uint32_t all = tracks.inFile ? tracks.inFile->all : tracks.offered->all;
    const bool keepsSound = !tracks.offered || tracks.offered->sound > 0;
    return saveHost().confirmWarning(
        tracksQuestion(openState().displayName, all, leftOut, keepsSound));
}

struct Question {
    std::function<bool(const std::wstring& text)> confirm;
    std::wstring text;
};

struct Asking {
    std::vector<Question> first; // in front of any look at the file
    Question last;
    bool keepsAllTracks = false;
    std::function<void(const SaveTarget& target)> start;
};

// What both commands have in common, from the first look to the start of the job.
void ask(const Asking& asking) {
    const SaveHost& host = saveHost();
    const std::wstring name = openState().displayName;
    const std::optional<SaveTarget> target = targetOfSave();
    if (!target) return host.showWarning(lostLinkText(name));
    // By the name that it is opened by, and by the one that it gets.
    if (!hasMp4Name(openState().path) || !hasMp4Name(target->original))
        return host.showWarning(noMp4NameText(name));
    ClaimedFile claimed(target->original);
    if (!claimed.held()) return host.showWarning(claimed.whyNot());
    const BeforeBox before;
    for (const Question& question : asking.first)
        if (!question.confirm(question.text) || !before.stillHolds()) return;
    std::wstring problem = whyNotSaved(*target);
    if (!problem.empty() || !hasRoomToSaveInPlace(problem)) return host.showWarning(problem);
    if (!asking.keepsAllTracks && (!acceptsLoss() || !before.stillHolds())) return;
    if (!asking.last.confirm(asking.last.text) || !before.stillHolds()) return;
    problem = whyNotSaved(*target);
    if (!problem.empty()) return host.showWarning(problem);
    if (const SystemError error = host.clearTemporary(target->temporary))
        return host.showWarning(nameIsTakenText(target->temporary, host.errorText(error)));
    claimed.leaveToJob();
    asking.start(*target);
}

// What stands by the temporary name will be gone when the new file is written.
std::uint64_t bytesOfLeftover(const std::wstring& temporary) {
    const FileLook left = saveHost().lookAt(temporary);
    return left.found == FileLook::Found::File ? left.stamp.size : 0;
}

std::uint64_t saturatingSum(std::uint64_t a, std::uint64_t b) {
    return b > std::numeric_limits<std::uint64_t>::max() - a
               ? std::numeric_limits<std::uint64_t>::max()
               : a + b;
}

bool endsWithIgnoringCase(const std::wstring& path, const std::wstring& ending) {
    return path.size() >= ending.size() &&
           std::equal(ending.rbegin(), ending.rend(), path.rbegin(), [](wchar_t small, wchar_t c) {
               return c == small || (c >= L'A' && c <= L'Z' && c - L'A' + L'a' == small);
           });
}

} // namespace

SaveHost& saveHost() {
    return theSaveHost;
}

void bindSaveInPlace() {
    JobHost& host = jobHost();
    host.confirmSaveInPlace = confirmSaveInPlace;
    host.swapInSavedFile = swapInSavedFile;
    host.lookAtOriginal = stateOfOriginal;
    host.isGone = [](const std::wstring& path) {
        return saveHost().lookAt(path).found == FileLook::Found::Nothing;
    };
    host.acceptShortSave = [] {
        return saveHost().confirmWarning(REPLACE_BY_LESS);
    };
    host.releaseOriginal = [] {
        saveHost().release();
    };
}

std::uint64_t bytesToSave(std::uint64_t fileSize, double kept, double duration) {
    double ratio = 1;
    if (duration > SHORTEST_MEASURED && !std::isnan(kept))
        ratio = std::clamp(kept / duration, LEAST_RATIO, 1.0);
    constexpr std::uint64_t MOST = std::numeric_limits<std::uint64_t>::max();
    const double wanted = static_cast<double>(fileSize) * ratio * MARGIN;
    if (!(wanted < static_cast<double>(MOST))) return MOST;
    const auto bytes = static_cast<std::uint64_t>(wanted);
    return bytes > MOST - SPARE_BYTES ? MOST : bytes + SPARE_BYTES;
}

std::uint32_t tracksLeftOut(const TracksOfSource& tracks) {
    if (!tracks.inFile && !tracks.offered) return 0;
    const TrackCount all = tracks.inFile ? *tracks.inFile : *tracks.offered;
    const TrackCount offered = tracks.offered ? *tracks.offered : all;
    const std::uint32_t kept = std::min(offered.video, 1u) + std::min(offered.sound, 1u);
    return all.all > kept ? all.all - kept : 0;
}

bool hasMp4Name(const std::wstring& path) {
    return endsWithIgnoringCase(path, L".mp4") || endsWithIgnoringCase(path, L".m4v") ||
           endsWithIgnoringCase(path, L".mov");
}

bool hasRoomToSaveInPlace(std::wstring& message) {
    const std::optional<SaveTarget> target = targetOfSave();
    const std::wstring folder = target ? folderOfFile(target->original) : std::wstring();
    if (folder.empty()) return true;
    const std::optional<std::uint64_t> free = saveHost().freeBytes(folder);
    if (!free) return true;
    const std::uint64_t room = saturatingSum(*free, bytesOfLeftover(target->temporary));
    const std::uint64_t needed =
        bytesToSave(openState().fileSize, editedDuration(), editState().duration);
    if (room >= needed) return true;
    message = noRoomText(needed / MIB, *free / MIB);
    return false;
}

void saveCommand() {
    if (!maySave()) return;
    commitRename(true);
    if (isUnedited()) {
        editState().statusText = NOTHING_TO_SAVE;
        return repaint();
    }
    confirmSaveInPlace();
}

void confirmSaveInPlace() {
    if (!maySave()) return;
    ask({.last = {saveHost().confirmWarning, replaceQuestion(openState().displayName)},
         .keepsAllTracks = isUnedited(),
         .start = [](const SaveTarget& target) {
             ExportTo(target.temporary, false, exportJob().exportQuality, true, target.original,
                      std::nullopt, false);
         }});
}

void optimiseCommand() {
    if (!maySave()) return;
    commitRename(true);
    std::vector<Question> first;
    if (hasUnsavedWork()) first.push_back({saveHost().confirmWarning, OPTIMISING_LOSES_EDITS});
    if (!openState().slowToSeek) first.push_back({saveHost().confirmDoubt, NEEDLESS_OPTIMISING});
    ask({.first = std::move(first),
         .last = {saveHost().confirmInformation, optimiseQuestion(openState().displayName)},
         .start = [](const SaveTarget& target) {
             const ClipList whole{Segment{.start = 0, .end = editState().duration}};
             ExportTo(target.temporary, false, QUALITY_LOSSLESS, true, target.original, whole,
                      true);
         }});
}

} // namespace velkantrix
