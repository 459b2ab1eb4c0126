// rename.h: renaming a clip in a text field over its label. UI thread. The field itself belongs to
// the window and is reached through EditHost; here is what may happen to it and when.
//
//     closed --beginRename--> open --Enter, Tab, focus lost--> committed --> closed
//                                  --Esc, another video------> discarded --> closed
//
// The target is an index: whoever runs split, remove, undo or redo while the field is open commits
// it first.
#pragma once

#include <cstddef>
#include <cstdint>

namespace velkantrix {

inline constexpr int RENAME_FIELD_LIMIT = 64;         // characters that the field takes
inline constexpr std::size_t RENAME_READ_LIMIT = 256; // characters that are looked at

struct RenameState {
    bool open = false;
    bool committing = false;  // closing the field takes its focus, which commits once more
    std::int32_t target = -1; // the clip under rename

    bool operator==(const RenameState&) const = default;
};

RenameState& renameState();

// Opens the field over the selected clip's label with the clip's name, if any. Needs a loaded
// video, no running job, a window that isn't fullscreen, no open field, and room for the label.
void beginRename();

// Closes the field. When accepting, what was typed becomes the name if it differs; without anything
// but white space the clip gets its default label back. A job that began meanwhile keeps the old
// name.
void commitRename(bool accept);

enum class RenameKey { Enter, Escape, Tab, ShiftTab };

// A key in the field. The tabs also open the field on the next or previous clip, around the ends.
void renameKey(RenameKey key);

} // namespace velkantrix
