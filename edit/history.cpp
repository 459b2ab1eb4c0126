#include "edit/history.h"

#include <algorithm>
#include <utility>

#include "edit/edit_state.h"

namespace velkantrix {
namespace {

HistoryEntry takeTop(std::vector<HistoryEntry>& stack) {
    HistoryEntry top = std::move(stack.back());
    stack.pop_back();
    return top;
}

// The current state as an entry. Its clips are moved out: `restore` must follow.
HistoryEntry takeCurrent(const wchar_t* label) {
    EditState& state = editState();
    return {std::move(state.clips), state.selectedClip, state.playhead, label};
}

void restore(HistoryEntry&& entry) {
    EditState& state = editState();
    state.clips = std::move(entry.clips);
    const std::int32_t last = static_cast<std::int32_t>(state.clips.size()) - 1;
    state.selectedClip = std::min(std::max(entry.selectedClip, 0), last);
    seekTo(entry.playhead);
}

} // namespace

void pushHistory(const wchar_t* label) {
    EditState& state = editState();
    state.undoStack.push_back({state.clips, state.selectedClip, state.playhead, label});
    if (state.undoStack.size() > MAX_HISTORY) state.undoStack.erase(state.undoStack.begin());
    state.redoStack.clear();
    state.edited = true;
}

void undo() {
    EditState& state = editState();
    if (state.undoStack.empty() || state.exportBusy) return;
    endGesture();
    HistoryEntry entry = takeTop(state.undoStack);
    const wchar_t* const label = entry.label;
    state.redoStack.push_back(takeCurrent(label));
    restore(std::move(entry));
    state.statusText = std::wstring(L"Undid ") + label + L" — Ctrl+Y to redo";
    refreshUi();
}

// Appends to the undo stack directly: a step that was undone once fits into it again, and
// pushHistory would forget the steps still to be redone.
void redo() {
    EditState& state = editState();
    if (state.redoStack.empty() || state.exportBusy) return;
    endGesture();
    HistoryEntry entry = takeTop(state.redoStack);
    const wchar_t* const label = entry.label;
    state.undoStack.push_back(takeCurrent(label));
    restore(std::move(entry));
    state.statusText = std::wstring(L"Redid ") + label;
    refreshUi();
}

} // namespace velkantrix
