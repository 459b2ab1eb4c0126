#include "edit/rename.h"

#include <optional>
#include <string>
#include <utility>

#include "edit/clip_name.h"
#include "edit/edit_state.h"
#include "edit/history.h"

namespace velkantrix {
namespace {

RenameState theRenameState;

bool mayRename() {
    const EditState& state = editState();
    const EditHost& host = editHost();
    if (!state.videoLoaded || state.exportBusy) return false;
    if (host.isFullscreen && host.isFullscreen()) return false;
    if (renameState().open || renameState().committing) return false;
    if (!isClip(state.clips, state.selectedClip)) return false;
    return host.labelHasRoom && host.labelHasRoom(state.selectedClip) && host.openRenameField;
}

std::optional<std::wstring> typedName() {
    if (!editHost().readRenameField) return std::nullopt;
    return strippedName(editHost().readRenameField().substr(0, RENAME_READ_LIMIT));
}

void giveName(std::int32_t target, std::wstring name) {
    EditState& state = editState();
    if (state.exportBusy || !isClip(state.clips, target)) return;
    Segment& clip = state.clips[static_cast<std::size_t>(target)];
    if (clip.name == name) return;
    pushHistory(L"rename");
    state.statusText = name.empty() ? L"Clip name cleared" : L"Clip renamed — Ctrl+Z to undo";
    clip.name = std::move(name);
}

void selectNeighbour(std::int32_t step) {
    EditState& state = editState();
    const std::int32_t count = static_cast<std::int32_t>(state.clips.size());
    if (!isClip(state.clips, state.selectedClip)) state.selectedClip = step > 0 ? -1 : count;
    state.selectedClip = (state.selectedClip + step + count) % count;
    repaint();
}

} // namespace

RenameState& renameState() {
    return theRenameState;
}

void beginRename() {
    if (!mayRename()) return;
    EditState& state = editState();
    RenameState& rename = renameState();
    const std::int32_t target = state.selectedClip;
    // Open from here on: the new field's focus may bring other calls while it is being made.
    rename = {.open = true, .committing = false, .target = target};
    const std::wstring name = state.clips[static_cast<std::size_t>(target)].name;
    if (!editHost().openRenameField(target, name)) {
        rename = {};
        return;
    }
    if (!rename.open) return; // committed while it was being made: what that said stays
    state.statusText = L"Type a clip name — Enter saves, Tab next clip, Esc cancels";
    repaint();
}

void commitRename(bool accept) {
    RenameState& rename = renameState();
    if (!rename.open || rename.committing) return;
    rename.committing = true;
    std::optional<std::wstring> name = typedName();
    if (accept && name) giveName(rename.target, std::move(*name));
    if (editHost().destroyRenameField) editHost().destroyRenameField();
    rename.open = false;
    rename.target = -1;
    if (editHost().focusMainWindow) editHost().focusMainWindow();
    rename.committing = false;
    repaint();
}

void renameKey(RenameKey key) {
    if (!renameState().open || renameState().committing) return;
    commitRename(key != RenameKey::Escape);
    if (key != RenameKey::Tab && key != RenameKey::ShiftTab) return;
    if (editState().exportBusy || editState().clips.size() < 2) return;
    selectNeighbour(key == RenameKey::Tab ? 1 : -1);
    beginRename();
}

} // namespace velkantrix
