// dialogs.h: the system's own dialogs and boxes. UI thread, in a single-threaded apartment. They
// run a message loop of their own: the window's procedure is called while they are open.
#pragma once

#include <windows.h>

#include <string>

namespace velkantrix {

// The path of the video that the user chose; empty when none was, or when the dialog can't be had.
[[nodiscard]] std::wstring chooseVideoFile(HWND owner);

// How a dialog for a file to be written begins.
struct FileToWrite {
    std::wstring folder;    // empty: wherever the system likes to
    std::wstring name;      // "holiday-cut.mp4"
    std::wstring extension; // ".mp4": the only type, and added to a name without one
    std::wstring typeLabel;
};

// The path that the user chose for a file; the dialog has asked before a file is replaced. Empty as
// above.
[[nodiscard]] std::wstring chooseFileToWrite(HWND owner, const FileToWrite& start);

// The folder that the user chose; empty as above.
[[nodiscard]] std::wstring chooseFolder(HWND owner, const std::wstring& title,
                                        const std::wstring& startFolder);

// What a question looks like, and which answer comes by Enter.
enum class Question {
    Warning,     // No
    Doubt,       // a question mark; No
    Information, // Yes
};
[[nodiscard]] bool askYesNo(HWND owner, const std::wstring& text,
                            Question kind = Question::Warning);

void showErrorBox(HWND owner, const std::wstring& text);
void showWarningBox(HWND owner, const std::wstring& text);

} // namespace velkantrix
