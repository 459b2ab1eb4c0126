// save_swap.h: how the complete new file of a save takes the original's place, and what becomes of
// both when it can't. UI thread.
#pragma once

#include <vector>

#include "edit/segment.h"
#include "export/export_job_core.h"
#include "export/export_request.h"
#include "export/save_in_place.h"

namespace velkantrix {

// As the system documents them, of a replacement that stopped half-way: the original has lost its
// name. It is gone; or with the second it stands beside by a name that nobody is told, and stays.
inline constexpr SystemError UNABLE_TO_MOVE_REPLACEMENT = 1176;
inline constexpr SystemError UNABLE_TO_MOVE_REPLACEMENT_2 = 1177;

// Where the picture of the playhead stands in the new file: the edit counts from its own beginning.
// `written` has a span for each clip, which may begin before it, or else nothing is known of them.
double playheadAfterSave(const ClipList& clips, double playhead,
                         const std::vector<WrittenSpan>& written);

// Of the running save, or of the one that has just ended.
[[nodiscard]] OriginalState stateOfOriginal();

// Of the save whose job is complete: puts its file in the original's place, and opens that, unless
// the window is to close. When it can't, the error is the job's, and the edit goes on as it was.
[[nodiscard]] bool swapInSavedFile();

} // namespace velkantrix
