// commands.h: carries out the window's commands. UI thread.
#pragma once

#include <cstdint>

namespace velkantrix {

// The low word of WM_COMMAND, and its notification code.
void runCommand(std::uint16_t command, std::uint16_t notification);

// Gives the engine the volume and whether it is muted.
void applyVolume();

// Plays; at the end of what is kept, from its beginning.
void playFromHere();

} // namespace velkantrix
