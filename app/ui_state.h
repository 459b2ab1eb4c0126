// ui_state.h: what the window knows beside the edit. UI thread only.
#pragma once

#include <windows.h>

#include <cstdint>
#include <memory>

#include "app/recent_files.h"
#include "app/ui_tick.h"
#include "app/volume.h"
#include "edit/clip_geometry.h"
#include "playback/controller.h"
#include "playback/diagnostics_text.h"

namespace velkantrix {

struct UiState {
    HWND window = nullptr;
    HWND video = nullptr;     // the child that the pictures are drawn into; hidden until the first
    HWND transport = nullptr; // the bar with the controls
    HWND renameField = nullptr;
    int dpi = USER_DEFAULT_SCREEN_DPI;

    bool firstFrameShown = false;
    bool volumeDragged = false;
    bool doubled = false; // the video is shown with two pixels for each of its own
    Volume volume;
    double exposure = 0; // in stops; of the open video

    RecentFiles recentFiles;
    bool sizeWhenRestored = false; // to the video that was opened while the window was minimised
    bool fullscreen = false;
    WINDOWPLACEMENT placementBefore = {sizeof(WINDOWPLACEMENT)}; // of fullscreen
    HMENU menuBefore = nullptr;

    std::uint64_t openTick = 0; // when the video was ready, in milliseconds
    std::uint64_t lastSeekTick = 0;
    TransportHiding transportHiding;
    TickMemory tickMemory;
    std::uint32_t tickPeriod = 0; // milliseconds
    ResourceStats stats;

    std::unique_ptr<PlaybackController> playback; // none before the first file
};

UiState& ui();

inline PlaybackController* playback() {
    return ui().playback.get();
}

// A length of 96-dpi units in pixels of the window.
inline int S(int units) {
    return scaledPixels(units, ui().dpi);
}

} // namespace velkantrix
