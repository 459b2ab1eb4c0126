#include "app/exposure_commands.h"

#include <windows.h>

#include <optional>

#include "app/transport_bar.h"
#include "app/ui_state.h"
#include "base/exposure.h"
#include "edit/edit_state.h"
#include "edit/open_flow.h"
#include "playback/exposure_rules.h"
#include "playback/exposure_sampler.h"

namespace velkantrix {
namespace {

// Shows the exposure, and says what it is. A picture that stands still is drawn anew by a seek.
void applyExposure() {
    if (PlaybackController* const controller = playback()) {
        controller->setExposure(ui().exposure);
        if (controller->state() != PlaybackState::Playing) seekTo(editState().playhead);
    }
    editState().statusText = exposureText(ui().exposure);
    repaintTransport();
    repaint();
}

// Leaves the exposure as it is where the video can't be looked at. Of one that is slow to seek the
// first pictures have to do: the window waits for this.
void autoExposure() {
    const OpenState& open = openState();
    const HCURSOR before = SetCursor(LoadCursorW(nullptr, IDC_WAIT));
    const std::optional<LumaHistogram> luma =
        sampleLuma(open.path.c_str(), open.slowToSeek ? 0 : editState().duration);
    SetCursor(before);
    if (!luma) return;
    if (const std::optional<double> found = exposureFor(*luma))
        ui().exposure = *found;
    else
        editState().statusText = L"Couldn't analyze exposure"; // until what is set is said again
}

void setExposure(double exposure) {
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
    autoExposure();
    applyExposure();
}

void exposureResetOrAuto() {
    if (isExposed(ui().exposure)) return exposureReset();
    exposureAuto();
}

} // namespace velkantrix
