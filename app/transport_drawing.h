// transport_drawing.h: what the transport bar shows.
#pragma once

#include <cstdint>

#include "app/drawing.h"
#include "app/layout.h"
#include "app/transport_rules.h"

namespace velkantrix {

struct TransportView {
    PixelSize client;
    std::int32_t dpi = 96;
    TransportState state;
    TransportControl hovered = TRANSPORT_NONE;
    TransportControl pressed = TRANSPORT_NONE;
};

void drawTransport(Drawing& drawing, const TransportView& view);

} // namespace velkantrix
