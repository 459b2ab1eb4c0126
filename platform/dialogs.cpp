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

HRESULT chooseFile(HWND owner, std::wstring& path) {
    constexpr COMDLG_FILTERSPEC FILTERS[] = {
        {L"Video files", L"*.mp4;*.mkv;*.mov;*.avi;*.webm;*.m4v;*.ts;*.mts"},
        {L"All files", L"*.*"},
    };
    ComPtr<IFileOpenDialog> dialog;
    RETURN_IF_FAILED(CoCreateInstance(CLSID_FileOpenDialog, nullptr, CLSCTX_INPROC_SERVER,
                                      IID_IFileOpenDialog, dialog.putVoid()));
    RETURN_IF_FAILED(dialog->SetFileTypes(static_cast<UINT>(std::size(FILTERS)), FILTERS));
    FILEOPENDIALOGOPTIONS options = 0;
    RETURN_IF_FAILED(dialog->GetOptions(&options));
    RETURN_IF_FAILED(dialog->SetOptions(options | FOS_FILEMUSTEXIST | FOS_FORCEFILESYSTEM));
    RETURN_IF_FAILED(dialog->Show(owner));
    ComPtr<IShellItem> item;
    RETURN_IF_FAILED(dialog->GetResult(item.put()));
    UniqueTaskText text;
    RETURN_IF_FAILED(item->GetDisplayName(SIGDN_FILESYSPATH, text.put()));
    path = text.get();
    return S_OK;
}

} // namespace

std::wstring chooseVideoFile(HWND owner) {
    std::wstring path;
    return SUCCEEDED(chooseFile(owner, path)) ? path : std::wstring();
}

bool askYesNo(HWND owner, const std::wstring& text) {
    return MessageBoxW(owner, text.c_str(), TITLE, MB_YESNO | MB_ICONWARNING | MB_DEFBUTTON2) ==
           IDYES;
}

void showErrorBox(HWND owner, const std::wstring& text) {
    MessageBoxW(owner, text.c_str(), TITLE, MB_OK | MB_ICONERROR);
}

void showWarningBox(HWND owner, const std::wstring& text) {
    MessageBoxW(owner, text.c_str(), TITLE, MB_OK | MB_ICONWARNING);
}

} // namespace velkantrix
