#include "export/save_in_place_files.h"

#include <cstdint>
#include <optional>
#include <string>
#include <utility>

#include "export/save_in_place.h"
#include "platform/dialogs.h"
#include "platform/file_claim.h"
#include "platform/swap_files.h"
#include "platform/system_text.h"

namespace velkantrix {
namespace {

// Of the save that is being asked for, or runs: of one window, and so of one process.
FileClaim theClaim;

bool claim(const std::wstring& path) {
    FileClaim claimed = claimFile(path);
    if (!claimed) return false; // which may be by this window's own save
    theClaim = std::move(claimed);
    return true;
}

std::optional<StandingFile> lookAt(const std::wstring& path) {
    const std::optional<FoundFile> file = findFile(path);
    if (!file) return std::nullopt;
    return StandingFile{.stamp = file->stamp, .readOnly = file->readOnly};
}

void bindBoxes(SaveHost& host, HWND window) {
    host.confirmReplacing = [window](const std::wstring& text) {
        return askYesNo(window, text, Question::Warning);
    };
    host.confirmLoss = host.confirmReplacing;
    host.confirmNeedless = [window](const std::wstring& text) {
        return askYesNo(window, text, Question::Doubt);
    };
    host.confirmOptimising = [window](const std::wstring& text) {
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
    host.lookAt = lookAt;
    host.freeBytes = freeBytesFor;
    host.errorText = [](SystemError error) {
        return systemText(error);
    };
    host.claim = claim;
    host.release = [] {
        theClaim.reset();
    };
    host.askReplaceable = [](const std::wstring& original) -> SystemError {
        return askMayReplace(original);
    };
    host.clearTemporary = [](const std::wstring& temporary) -> SystemError {
        return clearLeftover(temporary);
    };
    host.wait = [](std::uint32_t milliseconds) {
        Sleep(milliseconds);
    };
    host.replaceFile = [](const std::wstring& original,
                          const std::wstring& temporary) -> SystemError {
        return replaceWholeFile(original, temporary);
    };
    host.moveOver = [](const std::wstring& temporary, const std::wstring& original) -> SystemError {
        return moveFileOver(temporary, original);
    };
    bindSaveInPlace();
}

void unbindSaveFiles() {
    saveHost() = {};
    theClaim.reset();
}

} // namespace velkantrix
