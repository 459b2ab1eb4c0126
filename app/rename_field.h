// rename_field.h: the text field over a clip's label, in which the clip is named. UI thread.
#pragma once

#include <windows.h>

#include <cstdint>
#include <string>

namespace velkantrix {

// Whether the clip's label has a place on the timeline.
[[nodiscard]] bool labelHasRoom(std::int32_t clip);

// Over the clip's label, with this text, all of it selected, and the focus. False when it can't be
// made.
[[nodiscard]] bool openRenameField(std::int32_t clip, const std::wstring& text);

[[nodiscard]] std::wstring readRenameField();

// The main window gets the focus if the field had it.
void destroyRenameField();

// For WM_CTLCOLOREDIT: sets the field's colours, and gives the brush of its background.
[[nodiscard]] HBRUSH renameFieldBrush(HDC dc);

} // namespace velkantrix
