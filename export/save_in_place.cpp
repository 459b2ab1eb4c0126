// Threads: the UI thread.
#include "export/save_in_place.h"

#include <algorithm>
#include <cmath>
#include <limits>

#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "edit/rename.h"
#include "edit/timeline_map.h"
#include "export/export_job_core.h"
#include "export/job_texts.h"

namespace velkantrix {
namespace {

constexpr double LEAST_RATIO = 0.05;
constexpr double SHORTEST_MEASURED = 0.1; // seconds; of less no ratio is made
constexpr double MARGIN = 1.25;
constexpr std::uint64_t MIB = std::uint64_t{1} << 20;
constexpr std::uint64_t SPARE_BYTES = 64 * MIB;

constexpr std::uint64_t LONGEST_SWAP = 2'000; // milliseconds, for which the window waits
constexpr std::uint32_t PAUSE_BETWEEN_TRIES = 50;

SaveHost theSaveHost;

struct SaveTarget {
    std::wstring original;
    std::wstring temporary;
};

SaveTarget targetOfSave() {
    const std::wstring original = saveHost().pathBehindLink(openState().path);
    return {.original = original, .temporary = original + L".velkantrix-tmp"};
}

// Between the first question and the job, which then releases the file at its end.
class ClaimedFile {
public:
    explicit ClaimedFile(const std::wstring& path) : held_(saveHost().claim(path)) {}
    ~ClaimedFile() {
        if (held_) saveHost().release();
    }
    ClaimedFile(const ClaimedFile&) = delete;
    ClaimedFile& operator=(const ClaimedFile&) = delete;

    [[nodiscard]] bool held() const { return held_; }
    void leaveToJob() { held_ = false; }

private:
    bool held_;
};

bool standsAsOpened(const std::wstring& original) {
    const std::optional<StandingFile> file = saveHost().lookAt(original);
    return file && file->stamp == openState().stamp;
}

// Empty when nothing is known that keeps the original from being replaced.
std::wstring whyNotReplaced(const SaveTarget& target) {
    const std::wstring& name = openState().displayName;
    const std::optional<StandingFile> file = saveHost().lookAt(target.original);
    if (!file) return fileIsGoneText(openState().path);
    if (file->stamp != openState().stamp) return changedSinceOpenedText(name);
    if (file->readOnly) return readOnlyText(name);
    const SystemError error = saveHost().askReplaceable(target.original);
    return error ? cannotReplaceText(name, saveHost().errorText(error)) : std::wstring();
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
    const JobKind kind{.quality = exportJob().exportQuality,
                       .exposure = jobHost().exposure ? jobHost().exposure() : 0};
    return isCopyOnly(edit.clips, edit.duration, kind);
}

// What is left out can't be had again from anywhere. True also when nothing is, and when it can't
// be told.
bool acceptsLoss() {
    const std::optional<TrackCount> tracks = saveHost().countTracks();
    const std::uint32_t leftOut = tracks ? tracksLeftOut(*tracks) : 0;
    return leftOut == 0 ||
           saveHost().confirmLoss(tracksQuestion(openState().displayName, tracks->all, leftOut));
}

struct Asking {
    std::function<bool(const std::wstring& text)> confirm;
    std::wstring text;
    bool keepsAllTracks = false;
    std::function<void(const SaveTarget& target)> start;
};

// What both commands have in common, from the first look to the start of the job.
void ask(const Asking& asking) {
    const SaveHost& host = saveHost();
    const SaveTarget target = targetOfSave();
    ClaimedFile claimed(target.original);
    if (!claimed.held()) return host.showWarning(beingSavedText(openState().displayName));
    std::wstring problem = whyNotReplaced(target);
    if (!problem.empty() || !hasRoomToSaveInPlace(problem)) return host.showWarning(problem);
    const BeforeBox before;
    if (!asking.keepsAllTracks && (!acceptsLoss() || !before.stillHolds())) return;
    if (!asking.confirm(asking.text) || !before.stillHolds()) return;
    problem = whyNotReplaced(target);
    if (!problem.empty()) return host.showWarning(problem);
    if (const SystemError error = host.clearTemporary(target.temporary))
        return host.showWarning(nameIsTakenText(target.temporary, host.errorText(error)));
    claimed.leaveToJob();
    asking.start(target);
}

// The original has stopped standing in its place by a replacement that went half-way.
bool isHalfWay(SystemError error) {
    return error == UNABLE_TO_MOVE_REPLACEMENT || error == UNABLE_TO_MOVE_REPLACEMENT_2;
}

// A swap that is tried again until its time is over.
class Swap {
public:
    explicit Swap(const SaveTarget& target) : target_(target) {}

    [[nodiscard]] bool run() {
        const std::uint64_t begun = jobHost().now();
        for (;;) {
            const bool isLast = jobHost().now() - begun >= LONGEST_SWAP;
            // One of our own that still reads may keep the file; in the end that is tried as well.
            if (isLast || !saveHost().isFileHeld()) {
                if (!mayTry()) return false;
                if (tryOnce()) return true;
            }
            if (isLast) return false;
            saveHost().wait(PAUSE_BETWEEN_TRIES);
        }
    }

