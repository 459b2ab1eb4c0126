#include "export/save_in_place_files.h"

#include <string>
#include <utility>

#include "export/save_in_place.h"
#include "platform/dialogs.h"
#include "platform/file_claim.h"
#include "platform/file_mark.h"
#include "platform/swap_files.h"
#include "platform/system_text.h"

namespace velkantrix {
namespace {

// Of the save that is being asked for, or runs: of one window, and so of one process.
FileClaim theClaim;

Claim claim(const std::wstring& path) {
    FileClaim claimed;
    const DWORD error = claimFile(path, claimed);
    if (error == ERROR_ALREADY_EXISTS) return {.outcome = Claim::Outcome::Taken};
    if (error != ERROR_SUCCESS) return {.outcome = Claim::Outcome::Failed, .error = error};
    theClaim = std::move(claimed);
    return {.outcome = Claim::Outcome::Held};
}

void bindBoxes(SaveHost& host, HWND window) {
    host.confirmWarning = [window](const std::wstring& text) {
        return askYesNo(window, text, Question::Warning);
    };
    host.confirmDoubt = [window](const std::wstring& text) {
        return askYesNo(window, text, Question::Doubt);
    };
    host.confirmInformation = [window](const std::wstring& text) {
        return askYesNo(window, text, Question::Information);
    };
    host.showWarning = [window](const std::wstring& text) {
        showWarningBox(window, text);
    };
}

} // namespace

void bindSaveFiles(HWND window) {
    SaveHost& host = saveHost();
    bindBoxes(host, window);
    host.pathBehindLink = pathBehindLink;
    host.lookAt = lookAtFile;
    host.freeBytes = freeBytesFor;
    host.errorText = systemText;
    host.claim = claim;
    host.release = [] {
        theClaim.reset();
    };
    host.askMayReplace = askMayReplace;
    host.clearTemporary = clearLeftover;
    host.wait = Sleep;
    host.markOf = markOf;
    host.replaceOriginal = replaceWholeFile;
    host.moveOver = moveFileOver;
    host.moveToFreeName = moveFileToFreeName;
    bindSaveInPlace();
}

void unbindSaveFiles() {
    saveHost() = {};
    theClaim.reset();
}

} // namespace velkantrix
