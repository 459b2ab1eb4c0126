// Threads: the UI thread. The job's thread is started here, and does nothing but runExportJob.
#include "export/export_job_core.h"

#include <algorithm>
#include <cstddef>
#include <utility>

#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "edit/rename.h"
#include "edit/timeline_map.h"
#include "export/job_texts.h"

namespace velkantrix {
namespace {

constexpr double LEAST_EXPECTED = 0.1; // seconds: progress is divided by it

ExportJobState theExportJob;
JobHost theJobHost;

void cancelJob() {
    exportJob().exportCancel = true;
    editState().statusText = CANCELLING;
    refreshUi();
}

std::wstring chooseOutput(bool separate) {
    const std::wstring& source = openState().path;
    if (separate) return jobHost().chooseOutputFolder(folderOfFile(source));
    const EditState& edit = editState();
    const JobKind kind{.quality = exportJob().exportQuality, .exposure = exposureNow()};
    const bool copyOnly = isCopyOnly(edit.clips, edit.duration, kind);
    return jobHost().chooseExportFile(folderOfFile(source), suggestOutput(source, copyOnly));
}

void resetShared(SharedJobState& shared) {
    shared.exportCancel = false;
    shared.exportProgress = 0;
    shared.outputCreated = false;
    shared.fileKept = false;
    shared.unmarkedFile = false;
    shared.notWhole = false;
    const Lock held(shared.exportErrorLock);
    shared.exportError.clear();
    shared.writtenMark.clear();
    shared.writtenSpans.clear();
}

// What belongs to a job's end. Only one that runs may have any of it.
void resetEnd(ExportJobState& job) {
    job.originalStands = true;
    job.leftBehind.clear();
    job.undeletable = false;
    job.cancelAsked = false;
    job.closeAsked = false;
    job.waitsToAsk = job.asks = false;
}

// Nothing may follow the post: the UI thread then takes the job for ended.
void startWorker(ExportJob job) {
    SharedJobState& shared = exportJob();
    jobHost().startThread(
        [job = std::move(job), &shared] { job.calls.postCompletion(runExportJob(job, shared)); });
}

void keepStatus(const wchar_t* text) {
    if (editState().statusText == text) return;
    editState().statusText = text;
    repaint();
}

// What a job leaves where it was to write, when it isn't to stay.
void deleteOutput() {
    const ExportJobState& job = exportJob();
    if (job.outputCreated) jobHost().calls.deleteFile(job.lastExportPath, job.sourcePath);
}

JobOutcome endExport(JobOutcome outcome) {
    ExportJobState& job = exportJob();
    if (outcome == JobOutcome::Success) {
        editState().edited = false;
        editState().exportedExposure = job.bakedExposure;
    }
    if (job.separateJob || outcome == JobOutcome::Success) return outcome;
    if (outcome == JobOutcome::Cancelled) deleteOutput();
    job.lastExportPath.clear();
    return outcome;
}

// One that can't be told from others may be another's by now.
void leaveUnmarked(const std::wstring& path) {
    if (jobHost().isGone && jobHost().isGone(path)) return; // maybe with its folder
    exportJob().leftBehind = path;
}

// A complete file isn't deleted where the original has gone: then it may be all that is left.
JobOutcome endUnsaved(JobOutcome outcome) {
    ExportJobState& job = exportJob();
    const OriginalState original =
        jobHost().lookAtOriginal ? jobHost().lookAtOriginal() : OriginalState::Stands;
    job.originalStands = original == OriginalState::Stands;
    const std::wstring written = std::exchange(job.lastExportPath, {});
    if (job.unmarkedFile) leaveUnmarked(written);
    if (!job.outputCreated) return outcome;
    if (job.originalStands) {
        deleteNewFile(written);
        return outcome;
    }
    const std::wstring text =
        (original == OriginalState::Unknown ? originalUnknownText({}) : originalGoneText({})) +
        jobHost().calls.keepBeside(written, job.originalPath);
    const Lock held(job.exportErrorLock);
    job.exportError = text;
    return JobOutcome::Failure;
}

JobOutcome endSaveInPlace(JobOutcome outcome) {
    ExportJobState& job = exportJob();
    if (outcome != JobOutcome::Success) return endUnsaved(outcome);
    const bool swapped = jobHost().swapInSavedFile && jobHost().swapInSavedFile();
    job.lastExportPath = swapped ? openState().path : std::wstring();
    return swapped ? JobOutcome::Success : JobOutcome::Failure;
}

// The new file stands in an old one's place, or beside it: to call that cancelled would be untrue.
// A save that is complete isn't thrown away because the window closes.
bool cancelCameTooLate(bool success, bool saveInPlace) {
    const ExportJobState& job = exportJob();
    if (job.fileKept) return true;
    if (saveInPlace) return success && job.closeAsked && !job.cancelAsked;
    return success && !job.outputCreated && !job.separateJob;
}

// That may take until tomorrow.
void waitForAnswer() {
    keepStatus(WAITING_FOR_ANSWER);
    jobHost().keepAwake(false);
}

// A source may break off, or claim more than it has: only the user knows whether what could be read
// is all that he has.
bool mayReplaceOriginal() {
    ExportJobState& job = exportJob();
    if (!job.notWhole) return true;
    if (job.exportCancel || !jobHost().acceptShortSave) return false;
    waitForAnswer();
    job.asks = true;
    const bool accepted = jobHost().acceptShortSave() && !job.exportCancel;
    job.asks = false;
    return accepted;
}

// The answer to a question that stands already must not become the answer to this one.
bool asksLater(bool success) {
    ExportJobState& job = exportJob();
    const bool asks = success && job.saveInPlaceJob && job.notWhole && !job.exportCancel;
    job.waitsToAsk = asks && jobHost().canAsk && !jobHost().canAsk();
    if (job.waitsToAsk) waitForAnswer();
    return job.waitsToAsk;
}

std::wstring firstError() {
    ExportJobState& job = exportJob();
    const Lock held(job.exportErrorLock);
    return job.exportError;
}

// Who leaves is told nothing but that his file isn't where he thinks it is, or that another one
// stays; whoever cancels reads that in the status, which who leaves doesn't.
bool isBoxShown(JobOutcome outcome, bool closes) {
    const ExportJobState& job = exportJob();
    const bool stays = !job.leftBehind.empty();
    if (outcome == JobOutcome::Failure) return !closes || !job.originalStands || stays;
    return outcome == JobOutcome::Cancelled && stays && (closes || !job.originalStands);
}

void tellOutcome(JobOutcome outcome, bool saveInPlace, bool closes) {
    const JobHost& host = jobHost();
    if (outcome == JobOutcome::Success && !closes && !host.isForeground()) host.flash();
    if (!isBoxShown(outcome, closes)) return;
    const ExportJobState& job = exportJob();
    std::wstring text = outcome == JobOutcome::Failure
                            ? failureText(saveInPlace, firstError())
                            : outcomeText(outcome, saveInPlace, job.originalStands) + L".";
    if (!job.leftBehind.empty()) text += newFileStaysText(job.leftBehind, job.undeletable);
    host.showError(text);
}

std::wstring statusOf(JobOutcome outcome, bool saveInPlace) {
    const ExportJobState& job = exportJob();
    std::wstring text = outcomeText(outcome, saveInPlace, job.originalStands);
    if (outcome != JobOutcome::Cancelled || job.leftBehind.empty()) return text;
    const std::size_t folder = job.leftBehind.find_last_of(L"\\/");
    const std::wstring name = job.leftBehind.substr(folder + 1); // npos + 1 is 0
    return text + newFileStaysStatus(name, job.undeletable);
}

} // namespace

double exposureNow() {
    return jobHost().exposure ? jobHost().exposure() : 0;
}

ExportJobState& exportJob() {
    return theExportJob;
}

JobHost& jobHost() {
    return theJobHost;
}

std::wstring writtenMark() {
    ExportJobState& job = exportJob();
    const Lock held(job.exportErrorLock);
    return job.writtenMark;
}

void deleteNewFile(const std::wstring& path) {
    if (jobHost().calls.deleteFinished(path, writtenMark())) return;
    exportJob().leftBehind = path;
    exportJob().undeletable = true;
}

void resetExportJob() {
    ExportJobState& job = exportJob();
    resetShared(job);
    job.exportLayout = LAYOUT_JOINED;
    job.exportQuality = QUALITY_LOSSLESS;
    job.exportExpected = 0;
    job.bakedExposure = 0;
    job.exportStartTick = 0;
    job.sourcePath.clear();
    job.lastExportPath.clear();
    job.saveInPlaceJob = false;
    job.separateJob = false;
    job.originalPath.clear();
    job.optimiseJob = false;
    resetEnd(job);
}

void exportAsCommand() {
    if (editState().exportBusy) {
        exportJob().cancelAsked = true;
        return cancelJob();
    }
    if (!editState().videoLoaded) return;
    commitRename(true);
    const std::wstring source = openState().path;
    const bool separate = exportJob().exportLayout == LAYOUT_SEPARATE;
    const std::wstring output = chooseOutput(separate);
    if (output.empty()) return;
    // Messages came in behind the dialog, and with them maybe another video or its failure.
    if (!editState().videoLoaded || openState().path != source) return;
    if (!separate && jobHost().calls.sameFile(source, output)) {
        if (jobHost().confirmSaveInPlace) jobHost().confirmSaveInPlace();
        return;
    }
    ExportTo(output, separate, exportJob().exportQuality, false, {}, std::nullopt, false);
}

void ExportTo(const std::wstring& outputPath, bool separate, std::int32_t quality, bool saveInPlace,
              const std::wstring& originalPath, const std::optional<ClipList>& clipsOverride,
              bool optimise) {
    EditState& edit = editState();
    if (edit.exportBusy) return;
    ExportJob work;
    work.clips = clipsOverride.value_or(edit.clips);
    work.sourcePath = openState().path;
    work.outputPath = outputPath;
    work.duration = edit.duration;
    // Of the edit though other clips may be given: then the display stops at 100 % before the end.
    work.expected = std::max(LEAST_EXPECTED, editedDuration());
    work.kind = {.separate = separate,
                 .quality = quality,
                 .exposure = clipsOverride ? 0 : exposureNow(),
                 .optimise = optimise};
    work.saveInPlace = saveInPlace;
    work.calls = jobHost().calls;

    if (editHost().pause) editHost().pause();
    ExportJobState& job = exportJob();
    resetShared(job);
    job.saveInPlaceJob = saveInPlace;
    job.originalPath = originalPath;
    job.sourcePath = work.sourcePath;
    job.lastExportPath = outputPath;
    job.separateJob = separate;
    job.optimiseJob = optimise;
    resetEnd(job);
    job.exportExpected = work.expected;
    job.bakedExposure = work.kind.exposure;
    job.exportStartTick = jobHost().now();
    edit.exportBusy = true;
    edit.statusText = startText(saveInPlace, quality, !separate && hasFades(work.clips));
    jobHost().setTaskbarState(true);
    jobHost().setTimer(TIMER_WHILE_JOB_RUNS);
    jobHost().keepAwake(true);
    refreshUi();
    startWorker(std::move(work));
}

void refreshExportProgress() {
    const ExportJobState& job = exportJob();
    if (!editState().exportBusy) return;
    if (job.waitsToAsk) return finishExport(true);
    if (job.asks) return keepStatus(WAITING_FOR_ANSWER);
    if (!(job.exportExpected > 0)) return;
    const double done = job.exportProgress;
    jobHost().setTaskbarValue(taskbarValue(done, job.exportExpected));
    if (job.exportCancel) return keepStatus(CANCELLING); // whatever a scrub has said meanwhile
    const double elapsed = static_cast<double>(jobHost().now() - job.exportStartTick) / 1000;
    editState().statusText = progressText(done, job.exportExpected, elapsed);
    repaint();
}

void finishExport(bool success) {
    EditState& edit = editState();
    if (!edit.exportBusy || asksLater(success)) return;
    ExportJobState& job = exportJob();
    const bool refused = success && job.saveInPlaceJob && !mayReplaceOriginal();
    const bool cancelled = job.exportCancel.exchange(false);
    const bool saveInPlace = std::exchange(job.saveInPlaceJob, false);
    edit.exportBusy = false;
    JobOutcome outcome = success ? JobOutcome::Success : JobOutcome::Failure;
    if (refused || (cancelled && !cancelCameTooLate(success, saveInPlace)))
        outcome = JobOutcome::Cancelled;
    outcome = saveInPlace ? endSaveInPlace(outcome) : endExport(outcome);
    if (saveInPlace && jobHost().releaseOriginal) jobHost().releaseOriginal();
    const bool closes = std::exchange(job.closeAsked, false);
    edit.statusText = statusOf(outcome, saveInPlace);
    if (saveInPlace) keepStatusWhenOpen(edit.statusText);
    jobHost().setTaskbarState(false);
    jobHost().setTimer(TIMER_AFTER_JOB);
    jobHost().keepAwake(false);
    refreshUi();
    tellOutcome(outcome, saveInPlace, closes);
    if (!closes) return;
    const std::function<void()> close = jobHost().closeWindow; // the host ends with the window
    close();
}

bool closeAfterExport() {
    if (!editState().exportBusy) return false;
    exportJob().closeAsked = true;
    cancelJob();
    return true;
}

bool canShowLastExport() {
    return !exportJob().lastExportPath.empty() && !editState().exportBusy;
}

void showLastExport() {
    if (canShowLastExport()) jobHost().showInFolder(exportJob().lastExportPath);
}

} // namespace velkantrix
