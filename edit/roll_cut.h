// roll_cut.h: moving the cut between two clips, by mouse and by keys. UI thread; times are double
// seconds of the source.
//
// A cut is named by the clip that ends at it. `rollCutIndex` is the cut that the keys move; a drag
// and the nudges after it are one gesture with one history entry, until Esc, another press, split,
// remove, a trim by the menu, undo, redo or the opening of a video ends it.
#pragma once

#include <cstdint>
#include <optional>

#include "edit/segment.h"

namespace velkantrix {

// rollCut(0, 11):  [A 0..10]  gap 2  [B 12..20]  ->  [A 0..11]  gap 2  [B 13..20]
// The gap is removed material: it moves with the cut and keeps its length. No clip is made shorter
// than MIN_CLIP_LENGTH; one that was shorter before may only grow.
void rollCut(std::int32_t i, double t);

// Where the end of clip i lands; nothing when it can't land anywhere.
std::optional<double> rolledCut(const ClipList& clips, double duration, std::int32_t i, double t);

// Moves the selected cut by `delta` seconds and puts the playhead on it, even when it can't go
// further.
void rollNudge(double delta);

// The mouse: pressed on cut i (playback pauses, the playhead goes to the cut), moved to time t,
// released. After the release the cut stays selected for the keys. While a job runs a press, a move
// or a release does nothing.
void beginCutDrag(std::int32_t i);
void dragCut(double t);
void endCutDrag();

// Esc: the cut is no longer selected. Nothing when none was. Allowed while a job runs, whose status
// text then stays.
void cancelGesture();

} // namespace velkantrix
