// transport_rules.h: what the controls of the transport bar are called, which command each gives
// and when it is inert: the same for the mouse, the tooltips and whoever reads the screen aloud.
// Free of any thread: these only calculate.
#pragma once

#include <cstddef>
#include <cstdint>
#include <optional>
#include <string>

#include "app/transport_layout.h"
#include "app/volume.h"

namespace velkantrix {

// All that the bar depends on, gathered anew for each use.
struct TransportState {
    bool playing = false; // or about to
    Volume volume;
    double exposure = 0;  // in stops
    bool doubled = false; // the video is shown with two pixels for each of its own
    std::size_t clipCount = 0;
};

// "Pause" while it plays, and so on; empty for no control.
std::wstring transportName(TransportControl control, const TransportState& state);

// The name and, in brackets, the control's key.
std::wstring transportTip(TransportControl control, const TransportState& state);

// The key in words, for who hears it; empty when there is none.
std::wstring transportShortcut(TransportControl control);

// What a click on the control posts; none for the slider, and for a control that is inert.
std::optional<std::uint16_t> transportCommand(TransportControl control,
                                              const TransportState& state);

// The last clip can't be removed.
bool isTransportInert(TransportControl control, const TransportState& state);

} // namespace velkantrix
