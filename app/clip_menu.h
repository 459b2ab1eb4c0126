// clip_menu.h: for which clip its menu opens, and what its choices do. UI thread.
#pragma once

#include <cstdint>
#include <optional>

#include "app/drawing.h"
#include "app/timeline_mouse.h"

namespace velkantrix {

struct ClipMenuTarget {
    std::int32_t clip = -1;
    double time = 0; // seconds of the source, within the clip
    PixelPoint at;   // of the window's client area: where the menu opens
    bool operator==(const ClipMenuTarget&) const = default;
};

// At a point that was clicked; none outside the timeline, and whenever there is no such menu:
// without a video, in fullscreen, during a job or a drag.
std::optional<ClipMenuTarget> clipMenuAtPoint(const TimelinePlace& place, std::int32_t x,
                                              std::int32_t y);

// By the keyboard: for the selected clip, or the last one, at its label, and as near to the
// playhead as it reaches.
std::optional<ClipMenuTarget> clipMenuByKey(const TimelinePlace& place);

// Selects the clip that was clicked once more, for playing may have moved the selection behind the
// menu, and carries out a choice that only this menu has. False for what is a command.
[[nodiscard]] bool runClipMenuChoice(std::uint16_t choice, const ClipMenuTarget& target);

} // namespace velkantrix
