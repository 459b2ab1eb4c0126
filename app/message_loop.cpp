#include "app/message_loop.h"

#include <array>
#include <tuple>
#include <type_traits>

#include "app/command_table.h"
#include "app/timeline_mouse.h"
#include "app/ui_state.h"

namespace velkantrix {
namespace {

bool renameFieldHasFocus() {
    return ui().renameField && GetFocus() == ui().renameField;
}

// Keys aren't commands while the mouse is captured.
bool endsMouseGesture(const MSG& message) {
    return message.message == WM_KEYDOWN && message.wParam == VK_ESCAPE &&
           (isDragging() || isScrubbing());
}

} // namespace

HACCEL createAccelerators() {
    std::array<ACCEL, std::tuple_size_v<std::decay_t<decltype(acceleratorKeys())>>> entries{};
    for (std::size_t i = 0; i < entries.size(); ++i) {
        const AcceleratorKey& key = acceleratorKeys()[i];
        entries[i] = {key.modifiers, key.key, key.command};
    }
    return CreateAcceleratorTableW(entries.data(), static_cast<int>(entries.size()));
}

void handleMessage(HWND window, HACCEL accelerators, MSG& message) {
    if (endsMouseGesture(message)) return endTimelineGesture();
    // Bare keys are typed into the field, instead of cutting the video.
    if (!renameFieldHasFocus()) {
        if (TranslateAcceleratorW(window, accelerators, &message)) return;
        if (IsDialogMessageW(window, &message)) return;
    }
    TranslateMessage(&message);
    DispatchMessageW(&message);
}

} // namespace velkantrix
