// fades.h: fades of clips, and how they are shown while editing. UI thread; lengths in seconds.
#pragma once

#include <cstdint>
#include <string>

#include "edit/segment.h"

namespace velkantrix {

inline constexpr double DEFAULT_FADE = 1.0; // what the toggles set

// setFade(0, false, 1):  [A 0..10, no fades]  ->  [A 0..10, fade in 1]
// The length is kept within what the other fade leaves of the clip. A clip with less than MIN_FADE
// left is too short to fade, and says so.
void setFade(std::int32_t i, bool isOut, double seconds);

// What the other fade leaves of the clip: a fade this long and the other one fit together. Never
// less than the clip's own fade, so a fade that exists can be shortened and removed.
double fadeRoom(const Segment& clip, bool isOut);
bool canFade(const Segment& clip, bool isOut);

// Off when the clip has this fade, else DEFAULT_FADE.
void toggleFade(std::int32_t i, bool isOut);
void toggleFadeOfSelectedClip(bool isOut);

// "1.5 s"
std::wstring formatFadeLength(double seconds);

// The brightness that the selected clip's fades give the playhead's picture, from 0 (black) to 1.
// Only the selected clip counts, whichever clip the playhead is in; outside of it the picture is
// full.
double fadePreviewGain();
double fadePreviewGain(const Segment& clip, double playhead);

// Hands that gain to the engine, if there is one.
void applyFadePreview();

} // namespace velkantrix
