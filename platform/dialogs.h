// dialogs.h: the system's own dialogs and boxes. UI thread, in a single-threaded apartment. They
// run a message loop of their own: the window's procedure is called while they are open.
#pragma once

#include <windows.h>

#include <string>

namespace velkantrix {

// The path of the video that the user chose; empty when none was, or when the dialog can't be had.
[[nodiscard]] std::wstring chooseVideoFile(HWND owner);

// A question with No as the answer that comes by Enter or Escape.
[[nodiscard]] bool askYesNo(HWND owner, const std::wstring& text);

void showErrorBox(HWND owner, const std::wstring& text);
void showWarningBox(HWND owner, const std::wstring& text);

} // namespace velkantrix
