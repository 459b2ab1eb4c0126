// commands.h: carries out the window's commands. UI thread.
#pragma once

#include <cstdint>

#include "app/menus.h"
#include "app/ui_tick.h"

namespace velkantrix {

// The low word of WM_COMMAND, and its notification code.
void runCommand(std::uint16_t command, std::uint16_t notification);

// What the menus depend on.
[[nodiscard]] MenuExtras menuExtras();

// Gives the engine the volume and whether it is muted.
void applyVolume();

// The playhead follows the engine, unless a seek or a scrub is under way or nothing is open.
void takeEngineTime();

// Plays: at the end of what is kept from its beginning, in what was removed from the next clip.
void playFromHere();

// Now, or once a seek has landed or the file is open again.
bool isOrWillBePlaying();

// Nor will it play then.
void pausePlaying();

// Goes on with the clip behind a removed part.
void jumpTo(const PlayOn& step);

} // namespace velkantrix
