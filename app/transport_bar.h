// transport_bar.h: the bar with the controls for playing and editing: a child of the main window
// that shows them, says what they are, and posts their commands to its parent. UI thread.
#pragma once

#include <windows.h>

#include "app/transport_layout.h"
#include "app/transport_rules.h"

namespace velkantrix {

LRESULT CALLBACK transportProcedure(HWND bar, UINT message, WPARAM wide, LPARAM lng);

// What it shows now, and where.
[[nodiscard]] TransportState transportState();
[[nodiscard]] TransportLayout transportLayout(HWND bar);

// Not behind a box that waits for its answer, nor while a menu is open or something else is
// dragged: no click could get to the bar then.
[[nodiscard]] bool isTransportEnabled(HWND bar);

// Posts the control's command, if it has one and neither it nor the bar is inert: whether it did.
bool pressTransport(HWND bar, TransportControl control);

void repaintTransport();

} // namespace velkantrix
