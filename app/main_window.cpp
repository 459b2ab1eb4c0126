// main_window.cpp: the window's procedure unpacks each message and calls what it is for.
#include "app/main_window.h"

#include <commctrl.h>
#include <shellapi.h>

#include <array>
#include <vector>

#include "app/command_table.h"
#include "app/commands.h"
#include "app/fonts.h"
#include "app/layout.h"
#include "app/placing.h"
#include "app/timeline_paint.h"
#include "app/ui_state.h"
#include "edit/edit_state.h"
#include "edit/fades.h"
#include "edit/open_flow.h"
#include "edit/rename.h"
#include "platform/dialogs.h"
#include "playback/notices.h"
#include "playback/resource_stats.h"

namespace velkantrix {
namespace {

constexpr std::uint64_t SHORTEST_RESEEK = 32; // milliseconds between seeks that only redraw
constexpr UINT DROPPED_PATH_ROOM = 32768;     // characters

PlaybackController* playback() {
    return ui().playback.get();
}

bool isLoadedAndPaused() {
    return editState().videoLoaded && playback() && playback()->state() == PlaybackState::Paused;
}

HWND createChild(HWND window, const wchar_t* kind, const wchar_t* title, DWORD style, int id) {
    return CreateWindowExW(0, kind, title, WS_CHILD | WS_CLIPSIBLINGS | style, 0, 0, 1, 1, window,
                           reinterpret_cast<HMENU>(static_cast<INT_PTR>(id)),
                           GetModuleHandleW(nullptr), nullptr);
}

// The pictures are drawn by Direct3D. What the control itself would paint, in whatever colour the
// system has for frames, would lie over them until the next one.
LRESULT CALLBACK videoProcedure(HWND window, UINT message, WPARAM wide, LPARAM lng, UINT_PTR,
                                DWORD_PTR) {
    if (message == WM_ERASEBKGND) return 1;
    if (message != WM_PAINT) return DefSubclassProc(window, message, wide, lng);
    PAINTSTRUCT paint = {};
    const HDC dc = BeginPaint(window, &paint);
    if (!playback() || !playback()->enginePresented())
        FillRect(dc, &paint.rcPaint, static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
    EndPaint(window, &paint);
    return 0;
}

void onCreate(HWND window) {
    UiState& state = ui();
    state.window = window;
    state.dpi = static_cast<int>(GetDpiForWindow(window));
    SetWindowLongPtrW(window, GWL_STYLE,
                      GetWindowLongPtrW(window, GWL_STYLE) | WS_CLIPCHILDREN | WS_CLIPSIBLINGS);
    DragAcceptFiles(window, TRUE);
    state.video =
        createChild(window, L"STATIC", L"Video preview", SS_NOTIFY | SS_BLACKRECT, COMMAND_VIDEO);
    SetWindowSubclass(state.video, videoProcedure, 0, 0);
    state.transport = createChild(window, TRANSPORT_CLASS, L"", 0, 0);
    SetTimer(window, TICK_TIMER, IDLE_TICK, nullptr);
    sampleResourceStats(state.stats);
    SetTimer(window, DIAGNOSTICS_TIMER, DIAGNOSTICS_TICK, nullptr);
    updateControls();
    layOut();
}

void onDestroy(HWND window) {
    KillTimer(window, TICK_TIMER);
    KillTimer(window, DIAGNOSTICS_TIMER);
    ui().playback.reset();
    releasePaintBuffers();
    deleteFonts();
    PostQuitMessage(0);
}

// A picture that stands still is drawn by the engine once more.
void seekAgain() {
    if (isLoadedAndPaused()) seekTo(editState().playhead);
}

void onSize(WPARAM kind) {
    if (kind == SIZE_MINIMIZED) return;
    commitRename(true);
    layOut();
    if (!playback()) return;
    applyFadePreview();
    playback()->requestRedraw();
    const std::uint64_t now = GetTickCount64();
    if (!isLoadedAndPaused() || now - ui().lastSeekTick <= SHORTEST_RESEEK) return;
    ui().lastSeekTick = now;
    seekAgain();
}

void onDpiChanged(WORD dpi, const RECT* suggested) {
    ui().dpi = dpi;
    deleteFonts();
    if (suggested)
        SetWindowPos(ui().window, nullptr, suggested->left, suggested->top,
                     suggested->right - suggested->left, suggested->bottom - suggested->top,
                     SWP_NOZORDER | SWP_NOACTIVATE);
    layOut(); // the size may be what it was
}

void onMinMaxInfo(MINMAXINFO* info) {
    info->ptMinTrackSize = {S(LEAST_WINDOW_WIDTH), S(LEAST_WINDOW_HEIGHT)};
}

void onClose(HWND window) {
    if (hasEdits() && editState().edited &&
        !askYesNo(window, L"Your edits haven't been exported.\n\nClose without exporting?"))
        return;
    DestroyWindow(window);
}

void onDrop(HDROP drop) {
    std::vector<wchar_t> path(DROPPED_PATH_ROOM);
    const UINT length = DragQueryFileW(drop, 0, path.data(), DROPPED_PATH_ROOM);
    DragFinish(drop); // before a question keeps the other program waiting
    if (length > 0) openVideo({path.data(), length});
}

void onPlaybackNotice(WPARAM notice) {
    switch (notice) {
    case PLAYBACK_READY:
        engineReady();
        break;
    case PLAYBACK_FAILED:
        engineFailed();
        break;
    case PLAYBACK_ENDED:
        if (playback()) playback()->pause();
        break;
    case PLAYBACK_DEVICE_LOST:
        reopenAfterDeviceLoss(ui().tickMemory.wasPlaying);
        break;
    default:
        break;
    }
}

void tickTransport() {
    UiState& state = ui();
    POINT cursor = {};
    if (!state.fullscreen || !GetCursorPos(&cursor)) return;
    switch (hideOrShowTransport(state.transportHiding, {cursor.x, cursor.y}, GetTickCount64(),
                                IsWindowVisible(state.transport), state.volumeDragged)) {
    case TransportChange::Show:
        ShowWindow(state.transport, SW_SHOWNA);
        break;
    case TransportChange::Hide:
        ShowWindow(state.transport, SW_HIDE);
        break;
    case TransportChange::None:
        break;
    }
}

void tickReveal(bool playing) {
    UiState& state = ui();
    if (state.firstFrameShown) return;
    if (!isTimeToReveal({.presented = playback()->enginePresented(),
                         .playing = playing,
                         .sinceOpen = GetTickCount64() - state.openTick,
                         .time = editState().playhead,
                         .resumedAt = openState().resumedAt})) {
        repaint(); // the dots of the loading card
        return;
    }
    state.firstFrameShown = true;
    ShowWindow(state.video, SW_SHOWNA);
    playback()->requestRedraw();
    repaint();
}

void tickPlayOn(bool playing) {
    EditState& edit = editState();
    if (!playing || playback()->isSeeking()) return;
    const PlayOn step = playOn(edit.clips, edit.selectedClip, edit.playhead);
    if (step.clip >= 0) edit.selectedClip = step.clip;
    if (step.step == PlayOn::Step::Jump) seekTo(step.time);
    if (step.step == PlayOn::Step::Pause) playback()->pause();
}

void tickTime() {
    EditState& edit = editState();
    if (!edit.videoLoaded || !playback()) return;
    if (!ui().scrubbing && !playback()->isSeeking()) {
        const double time = playback()->currentTime();
        edit.playhead = std::min(std::max(time, 0.0), edit.duration);
    }
    const bool playing = playback()->state() == PlaybackState::Playing;
    tickReveal(playing);
    tickPlayOn(playing);
    const TickChange change = noteTime(ui().tickMemory, edit.playhead, playing, edit.exportBusy);
    if (!change.anything) return;
    if (change.playingChanged) InvalidateRect(ui().transport, nullptr, FALSE);
    if (change.period) SetTimer(ui().window, TICK_TIMER, *change.period, nullptr);
    applyFadePreview();
    repaintTimeline();
}

void onTimer(WPARAM timer) {
    if (timer == TICK_TIMER) {
        tickTransport();
        tickTime();
    } else if (timer == DIAGNOSTICS_TIMER) {
        sampleResourceStats(ui().stats);
        repaintDiagnostics();
    }
}

} // namespace

void updateControls() {
    const UiState& state = ui();
    if (!state.fullscreen)
        ShowWindow(state.transport, editState().videoLoaded ? SW_SHOWNA : SW_HIDE);
    InvalidateRect(state.transport, nullptr, FALSE);
    repaint();
}

void beginReveal() {
    ui().openTick = GetTickCount64();
    SetTimer(ui().window, TICK_TIMER, PLAYING_TICK, nullptr);
}

LRESULT CALLBACK mainWindowProcedure(HWND window, UINT message, WPARAM wide, LPARAM lng) {
    switch (message) {
    case WM_CREATE:
        onCreate(window);
        return 0;
    case WM_DESTROY:
        onDestroy(window);
        return 0;
    case WM_SIZE:
        onSize(wide);
        return 0;
    case WM_GETMINMAXINFO:
        onMinMaxInfo(reinterpret_cast<MINMAXINFO*>(lng));
        return 0;
    case WM_PAINT:
        paintWindow(window);
        return 0;
    case WM_ERASEBKGND: {
        RECT client = {};
        GetClientRect(window, &client);
        FillRect(reinterpret_cast<HDC>(wide), &client,
                 static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH)));
        return 1;
    }
    case WM_CLOSE:
        onClose(window);
        return 0;
    case WM_COMMAND:
        runCommand(LOWORD(wide), HIWORD(wide));
        return 0;
    case WM_TIMER:
        onTimer(wide);
        return 0;
    case WM_ENTERMENULOOP:
        commitRename(true);
        return 0;
    case WM_EXITSIZEMOVE:
        seekAgain();
        return 0;
    case WM_DROPFILES:
        onDrop(reinterpret_cast<HDROP>(wide));
        return 0;
    case WM_DPICHANGED:
        onDpiChanged(HIWORD(wide), reinterpret_cast<const RECT*>(lng));
        return 0;
    case WM_PLAYBACK_NOTIFY:
        onPlaybackNotice(wide);
        return 0;
    default:
        return DefWindowProcW(window, message, wide, lng);
    }
}

// Its controls are to come.
LRESULT CALLBACK transportProcedure(HWND window, UINT message, WPARAM wide, LPARAM lng) {
    return DefWindowProcW(window, message, wide, lng);
}

} // namespace velkantrix
