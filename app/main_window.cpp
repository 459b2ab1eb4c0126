// main_window.cpp: the window's procedure unpacks each message and calls what it is for.
#include "app/main_window.h"

#include <commctrl.h>
#include <shellapi.h>

#include <vector>

#include "app/bindings.h"
#include "app/command_table.h"
#include "app/commands.h"
#include "app/fonts.h"
#include "app/layout.h"
#include "app/menus.h"
#include "app/placing.h"
#include "app/resource_ids.h"
#include "app/settings.h"
#include "app/timeline_messages.h"
#include "app/timeline_paint.h"
#include "app/transport_bar.h"
#include "app/ui_state.h"
#include "app/window_tick.h"
#include "edit/edit_state.h"
#include "edit/fades.h"
#include "edit/open_flow.h"
#include "edit/rename.h"
#include "export/export_job.h"
#include "export/export_job_core.h"
#include "export/save_in_place_files.h"
#include "platform/dialogs.h"
#include "playback/audio_peaks.h"
#include "playback/notices.h"
#include "playback/resource_stats.h"

namespace velkantrix {
namespace {

constexpr std::uint64_t SHORTEST_RESEEK = 32; // milliseconds between seeks that only redraw
constexpr UINT DROPPED_PATH_ROOM = 32768;     // characters

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
    if (message == WM_NCDESTROY) RemoveWindowSubclass(window, videoProcedure, 0);
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
    SetMenu(window, buildMenuBar());
    bindExportJob(window);
    bindSaveFiles(window);
    bindSaves();
    jobHost().setTimer = setTickPeriod;
    jobHost().exposure = [] {
        return ui().exposure;
    };
    state.video =
        createChild(window, L"STATIC", L"Video preview", SS_NOTIFY | SS_BLACKRECT, COMMAND_VIDEO);
    SetWindowSubclass(state.video, videoProcedure, 0, 0);
    state.transport = createChild(window, TRANSPORT_CLASS, L"", 0, 0);
    setTickPeriod(IDLE_TICK);
    sampleResourceStats(state.stats);
    SetTimer(window, DIAGNOSTICS_TIMER, DIAGNOSTICS_TICK, nullptr);
    updateControls();
    layOut();
}

// What is remembered until the next start. The file's state last: its server may not answer, and
// the system ends a process that takes too long.
void storeAll() {
    storeWindowPlacement();
    storeVolume();
    openHost().storeFileState();
}

void onDestroy(HWND window) {
    storeAll();
    if (ui().fullscreen) DestroyMenu(ui().menuBefore); // the window hasn't got it
    KillTimer(window, TICK_TIMER);
    KillTimer(window, DIAGNOSTICS_TIMER);
    unbindExportJob();
    unbindSaveFiles();
    static_cast<void>(endAudioPeaks()); // asked again when the process ends
    ui().playback.reset();
    releasePaintBuffers();
    deleteFonts();
    PostQuitMessage(0);
}

// A picture that stands still is drawn by the engine once more. Before there is one a seek would
// only be in the way of the first.
void seekAgain() {
    if (isLoadedAndPaused() && ui().firstFrameShown) seekTo(editState().playhead);
}

void onSize(WPARAM kind) {
    commitRename(true);
    if (kind == SIZE_MINIMIZED) return;
    if (ui().sizeWhenRestored) sizeWindowToVideo();
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
    commitRename(true); // the field has one of the fonts
    deleteFonts();
    followDpi(dpi, suggested);
}

void onMinMaxInfo(MINMAXINFO* info) {
    info->ptMinTrackSize = {S(LEAST_WINDOW_WIDTH), S(LEAST_WINDOW_HEIGHT)};
}

// Behind a box that waits for its answer.
bool refuseBehindBox(HWND window) {
    if (IsWindowEnabled(window)) return false;
    MessageBeep(MB_ICONEXCLAMATION);
    return true;
}

bool hasUnsavedEdits() {
    return hasEdits() && editState().edited;
}

// Whether the window stays for now: it closes by itself when the job has ended, or the user would
// rather have the export.
bool staysForExport(HWND window) {
    if (!editState().exportBusy) return false;
    if (exportJob().closeAsked) return true;
    if (!askYesNo(window, L"An export is still running.\n\n"
                          L"Cancel the export and close Velkantrix?"))
        return true;
    return closeAfterExport(); // unless it has ended behind the question
}

void onClose(HWND window) {
    if (refuseBehindBox(window)) return;
    commitRename(true); // what is typed is an edit too
    if (staysForExport(window)) return;
    if (hasUnsavedEdits() &&
        !askYesNo(window, L"Your edits haven't been exported.\n\nClose without exporting?"))
        return;
    DestroyWindow(window);
}

// Signing out with unsaved edits: the system shows the reason and lets the user decide.
BOOL mayEndSession(HWND window) {
    if (!hasUnsavedEdits() && !editState().exportBusy) return TRUE;
    ShutdownBlockReasonCreate(window, editState().exportBusy
                                          ? L"An export is still running."
                                          : L"Your edits haven't been exported.");
    return FALSE;
}

// The process is ended as soon as this returns, without any other message.
void onEndSession(HWND window, bool ends) {
    ShutdownBlockReasonDestroy(window);
    if (ends) storeAll();
}

void onDrop(HDROP drop) {
    std::vector<wchar_t> path(DROPPED_PATH_ROOM);
    const UINT length = DragQueryFileW(drop, 0, path.data(), DROPPED_PATH_ROOM);
    DragFinish(drop);
    if (length > 0 && !refuseBehindBox(ui().window)) openVideo({path.data(), length});
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
        if (playback()) playback()->pauseAfterEnd();
        break;
    case PLAYBACK_DEVICE_LOST:
        reopenAfterDeviceLoss(isOrWillBePlaying());
        break;
    default:
        break;
    }
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
    case WM_QUERYENDSESSION:
        return mayEndSession(window);
    case WM_ENDSESSION:
        onEndSession(window, wide != FALSE);
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
    case WM_EXPORT_FINISHED:
        finishExport(wide != 0);
        return 0;
    case WM_PLAYBACK_NOTIFY:
        onPlaybackNotice(wide);
        return 0;
    default:
        return onTimelineMessage(window, message, wide, lng);
    }
}

} // namespace

