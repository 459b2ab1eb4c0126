// timeline_map.h: between source time and edited time, the position in the clips laid end to end.
//
//     source:   0  [A 2..5]  [B 5..6]  gap  [C 9..12]  12
//     edited:      [A 0..3]  [B 3..4]       [C 4..7]
//
// UI thread where the edit state is read; the overloads that take the clips depend on nothing else.
// All times are double seconds.
#pragma once

#include <cstdint>

#include "edit/segment.h"

namespace velkantrix {

double editedDuration();
double editedDuration(const ClipList& clips);

// A removed time maps to the start of the next kept clip, a time behind the last clip to the total.
// What is no number maps to 0.
double sourceToEdited(double t);
double sourceToEdited(const ClipList& clips, double t);

// The first clip that reaches `e` takes it, so a boundary belongs to the end of the clip before it.
// `e` is kept within [0, editedDuration()]; no number counts as 0. No clips: 0, and clipIndex -1.
double editedToSource(double e, std::int32_t& clipIndex);
double editedToSource(const ClipList& clips, double e, std::int32_t& clipIndex);

// The clip behind a removed part that begins within `tolerance` of `e`; -1 without one. There the
// time alone means the end of the clip before as well.
std::int32_t clipBehindGapAt(const ClipList& clips, double e, double tolerance);

// Where the playhead stands, in edited time.
double currentEditedTime();

// Selects the clip at edited time `e` and seeks there.
void seekToEdited(double e);

} // namespace velkantrix
