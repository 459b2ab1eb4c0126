#include "app/timeline_paint.h"

#include <algorithm>
#include <optional>

#include "app/drawing_gdi.h"
#include "app/layout.h"
#include "app/paint_layer.h"
#include "app/timeline_layout.h"
#include "app/timeline_mouse.h"
#include "app/ui_state.h"
#include "app/window_drawing.h"
#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "edit/rename.h"
#include "edit/timeline_map.h"
#include "export/export_job_core.h"
#include "playback/audio_peaks.h"

namespace velkantrix {
namespace {

constexpr int TIMELINE_STRIP = 240; // 96-dpi units from the bottom: with the playhead's line

// The window is drawn here first, and then copied: it never flickers.
struct BackBuffer {
    PaintLayer window;
    PaintLayer strip;                      // the clips, as they were drawn last
    std::optional<std::uint64_t> stripKey; // none: they aren't
    bool paintAll = true;
};

BackBuffer& backBuffer() {
    static BackBuffer buffer;
    return buffer;
}

std::optional<PixelRect> videoOnScreen() {
    const UiState& state = ui();
    if (!IsWindowVisible(state.video)) return std::nullopt;
    RECT rect = {};
    GetWindowRect(state.video, &rect);
    MapWindowPoints(nullptr, state.window, reinterpret_cast<POINT*>(&rect), 2);
    return PixelRect{rect.left, rect.top, rect.right, rect.bottom};
}

StripState stripState(const PixelRect& track) {
    const EditState& edit = editState();
    const std::uint64_t version = peaksVersion(); // first: what comes behind it is drawn later
    return {.track = track,
            .dpi = ui().dpi,
            .clips = &edit.clips,
            .selectedClip = edit.selectedClip,
            .selectedCut = edit.rollCutIndex,
            .renamedClip = renameState().target,
            .peaks = validAudioPeaks(),
            .peaksVersion = version,
            .sourceDuration = edit.duration};
}

WindowState windowState(int width, int height) {
    const UiState& state = ui();
    const EditState& edit = editState();
    const TimelineMouse& mouse = timelineMouse();
    WindowState window;
    window.client = {width, height};
    window.dpi = state.dpi;
    window.fullscreen = state.fullscreen;
    window.videoLoaded = edit.videoLoaded;
    window.firstFrameShown = state.firstFrameShown;
    window.tick = GetTickCount64();
    window.diagnostics = formatResourceLine(state.stats);
    window.strip = stripState(timelineRect(window.client, state.dpi, state.fullscreen));
    window.editedTime = currentEditedTime();
    if (mouse.drag) window.cutDrag = mouse.drag->cut;
    const RenameState& rename = renameState();
    // Over the clip that gets a name its box would lie around the field.
    if (!rename.open || rename.target != mouse.hoverClip) window.hoverX = mouse.hoverX;
    window.scrubbing = mouse.scrub.has_value();
    window.statusText = edit.statusText;
    window.videoSize = openState().videoSize;
    window.fileSize = openState().fileSize;
    const ExportJobState& job = exportJob();
    if (edit.exportBusy && job.exportExpected > 0)
        window.exportShare = progressShare(job.exportProgress, job.exportExpected);
    window.videoOnScreen = videoOnScreen();
    return window;
}

void draw(HDC dc, const StripState& strip) {
    Drawing drawing;
    drawStrip(drawing, strip);
    carryOut(dc, drawing);
}

// No pixel beside the track, as when it is copied from the picture.
void drawOnTrack(HDC dc, const StripState& strip) {
    const PixelRect& track = strip.track;
    SaveDC(dc);
    IntersectClipRect(dc, track.left, track.top, track.right, track.bottom);
    draw(dc, strip);
    RestoreDC(dc, -1);
}

// From the picture that is kept, unless a drag changes the clips with each of its steps.
void paintStrip(HDC dc, const WindowState& window) {
    const StripState& strip = window.strip;
    if (!window.videoLoaded || strip.track.empty()) return;
    BackBuffer& buffer = backBuffer();
    if (window.cutDrag ||
        !fitPaintLayer(dc, buffer.strip, window.client.width, window.client.height))
        return drawOnTrack(dc, strip);
    const std::uint64_t key = stripKey(strip);
    if (buffer.stripKey != key) {
        draw(buffer.strip.dc.get(), strip);
        buffer.stripKey = key;
    }
    const PixelRect& track = strip.track;
    BitBlt(dc, track.left, track.top, track.right - track.left, track.bottom - track.top,
           buffer.strip.dc.get(), track.left, track.top, SRCCOPY);
}

void paintClient(HDC dc, int width, int height) {
    const WindowState window = windowState(width, height);
    Drawing below;
    drawBackground(below, window);
    carryOut(dc, below);
    paintStrip(dc, window);
    Drawing above;
    drawForeground(above, window);
    carryOut(dc, above);
}

} // namespace

void paintWindow(HWND window) {
    PAINTSTRUCT paint = {};
    const HDC screen = BeginPaint(window, &paint);
    RECT client = {};
    GetClientRect(window, &client);
    const int width = std::max<int>(client.right, 1);
    const int height = std::max<int>(client.bottom, 1);
    BackBuffer& buffer = backBuffer();
    const bool fresh = buffer.window.width != width || buffer.window.height != height;
    if (fresh) buffer.stripKey.reset();
    if (screen && fitPaintLayer(screen, buffer.window, width, height)) {
        RECT dirty = paint.rcPaint;
        if (fresh || buffer.paintAll || IsRectEmpty(&dirty)) dirty = {0, 0, width, height};
        buffer.paintAll = false;
        const HDC dc = buffer.window.dc.get();
        SaveDC(dc);
        IntersectClipRect(dc, dirty.left, dirty.top, dirty.right, dirty.bottom);
        paintClient(dc, width, height);
        RestoreDC(dc, -1);
        BitBlt(screen, dirty.left, dirty.top, dirty.right - dirty.left, dirty.bottom - dirty.top,
               dc, dirty.left, dirty.top, SRCCOPY);
    }
    EndPaint(window, &paint);
}

void releasePaintBuffers() {
    backBuffer() = {};
}

void repaintDiagnostics() {
    if (ui().fullscreen) return;
    RECT strip = {};
    GetClientRect(ui().window, &strip);
    strip.bottom = S(DIAGNOSTICS_STRIP);
    InvalidateRect(ui().window, &strip, FALSE);
}

void repaintTimeline() {
    if (ui().fullscreen) return;
    RECT strip = {};
    GetClientRect(ui().window, &strip);
    strip.top = strip.bottom - S(TIMELINE_STRIP);
    InvalidateRect(ui().window, &strip, FALSE);
}

} // namespace velkantrix
