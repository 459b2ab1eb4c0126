// history.h: undo and redo, by snapshots of the whole edit. UI thread.
//
//     edits a, b, c, then undo:   undo [before a, before b]   redo [after c]
//
// Labels are static wide strings; they are kept as pointers and shown to the user.
#pragma once

namespace velkantrix {

// Called before a change: keeps what is about to change, at most MAX_HISTORY times, the oldest
// going first. What was undone can't be redone any more.
void pushHistory(const wchar_t* label);

// Go back or forward by one entry: list and selection become exactly what they were, the
// selection kept within the list, and seekTo puts the playhead back. Nothing happens without an
// entry or while a job runs. Neither touches `edited`: a video edited back to its whole length is
// told by hasEdits.
void undo();
void redo();

} // namespace velkantrix
