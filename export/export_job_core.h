// export_job_core.h: the one job that may run: an export, or a save in place. UI thread, but for
// what SharedJobState says; export_job_worker.h has what runs on the job's own threads.
//
//     idle --ExportTo--> runs --the worker ends, finishExport--> idle
//                          --exportAsCommand again--> cancelling --the same--> idle
//
// A save that isn't whole asks before it ends, as soon as nothing else wants an answer. While it
// runs every edit is refused (EditState::exportBusy), so that what was copied stays true.
#pragma once

#include <cstdint>
#include <functional>
#include <optional>
#include <string>

#include "edit/segment.h"
#include "export/export_job_worker.h"
#include "export/job_rules.h"

namespace velkantrix {

// All but the shared part is the UI thread's.
struct ExportJobState : SharedJobState {
    // The user's settings, kept while the program runs.
    std::int32_t exportLayout = LAYOUT_JOINED;
    std::int32_t exportQuality = QUALITY_LOSSLESS;

    double exportExpected = 0;         // the output's length in seconds, as it is shown
    double bakedExposure = 0;          // stops, in the output
    std::uint64_t exportStartTick = 0; // milliseconds
    std::wstring sourcePath;           // what the job reads
    std::wstring lastExportPath;       // file, or folder of clips; empty: there is nothing to show
    bool saveInPlaceJob = false;
    bool separateJob = false;
    std::wstring originalPath; // what a save in place replaces
    bool optimiseJob = false;
    // Of a save that has ended without being swapped in.
    bool originalStands = true;
    std::wstring leftBehind;  // its new file, which stays
    bool undeletable = false; // for that reason; else it wasn't tried
    bool cancelAsked = false; // by the command itself, not by closing the window
    bool closeAsked = false;  // the window closes when the job has ended
    bool waitsToAsk = false;  // has ended, all but for a question
    bool asks = false;        // which stands now
};

// What stands where the original of a save was opened.
enum class OriginalState {
    Stands,  // the very file
    Changed, // another one, or the same after another program has written to it
    Gone,
    Unknown, // it can't be told now
};

// Periods of the window's timer, in milliseconds.
inline constexpr std::uint32_t TIMER_WHILE_JOB_RUNS = 100;
inline constexpr std::uint32_t TIMER_AFTER_JOB = 250;

// What jobs ask of the window and the system, beside what EditHost offers. None is empty but those
// that are said to be.
struct JobHost {
    JobCalls calls; // copied into each job

    // The system's dialogs, starting in `folder`. Empty: nothing was chosen.
    std::function<std::wstring(const std::wstring& folder, const OutputSuggestion& suggestion)>
        chooseExportFile;
    std::function<std::wstring(const std::wstring& folder)> chooseOutputFolder;

    // On a thread that nobody waits for. Ends the process when it can't be started.
    std::function<void(std::function<void()> body)> startThread;
    std::function<std::uint64_t()> now; // milliseconds that never go back
    std::function<void(std::uint32_t milliseconds)> setTimer;
    std::function<void(bool runs)> setTaskbarState;
    std::function<void(std::uint32_t thousandths)> setTaskbarValue;
    std::function<void(bool awake)> keepAwake; // the machine doesn't fall asleep by itself

    std::function<bool()> isForeground;
    std::function<void()> flash; // the taskbar button, until the window is activated
    std::function<void(const std::wstring& text)> showError;
    std::function<void(const std::wstring& path)> showInFolder;
    std::function<void()> closeWindow; // without further questions

    // These may be empty.
    std::function<double()> exposure;         // in stops, that exports bake in
    std::function<void()> confirmSaveInPlace; // the source itself was chosen as the output
    std::function<bool()> swapInSavedFile;    // puts lastExportPath in the place of originalPath
    std::function<OriginalState()> lookAtOriginal;
    std::function<bool(const std::wstring& path)> isGone; // for certain; without it nothing is
    std::function<bool()> acceptShortSave; // what was saved isn't all; without it none is accepted
    // There is nothing else that an answer might be meant for: no question, menu or drag. Without
    // it that is never waited for.
    std::function<bool()> canAsk;
    std::function<void()> releaseOriginal; // the save of it has ended
};

ExportJobState& exportJob();
JobHost& jobHost();

// In stops, as it is shown; 0 without a host that tells.
[[nodiscard]] double exposureNow();

// Of a save: by what its complete file is known.
[[nodiscard]] std::wstring writtenMark();

// Of a save that ends: its complete file isn't needed. The original stands.
void deleteNewFile(const std::wstring& path);

// Everything back to what it is at the program's start. Only while no job runs.
void resetExportJob();

// File > Export As; while a job runs, its cancel.
void exportAsCommand();

// Starts a job; nothing while one runs. `outputPath` is a file, or a folder when separate. The
// clips are the edit's unless others are given; then no exposure is baked in. With `saveInPlace`
// `originalPath` is what finishExport has replaced by the output. The process ends when the thread
// can't be started.
void ExportTo(const std::wstring& outputPath, bool separate, std::int32_t quality, bool saveInPlace,
              const std::wstring& originalPath, const std::optional<ClipList>& clipsOverride,
              bool optimise);

// At each tick of the window's timer.
void refreshExportProgress();

// When the job has posted that it ended. Nothing when none runs.
void finishExport(bool success);

// The user wants to close the window though a job runs: it is cancelled, and the window closes when
// it has ended. False: none runs any more, and the window may close as at any time.
[[nodiscard]] bool closeAfterExport();

// File > Show last export in Explorer.
[[nodiscard]] bool canShowLastExport();
void showLastExport();

} // namespace velkantrix
