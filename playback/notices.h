// notices.h: what a playback controller posts to the main window.
#pragma once

#include <windows.h>

namespace velkantrix {

inline constexpr UINT WM_PLAYBACK_NOTIFY = WM_APP + 1; // wParam: one of the below; lParam: 0

inline constexpr WPARAM PLAYBACK_READY = 1; // the file can be played: its size and length are known
inline constexpr WPARAM PLAYBACK_FAILED = 2; // it can't be opened; once for each failed opening
inline constexpr WPARAM PLAYBACK_ENDED = 3;  // the engine reached the end
inline constexpr WPARAM PLAYBACK_DEVICE_LOST = 4; // nothing can be drawn any more: open it again

} // namespace velkantrix