    [[nodiscard]] SystemError error() const { return error_; }

private:
    // Another program's new file isn't replaced, whether it stands in the original's place or has
    // come after it.
    [[nodiscard]] bool mayTry() const {
        if (halfWay_) return !saveHost().lookAt(target_.original);
        return standsAsOpened(target_.original);
    }

    [[nodiscard]] bool tryOnce() {
        if (!halfWay_) {
            error_ = saveHost().replaceFile(target_.original, target_.temporary);
            if (error_ == 0) return true;
            halfWay_ = isHalfWay(error_);
        }
        error_ = saveHost().moveOver(target_.temporary, target_.original);
        return error_ == 0;
    }

    const SaveTarget target_;
    SystemError error_ = 0;
    bool halfWay_ = false;
};

void setError(const std::wstring& text) {
    ExportJobState& job = exportJob();
    const Lock held(job.exportErrorLock);
    job.exportError = text;
}

std::vector<WrittenSpan> writtenSpans() {
    ExportJobState& job = exportJob();
    const Lock held(job.exportErrorLock);
    return job.writtenSpans;
}

// The new file goes only while the original is there: otherwise it may be all that is left.
void endWithoutSwap(const SaveTarget& target, const std::wstring& reason) {
    ExportJobState& job = exportJob();
    job.originalStands = standsAsOpened(target.original);
    if (job.originalStands) {
        jobHost().calls.deleteFile(target.temporary, target.original);
        return setError(notReplacedText(reason));
    }
    setError(originalGoneText(reason) +
             jobHost().calls.keepBeside(target.temporary, target.original));
}

// The edit goes on only over the file that it was made of.
void reopenUnswapped() {
    if (exportJob().originalStands)
        reopenWithEdit(false);
    else
        openVideo(openState().path);
}

bool swapFiles(const SaveTarget& target) {
    // Before the engine is ended for nothing.
    if (!standsAsOpened(target.original)) {
        endWithoutSwap(target, {});
        return false;
    }
    const bool closes = exportJob().closeAsked;
    const std::wstring oldKey = saveHost().stateKey(openState().path);
    openHost().dropGestures();
    saveHost().letGoOfFile();
    Swap swap(target);
    if (!swap.run()) {
        endWithoutSwap(target, swap.error() ? saveHost().errorText(swap.error()) : std::wstring());
        if (!closes) reopenUnswapped();
        return false;
    }
    saveHost().forgetState(oldKey);
    EditState& edit = editState();
    if (!exportJob().optimiseJob)
        edit.playhead = playheadAfterSave(edit.clips, edit.playhead, writtenSpans());
    if (!closes) openVideo(openState().path); // which stores that playhead for the new file first
    return true;
}

bool originalStands() {
    return standsAsOpened(exportJob().originalPath);
}

} // namespace

SaveHost& saveHost() {
    return theSaveHost;
}

void bindSaveInPlace() {
    JobHost& host = jobHost();
    host.confirmSaveInPlace = confirmSaveInPlace;
    host.swapInSavedFile = swapInSavedFile;
    host.originalStands = originalStands;
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

std::uint32_t tracksLeftOut(const TrackCount& tracks) {
    const std::uint32_t kept = std::min(tracks.video, 1u) + std::min(tracks.sound, 1u);
    return tracks.all > kept ? tracks.all - kept : 0;
}

double playheadAfterSave(const ClipList& clips, double playhead,
                         const std::vector<WrittenSpan>& written) {
    const auto clip = std::ranges::find_if(
        clips, [playhead](const Segment& segment) { return playhead < segment.end; });
    if (written.size() != clips.size() || clip == clips.end())
        return sourceToEdited(clips, playhead);
    const WrittenSpan& span = written[static_cast<std::size_t>(clip - clips.begin())];
    return span.outputStart + std::max(0.0, std::max(playhead, clip->start) - span.sourceStart);
}

bool hasRoomToSaveInPlace(std::wstring& message) {
    const std::wstring folder = folderOfFile(saveHost().pathBehindLink(openState().path));
    if (folder.empty()) return true;
    const std::optional<std::uint64_t> free = saveHost().freeBytes(folder);
    const std::uint64_t needed =
        bytesToSave(openState().fileSize, editedDuration(), editState().duration);
    if (!free || *free >= needed) return true;
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
    ask({.confirm = saveHost().confirmReplacing,
         .text = replaceQuestion(openState().displayName),
         .keepsAllTracks = isUnedited(),
         .start = [](const SaveTarget& target) {
             ExportTo(target.temporary, false, exportJob().exportQuality, true, target.original,
                      std::nullopt, false);
         }});
}

void optimiseCommand() {
    if (!maySave()) return;
    commitRename(true);
    const BeforeBox before;
    if (!openState().slowToSeek &&
        (!saveHost().confirmNeedless(NEEDLESS_OPTIMISING) || !before.stillHolds()))
        return;
    ask({.confirm = saveHost().confirmOptimising,
         .text = optimiseQuestion(openState().displayName),
         .start = [](const SaveTarget& target) {
             const ClipList whole{Segment{.start = 0, .end = editState().duration}};
             ExportTo(target.temporary, false, QUALITY_LOSSLESS, true, target.original, whole,
                      true);
         }});
}

bool swapInSavedFile() {
    return swapFiles(
        {.original = exportJob().originalPath, .temporary = exportJob().lastExportPath});
}

} // namespace velkantrix
