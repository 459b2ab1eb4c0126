// taskbar.h: progress on a window's taskbar button. UI thread, in a single-threaded apartment,
// which it must be destroyed before the end of. Where there is no taskbar nothing happens.
#pragma once

#include <windows.h>

#include <shobjidl.h>

#include <cstdint>

#include "base/com_ptr.h"

namespace velkantrix {

class TaskbarProgress {
public:
    explicit TaskbarProgress(HWND window) : window_(window) {}

    // Shows the progress, or takes it away.
    void show(bool runs);
    void setValue(std::uint32_t done, std::uint32_t total);

private:
    // Made at the first use: by then the window has its button.
    [[nodiscard]] ITaskbarList3* list();

    const HWND window_;
    bool tried_ = false;
    ComPtr<ITaskbarList3> list_;
};

} // namespace velkantrix
