// operations.h: split, remove and trim. UI thread; times are double seconds of the source.
//
// Each operation checks for itself whether it may run, and does nothing when it may not: while a
// job runs, without such a clip, for a time that is no number. Each that changes the list records
// history before the change and tells the user in `statusText` after it.
#pragma once

#include <cstdint>
#include <optional>

#include "edit/segment.h"

namespace velkantrix {

// splitClip(0, 4):  [A 0..10, fades 1/2]  ->  [A 0..4, fades 1/-]  [A 4..10, fades -/2]
// Both pieces keep the name; the right one is selected. A fade longer than its piece is shortened
// to it. Nothing within MIN_SPLIT_MARGIN of either end.
void splitClip(std::int32_t i, double t);
bool canSplit(const Segment& clip, double t);

// Splits the first clip that the playhead stands well inside of.
void splitAtPlayhead();

// removeSelectedClip(), B selected:  [A] [B] [C]  ->  [A] [C]
// C is selected, or the last clip when the last was removed. A playhead inside B goes to the start
// of the clip then selected. The only clip is never removed.
void removeSelectedClip();

// trimClip(1, false, 14):  [A 0..10]  [B 12..20]  ->  [A 0..10]  [B 14..20]
// trimClip(0, true, 99):   [A 0..10]  [B 12..20]  ->  [A 0..12]  [B 12..20]
// The edge stops at the neighbour (or the end of the source) and MIN_CLIP_LENGTH from the clip's
// other edge. One history entry per gesture: the caller ends it.
void trimClip(std::int32_t i, bool atEnd, double t);

// Where that edge lands; nothing when it can't land anywhere.
std::optional<double> trimmedEdge(const ClipList& clips, double duration, std::int32_t i,
                                  bool atEnd, double t);

// The trim items of a clip's menu: one trim that is a gesture of its own, with the playhead put on
// the trimmed edge, even when that edge can't go further.
void trimClipToHere(std::int32_t i, bool atEnd, double t);

} // namespace velkantrix
