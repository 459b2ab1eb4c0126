#include "edit/open_flow.h"

#include <utility>

#include "base/time_text.h"
#include "edit/edit_state.h"
#include "edit/fades.h"
#include "edit/rename.h"

namespace velkantrix {
namespace {

constexpr const wchar_t* CANNOT_OPEN = L"Windows Media Foundation could not open this video.";
constexpr double WORTH_RESUMING = 0.05; // seconds from either end

OpenState theOpenState;
OpenHost theOpenHost;

std::wstring lastPart(const std::wstring& path) {
    const std::size_t separator = path.find_last_of(L"\\/");
    return separator == std::wstring::npos ? path : path.substr(separator + 1);
}

bool refuseWhileBusy() {
    if (!editState().exportBusy) return false;
    openHost().beep();
    return true;
}

bool mayDiscardEdits() {
    if (!hasEdits() || !editState().edited) return true;
    return openHost().confirm(
        L"Your edits haven't been exported.\n\nOpen a new video without exporting?");
}

void putAwayOpenFile() {
    const OpenHost& host = openHost();
    commitRename(false);
    endGesture();
    host.dropGestures();
    host.stopPeaks();
    host.storeFileState(); // under the path that is still the old one
}

void rememberFile(const std::wstring& path) {
    const ExaminedFile file = openHost().examineFile(path);
    openState() = {.phase = OpenPhase::Opening,
                   .path = path,
                   .displayName = lastPart(path),
                   .fileSize = file.size,
                   .stamp = file.stamp,
                   .slowToSeek = file.slowToSeek};
}

void askEngine() {
    const EngineOpening opening = openHost().openEngine(openState().path);
    if (!opening.begun && !opening.failurePosted) engineFailed();
}

void resumeOrPlay() {
    EditState& edit = editState();
    const std::optional<double> stored = openHost().storedPlayhead();
    edit.statusText = L"Playing";
    if (stored && *stored > WORTH_RESUMING && *stored < edit.duration - WORTH_RESUMING) {
        seekTo(*stored);
        openState().resumedAt = *stored;
        edit.statusText = L"Resumed at " + formatTime(*stored);
    }
    if (openState().slowToSeek)
        edit.statusText =
            L"Seeking is slow on this recording \u2014 File \u25B8 Optimise for editing";
}

void sayKeptStatus() {
    const std::wstring kept = std::exchange(openState().statusWhenOpen, {});
    if (!kept.empty()) editState().statusText = kept;
}

void beginEdit() {
    const OpenHost& host = openHost();
    startEdit(host.engineDuration());
    host.restoreZoom();
    if (!host.restoreGeometry()) host.sizeWindowToVideo();
    host.setTitle(openState().displayName + L" - Velkantrix");
    host.addRecent();
    host.applyVolume();
    applyFadePreview(); // what dimmed the file before doesn't dim this one
    resumeOrPlay();
    sayKeptStatus();
    refreshUi();
    host.layOut();
    host.play();
    host.beginReveal();
}

void continueEdit() {
    const OpenHost& host = openHost();
    host.applyVolume();
    openState().resumedAt = editState().playhead;
    seekTo(editState().playhead);
    sayKeptStatus();
    refreshUi();
    host.layOut();
    if (openState().playAfterReopen) host.play();
    host.beginReveal();
}

} // namespace

OpenState& openState() {
    return theOpenState;
}

OpenHost& openHost() {
    return theOpenHost;
}

void openVideoCommand() {
    if (refuseWhileBusy()) return;
    openVideo(openHost().chooseFile());
}

void openRecent(std::size_t index) {
    const std::optional<std::wstring> path = openHost().recentFile(index);
    if (!path) return;
    if (openHost().isFile(*path)) return openVideo(*path);
    openHost().showWarning(*path + L"\n\nThis file no longer exists.");
    openHost().removeRecent(*path); // not by its place, which may be another by now
}

void openVideo(const std::wstring& givenPath) {
    const OpenHost& host = openHost();
    if (givenPath.empty() || refuseWhileBusy()) return;
    const std::wstring path = host.absolutePath(givenPath);
    if (!host.startMedia() || !mayDiscardEdits()) return;
    if (refuseWhileBusy()) return; // a job may have begun behind the question

    putAwayOpenFile();
    rememberFile(path);
    emptyEdit();
    host.resetExposure();
    editState().statusText = L"Opening\u2026";
    refreshUi();
    host.hideVideo();
    askEngine();
    host.repaint();
}

void engineReady() {
    OpenState& open = openState();
    const OpenPhase phase = open.phase;
    if (phase == OpenPhase::None) return;
    open.videoSize = openHost().engineVideoSize();
    const bool hasPicture = open.videoSize.width > 0 && open.videoSize.height > 0;
    // Without a length there is nothing to cut, and no place to seek to.
    const bool hasLength = phase == OpenPhase::Reopening || openHost().engineDuration() > 0;
    if (!hasPicture || !hasLength) {
        openHost().closeEngine(); // it would play the sound of what isn't open
        return engineFailed();
    }
    open.phase = OpenPhase::None;
    if (phase == OpenPhase::Opening)
        beginEdit();
    else
        continueEdit();
}

void engineFailed() {
    const OpenPhase phase = openState().phase;
    if (phase == OpenPhase::None) return;
    openState().phase = OpenPhase::None;
    openState().statusWhenOpen.clear();
    if (phase == OpenPhase::Opening)
        openHost().setTitle(L"Velkantrix"); // the file before is closed
    editState().statusText = L"Could not open this video";
    openHost().leaveFullscreen(); // with nothing to see there
    openHost().repaint();
    openHost().showError(CANNOT_OPEN);
}

void reopenAfterDeviceLoss(bool wasPlaying) {
    const OpenState& open = openState();
    // While a file is opening, the loss is a failure of the opening.
    if (open.phase == OpenPhase::Opening) {
        openHost().closeEngine();
        return engineFailed();
    }
    reopenWithEdit(wasPlaying);
}

void keepStatusWhenOpen(const std::wstring& text) {
    if (openState().phase != OpenPhase::None) openState().statusWhenOpen = text;
}

void reopenWithEdit(bool play) {
    OpenState& open = openState();
    if (!editState().videoLoaded) return;
    open.playAfterReopen = play;
    open.phase = OpenPhase::Reopening;
    openHost().dropGestures();
    openHost().hideVideo();
    askEngine();
    openHost().repaint();
}

} // namespace velkantrix
