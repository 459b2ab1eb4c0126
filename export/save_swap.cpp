// Threads: the UI thread.
#include "export/save_swap.h"

#include <algorithm>
#include <utility>

#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "edit/timeline_map.h"
#include "export/job_texts.h"

namespace velkantrix {
namespace {

constexpr std::uint64_t LONGEST_SWAP = 2'000; // milliseconds, for which the window waits
constexpr std::uint32_t PAUSE_BETWEEN_TRIES = 50;

// The paths, and by what the new file is known.
struct SwapFiles {
    std::wstring original;
    std::wstring temporary;
    std::wstring mark;
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

OriginalState stateBy(const FileLook& look) {
    switch (look.found) {
    case FileLook::Found::Nothing:
        return OriginalState::Gone;
    case FileLook::Found::Unknown:
        return OriginalState::Unknown;
    case FileLook::Found::File:
        break;
    }
    return look.stamp == openState().stamp ? OriginalState::Stands : OriginalState::Changed;
}

bool isHalfWay(SystemError error) {
    return error == UNABLE_TO_MOVE_REPLACEMENT || error == UNABLE_TO_MOVE_REPLACEMENT_2;
}

// A swap that is tried again until its time is over.
class Swap {
public:
    explicit Swap(const SwapFiles& files) : files_(files) {}

    [[nodiscard]] bool run() {
        const std::uint64_t begun = jobHost().now();
        for (;;) {
            const bool isLast = jobHost().now() - begun >= LONGEST_SWAP;
            // One of our own that still reads may keep the file; in the end that is tried as well.
            if (isLast || !saveHost().isFileHeld()) {
                const Next next = look();
                if (next == Next::Never) return false;
                if (next == Next::Try && tryOnce()) return true;
            }
            if (isLast) return false;
            saveHost().wait(PAUSE_BETWEEN_TRIES);
        }
    }

    // Why the last try failed; 0 where none was.
    [[nodiscard]] SystemError error() const { return error_; }

private:
    enum class Next { Try, Wait, Never };

    // Another program's file isn't replaced, whether it stands in the original's place or has come
    // after it; and none but the job's own takes that place.
    [[nodiscard]] Next look() {
        const std::wstring mark = saveHost().markOf(files_.temporary);
        if (!mark.empty() && mark != files_.mark) return Next::Never;
        const FileLook original = saveHost().lookAt(files_.original);
        const OriginalState state = stateBy(original);
        if (state == OriginalState::Unknown) error_ = original.error;
        if (state == OriginalState::Unknown || mark.empty()) return Next::Wait;
        halfWay_ = halfWay_ && state != OriginalState::Stands;
        return state == (halfWay_ ? OriginalState::Gone : OriginalState::Stands) ? Next::Try
                                                                                 : Next::Never;
    }

    [[nodiscard]] bool tryOnce() {
        if (!halfWay_) {
            error_ = saveHost().replaceOriginal(files_.original, files_.temporary);
            if (error_ == 0 || isDone()) return true;
            halfWay_ = isHalfWay(error_);
        }
        const SystemError first = error_;
        if (look() != Next::Try) {
            error_ = first;
            return false;
        }
        error_ = halfWay_ ? saveHost().moveToFreeName(files_.temporary, files_.original)
                          : saveHost().moveOver(files_.temporary, files_.original);
        return error_ == 0 || isDone();
    }

    // A server may have done what it then doesn't say.
    [[nodiscard]] bool isDone() const {
        return !files_.mark.empty() && saveHost().markOf(files_.original) == files_.mark;
    }

    const SwapFiles files_;
    SystemError error_ = 0;
    bool halfWay_ = false;
};

// The new file goes only while the original is there: otherwise it may be all that is left.
void endWithoutSwap(const SwapFiles& files, SystemError error) {
    const std::wstring reason = error ? saveHost().errorText(error) : std::wstring();
    const std::wstring mark = saveHost().markOf(files.temporary);
    const bool isOurs = mark.empty() || mark == files.mark;
    const OriginalState state = stateOfOriginal();
    exportJob().originalStands = state == OriginalState::Stands;
    if (state == OriginalState::Stands) {
        if (isOurs) deleteNewFile(files.temporary);
        return setError(isOurs ? notReplacedText(reason) : newFileLostText(true));
    }
    if (!isOurs) return setError(newFileLostText(false));
    setError(
        (state == OriginalState::Unknown ? originalUnknownText(reason) : originalGoneText(reason)) +
        jobHost().calls.keepBeside(files.temporary, files.original));
}

// The edit goes on, unless another file stands where its own has been.
void reopenUnswapped(OriginalState state) {
    if (state != OriginalState::Changed) return reopenWithEdit(false);
    editState().edited = false; // or it would be asked about
    openVideo(openState().path);
}

bool swapFiles(const SwapFiles& files) {
    // Before the engine is ended for nothing.
    const OriginalState before = stateOfOriginal();
    if (before == OriginalState::Changed || before == OriginalState::Gone) {
        endWithoutSwap(files, 0);
        return false;
    }
    const bool closes = exportJob().closeAsked;
    const std::wstring oldKey = saveHost().stateKey(openState().path);
    openHost().dropGestures();
    saveHost().letGoOfFile();
    Swap swap(files);
    if (!swap.run()) {
        endWithoutSwap(files, swap.error());
        if (!closes) reopenUnswapped(stateOfOriginal());
        return false;
    }
    saveHost().forgetState(oldKey);
    EditState& edit = editState();
    edit.edited = false;
    if (!exportJob().optimiseJob)
        edit.playhead = playheadAfterSave(edit.clips, edit.playhead, writtenSpans());
    if (!closes) openVideo(openState().path); // which stores that playhead for the new file first
    return true;
}

} // namespace

double playheadAfterSave(const ClipList& clips, double playhead,
                         const std::vector<WrittenSpan>& written) {
    const auto clip = std::ranges::find_if(
        clips, [playhead](const Segment& segment) { return playhead < segment.end; });
    if (written.size() != clips.size() || clip == clips.end())
        return sourceToEdited(clips, playhead);
    const WrittenSpan& span = written[static_cast<std::size_t>(clip - clips.begin())];
    return span.outputStart + std::max(0.0, std::max(playhead, clip->start) - span.sourceStart);
}

OriginalState stateOfOriginal() {
    return stateBy(saveHost().lookAt(exportJob().originalPath));
}

bool swapInSavedFile() {
    return swapFiles({.original = exportJob().originalPath,
                      .temporary = exportJob().lastExportPath,
                      .mark = writtenMark()});
}

} // namespace velkantrix
