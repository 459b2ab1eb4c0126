#include "app/bindings.h"

#include <windows.h>

#include <mferror.h>
#include <shlobj.h>

#include "app/commands.h"
#include "app/main_window.h"
#include "app/menus.h"
#include "app/placing.h"
#include "app/rename_field.h"
#include "app/settings.h"
#include "app/timeline_mouse.h"
#include "app/timeline_paint.h"
#include "app/ui_state.h"
#include "app/window_tick.h"
#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "export/save_in_place.h"
#include "mp4/probe.h"
#include "mp4/track_count.h"
#include "platform/dialogs.h"
#include "platform/files.h"
#include "platform/media_startup.h"
#include "platform/swap_files.h"
#include "playback/audio_peaks.h"
#include "playback/byte_stream_handler.h"
#include "playback/end_scan.h"
#include "playback/held_files.h"

namespace velkantrix {
namespace {

bool startMediaOrExplain() {
    const HRESULT started = startMedia(registerMp4Source);
    if (SUCCEEDED(started)) return true;
    showErrorBox(ui().window,
                 L"Velkantrix needs the media features of Windows, which could not be started.\n\n"
                 L"On an N edition of Windows, install the Media Feature Pack: Settings ▸ Apps ▸ "
                 L"Optional features ▸ Add a feature. Then restart Windows.");
    return false;
}

ExaminedFile examineFile(const std::wstring& path) {
    // Of the file that a link leads to: it is the one that is played, and replaced.
    const std::optional<FileStamp> stamp = fileStamp(pathBehindLink(path).value_or(path));
    return {.size = stamp ? stamp->size : 0,
            .slowToSeek = IsLargeFragmentedFile(path),
            .stamp = stamp.value_or(FileStamp{})};
}

EngineOpening openEngine(const std::wstring& path) {
    UiState& state = ui();
    if (!state.playback) state.playback = std::make_unique<PlaybackController>();
    const HRESULT opened =
        state.playback->open(path.c_str(), openState().slowToSeek, state.video, state.window);
    state.playback->setExposure(state.exposure); // one that is opened anew has none
    return {.begun = SUCCEEDED(opened), .failurePosted = state.playback->failurePosted()};
}

// What then still reads is told to end, and not waited for.
void letGoOfFile() {
    takeEngineTime();
    static_cast<void>(endAudioPeaks(0));
    ui().playback.reset();
    openHost().hideVideo();
}

// By the file's own boxes as well, where it has any: readers don't offer every track.
TracksOfSource tracksOfOpenFile() {
    TracksOfSource tracks{.inFile = countTracksOfFile(openState().path)};
    if (playback() && playback()->tracks().all > 0) tracks.offered = playback()->tracks();
    return tracks;
}

VideoSize engineVideoSize() {
    VideoSize size;
    if (!playback() || !playback()->videoSize(size.width, size.height)) return {};
    return size;
}

void bindEdit() {
    EditHost& host = editHost();
    host.engineExists = [] {
        return playback() && playback()->hasEngine();
    };
    host.seekEngine = [](double seconds) {
        playback()->seek(seconds);
    };
    host.setDim = [](double gain) {
        playback()->setDim(gain);
    };
    host.frameRate = [] {
        return playback() ? playback()->fps() : 0;
    };
    host.isPlaying = [] {
        return isOrWillBePlaying();
    };
    host.pause = pausePlaying;
    host.repaint = [] {
        InvalidateRect(ui().window, nullptr, FALSE);
    };
    host.refreshUi = updateControls;
    host.isFullscreen = [] {
        return ui().fullscreen;
    };
    host.labelHasRoom = labelHasRoom;
    host.openRenameField = openRenameField;
    host.readRenameField = readRenameField;
    host.destroyRenameField = destroyRenameField; // which sees to the focus as well
}

void bindMouse() {
    TimelineMouseHost& host = timelineMouseHost();
    host.beginScrub = [] {
        return playback() && playback()->beginScrub();
    };
    host.endScrub = [](double seconds, bool resume) {
        if (playback()) playback()->endScrub(seconds, resume);
    };
    host.capture = [] {
        SetCapture(ui().window);
    };
    host.releaseCapture = [] {
        ReleaseCapture();
    };
    host.askForLeave = [] {
        TRACKMOUSEEVENT event = {sizeof event, TME_LEAVE, ui().window, 0};
        TrackMouseEvent(&event);
    };
    host.now = [] {
        return GetTickCount64();
    };
}

void bindQuestions(OpenHost& host) {
    host.chooseFile = [] {
        return chooseVideoFile(ui().window);
    };
    host.beep = [] {
        MessageBeep(MB_ICONEXCLAMATION);
    };
    host.startMedia = startMediaOrExplain;
    host.confirm = [](const std::wstring& text) {
        return askYesNo(ui().window, text);
    };
    host.showError = [](const std::wstring& text) {
        showErrorBox(ui().window, text);
    };
    host.showWarning = [](const std::wstring& text) {
        showWarningBox(ui().window, text);
    };
}

void bindFiles(OpenHost& host) {
    host.absolutePath = [](const std::wstring& path) {
        const std::wstring full = absolutePath(path);
        return full.empty() ? path : full;
    };
    host.isFile = isFile;
    host.examineFile = examineFile;

    host.storeFileState = [] {
        takeEngineTime();
        storeFileState();
    };
    host.storedPlayhead = []() -> std::optional<double> {
        double seconds = 0;
        return loadFilePlayhead(seconds) ? std::optional(seconds) : std::nullopt;
    };
    host.restoreZoom = [] {
        ui().doubled = loadFileZoom();
    };
    host.restoreGeometry = loadFileGeometry;
    host.addRecent = [] {
        SHAddToRecentDocs(SHARD_PATHW, openState().path.c_str());
        addRecent(openState().path);
    };
    host.recentFile = recentPathOfMenu; // what the user has read, not what the list is now
    host.removeRecent = [](const std::wstring& path) {
        removeRecent(path);
    };
}

void bindEngine(OpenHost& host) {
    host.openEngine = openEngine;
    host.closeEngine = [] {
        playback()->close();
    };
    host.engineDuration = [] {
        return playback()->duration();
    };
    host.engineVideoSize = engineVideoSize;
    host.play = playFromHere;
    host.applyVolume = applyVolume;
}

void bindWindow(OpenHost& host) {
    host.dropGestures = [] {
        endTimelineGesture();
        timelineLeft();
    };
    host.stopPeaks = stopAudioPeaks;
    host.resetExposure = [] {
        ui().exposure = 0;
    };
    host.hideVideo = [] {
        ui().firstFrameShown = false;
        ShowWindow(ui().video, SW_HIDE);
    };
    host.repaint = editHost().repaint;

    host.leaveFullscreen = [] {
        if (ui().fullscreen) toggleFullscreen();
    };
    host.sizeWindowToVideo = sizeWindowToVideo;
    host.setTitle = [](const std::wstring& title) {
        SetWindowTextW(ui().window, title.c_str());
    };
    host.layOut = layOut;
    host.beginReveal = beginReveal;
}

} // namespace

void bindHosts() {
    bindEdit();
    bindMouse();
    OpenHost& host = openHost();
    bindQuestions(host);
    bindFiles(host);
    bindEngine(host);
    bindWindow(host);
}

void bindSaves() {
    SaveHost& host = saveHost();
    host.countTracks = tracksOfOpenFile;
    host.stateKey = fileStateKey;
    host.forgetState = forgetFileState;
    host.letGoOfFile = letGoOfFile;
    host.isFileHeld = [] {
        return audioPeaksRun() || endScansRun() || !sourceFilesAreClosed(0);
    };
}

} // namespace velkantrix
