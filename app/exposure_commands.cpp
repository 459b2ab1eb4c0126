#include "app/exposure_commands.h"

#include <windows.h>

#include <optional>

#include "app/transport_bar.h"
#include "app/ui_state.h"
#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "edit/operations.h"
#include "playback/exposure_rules.h"
#include "playback/exposure_sampler.h"

namespace velkantrix {
namespace {

// Shows the exposure, and says what it is. A picture that stands still is drawn anew by a seek.
void applyExposure() {
    if (PlaybackController* const controller = playback()) {
        controller->setExposure(ui().exposure);
        if (controller->state() != PlaybackState::Playing) controller->seek(editState().playhead);
    }
    editState().statusText = exposureText(ui().exposure);
    repaintTransport();
    InvalidateRect(ui().window, nullptr, FALSE);
}

bool mayLookAtVideo() {
    return editState().videoLoaded && !editState().exportBusy;
}

// Leaves the exposure as it is where the video can't be looked at.
void autoExposure() {
    const HCURSOR before = SetCursor(LoadCursorW(nullptr, IDC_WAIT));
    const std::optional<LumaHistogram> luma =
        sampleLuma(openState().path.c_str(), editState().duration);
    SetCursor(before);
    if (!luma) return;
    if (const std::optional<double> fixed = fixedExposure(*luma))
        ui().exposure = *fixed;
    else
        editState().statusText = L"Couldn't analyze exposure";
}

void setExposure(double exposure) {
    if (!editState().videoLoaded) return;
    ui().exposure = exposure;
    applyExposure();
}

} // namespace

void exposureBrighter() {
    setExposure(brighterExposure(ui().exposure));
}

void exposureDarker() {
    setExposure(darkerExposure(ui().exposure));
}

void exposureReset() {
    setExposure(0);
}

void exposureAuto() {
    if (!mayLookAtVideo()) return;
    autoExposure();
    applyExposure();
}

void exposureResetOrAuto() {
    if (!mayLookAtVideo()) return;
    if (isExposed(ui().exposure)) return exposureReset();
    exposureAuto();
}

} // namespace velkantrix
