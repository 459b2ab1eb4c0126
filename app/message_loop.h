// message_loop.h: what becomes of each message before a window gets it. UI thread.
#pragma once

#include <windows.h>

namespace velkantrix {

// All keys that are commands. To be destroyed by the caller.
[[nodiscard]] HACCEL createAccelerators();

// A key that is a command becomes one, another may move the focus, and what is left is dispatched.
// While a clip's name is typed all keys are the field's.
void handleMessage(HWND window, HACCEL accelerators, MSG& message);

} // namespace velkantrix