void registerWindowClasses(HINSTANCE instance) {
    WNDCLASSEXW transport = {};
    transport.cbSize = sizeof transport;
    transport.style = CS_HREDRAW | CS_VREDRAW;
    transport.lpfnWndProc = transportProcedure;
    transport.hInstance = instance;
    transport.hCursor = LoadCursorW(nullptr, IDC_ARROW);
    transport.lpszClassName = TRANSPORT_CLASS;
    RegisterClassExW(&transport);

    WNDCLASSEXW main = transport;
    main.lpfnWndProc = mainWindowProcedure;
    main.hIcon = LoadIconW(instance, MAKEINTRESOURCEW(ICON_ID));
    main.hIconSm = static_cast<HICON>(LoadImageW(instance, MAKEINTRESOURCEW(ICON_ID), IMAGE_ICON,
                                                 GetSystemMetrics(SM_CXSMICON),
                                                 GetSystemMetrics(SM_CYSMICON), LR_DEFAULTCOLOR));
    main.hbrBackground = static_cast<HBRUSH>(GetStockObject(BLACK_BRUSH));
    main.lpszClassName = MAIN_WINDOW_CLASS;
    RegisterClassExW(&main);
}

HWND createMainWindow(HINSTANCE instance) {
    return CreateWindowExW(WS_EX_ACCEPTFILES, MAIN_WINDOW_CLASS, L"Velkantrix", WS_OVERLAPPEDWINDOW,
                           CW_USEDEFAULT, CW_USEDEFAULT, WINDOW_WIDTH, WINDOW_HEIGHT, nullptr,
                           nullptr, instance, nullptr);
}

void updateControls() {
    const UiState& state = ui();
    if (!editState().videoLoaded)
        ShowWindow(state.transport, SW_HIDE);
    else if (!state.fullscreen) // there it comes and goes with the mouse
        ShowWindow(state.transport, SW_SHOWNA);
    repaintTransport();
    repaint();
}

} // namespace velkantrix
