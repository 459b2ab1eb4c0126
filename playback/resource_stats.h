// resource_stats.h: what the process uses of the machine. UI thread.
#pragma once

#include "playback/diagnostics_text.h"

namespace velkantrix {

// Takes a sample: memory, and the share of the processors' time since the last one. What the system
// doesn't tell keeps its value.
void sampleResourceStats(ResourceStats& stats);

} // namespace velkantrix
