#include "platform/dialogs.h"

#include <shobjidl.h>

#include "base/com_ptr.h"
#include "base/unique_handle.h"
#include "platform/hresult.h"

namespace velkantrix {
namespace {

constexpr const wchar_t* TITLE = L"Velkantrix";

// Text that COM allocated.
struct TaskTextTraits {
    using Value = wchar_t*;
    static Value none() { return nullptr; }
    static void close(Value text) { CoTaskMemFree(text); }
};
using UniqueTaskText = UniqueHandle<TaskTextTraits>;

// A folder that isn't there any more is no reason not to ask.
void startIn(IFileDialog* dialog, const std::wstring& folder) {
    ComPtr<IShellItem> item;
    if (folder.empty() || FAILED(SHCreateItemFromParsingName(folder.c_str(), nullptr,
                                                             __uuidof(IShellItem), item.putVoid())))
        return;
    ignoreResult(dialog->SetFolder(item.get()), "the dialog then begins somewhere else");
}

// Shows the dialog, with options beside its own.
HRESULT addOptions(IFileDialog* dialog, FILEOPENDIALOGOPTIONS more) {
    FILEOPENDIALOGOPTIONS options = 0;
    RETURN_IF_FAILED(dialog->GetOptions(&options));
    return dialog->SetOptions(options | more | FOS_FORCEFILESYSTEM | FOS_NOCHANGEDIR);
}

HRESULT choose(IFileDialog* dialog, HWND owner, std::wstring& path) {
    RETURN_IF_FAILED(dialog->Show(owner));
    ComPtr<IShellItem> item;
    RETURN_IF_FAILED(dialog->GetResult(item.put()));
    UniqueTaskText text;
    RETURN_IF_FAILED(item->GetDisplayName(SIGDN_FILESYSPATH, text.put()));
    path = text.get();
    return S_OK;
}

HRESULT createOpenDialog(ComPtr<IFileOpenDialog>& dialog) {
    return CoCreateInstance(CLSID_FileOpenDialog, nullptr, CLSCTX_INPROC_SERVER,
                            __uuidof(IFileOpenDialog), dialog.putVoid());
}

HRESULT chooseVideo(HWND owner, std::wstring& path) {
    constexpr COMDLG_FILTERSPEC FILTERS[] = {
        {L"Video files", L"*.mp4;*.mkv;*.mov;*.avi;*.webm;*.m4v;*.ts;*.mts"},
        {L"All files", L"*.*"},
    };
    ComPtr<IFileOpenDialog> dialog;
    RETURN_IF_FAILED(createOpenDialog(dialog));
    RETURN_IF_FAILED(addOptions(dialog.get(), FOS_FILEMUSTEXIST));
    RETURN_IF_FAILED(dialog->SetFileTypes(static_cast<UINT>(std::size(FILTERS)), FILTERS));
    return choose(dialog.get(), owner, path);
}

HRESULT chooseToWrite(HWND owner, const FileToWrite& start, std::wstring& path) {
    const std::wstring pattern = L"*" + start.extension;
    const COMDLG_FILTERSPEC type = {start.typeLabel.c_str(), pattern.c_str()};
    ComPtr<IFileSaveDialog> dialog;
    RETURN_IF_FAILED(CoCreateInstance(CLSID_FileSaveDialog, nullptr, CLSCTX_INPROC_SERVER,
                                      __uuidof(IFileSaveDialog), dialog.putVoid()));
    RETURN_IF_FAILED(addOptions(dialog.get(), FOS_OVERWRITEPROMPT));
    RETURN_IF_FAILED(dialog->SetFileTypes(1, &type));
    // The dialog wants it without its dot.
    RETURN_IF_FAILED(dialog->SetDefaultExtension(start.extension.c_str() + 1));
    RETURN_IF_FAILED(dialog->SetFileName(start.name.c_str()));
    startIn(dialog.get(), start.folder);
    return choose(dialog.get(), owner, path);
}

HRESULT choosePlace(HWND owner, const std::wstring& title, const std::wstring& startFolder,
                    std::wstring& path) {
    ComPtr<IFileOpenDialog> dialog;
    RETURN_IF_FAILED(createOpenDialog(dialog));
    RETURN_IF_FAILED(addOptions(dialog.get(), FOS_PICKFOLDERS)); // first: it may set a title too
    RETURN_IF_FAILED(dialog->SetTitle(title.c_str()));
    startIn(dialog.get(), startFolder);
    return choose(dialog.get(), owner, path);
}

UINT lookOf(Question kind) {
    switch (kind) {
    case Question::Doubt:
        return MB_ICONQUESTION | MB_DEFBUTTON2;
    case Question::Information:
        return MB_ICONINFORMATION;
    case Question::Warning:
        break;
    }
    return MB_ICONWARNING | MB_DEFBUTTON2;
}

} // namespace

std::wstring chooseVideoFile(HWND owner) {
    std::wstring path;
    return SUCCEEDED(chooseVideo(owner, path)) ? path : std::wstring();
}

std::wstring chooseFileToWrite(HWND owner, const FileToWrite& start) {
    std::wstring path;
    return SUCCEEDED(chooseToWrite(owner, start, path)) ? path : std::wstring();
}

std::wstring chooseFolder(HWND owner, const std::wstring& title, const std::wstring& startFolder) {
    std::wstring path;
    return SUCCEEDED(choosePlace(owner, title, startFolder, path)) ? path : std::wstring();
}

bool askYesNo(HWND owner, const std::wstring& text, Question kind) {
    return MessageBoxW(owner, text.c_str(), TITLE, MB_YESNO | lookOf(kind)) == IDYES;
}

void showErrorBox(HWND owner, const std::wstring& text) {
    MessageBoxW(owner, text.c_str(), TITLE, MB_OK | MB_ICONERROR);
}

void showWarningBox(HWND owner, const std::wstring& text) {
    MessageBoxW(owner, text.c_str(), TITLE, MB_OK | MB_ICONWARNING);
}

} // namespace velkantrix
