#include "platform/taskbar.h"

#include "platform/hresult.h"

namespace velkantrix {
namespace {

constexpr const char* ONLY_SHOWN = "the progress is told in the window too";

} // namespace

void TaskbarProgress::show(bool runs) {
    if (!list()) return;
    ignoreResult(list()->SetProgressState(window_, runs ? TBPF_NORMAL : TBPF_NOPROGRESS),
                 ONLY_SHOWN);
}

void TaskbarProgress::setValue(std::uint32_t done, std::uint32_t total) {
    if (list()) ignoreResult(list()->SetProgressValue(window_, done, total), ONLY_SHOWN);
}

ITaskbarList3* TaskbarProgress::list() {
    if (tried_) return list_.get();
    tried_ = true;
    const HRESULT made = CoCreateInstance(CLSID_TaskbarList, nullptr, CLSCTX_INPROC_SERVER,
                                          __uuidof(ITaskbarList3), list_.putVoid());
    if (SUCCEEDED(made) && FAILED(list_->HrInit())) list_.reset();
    return list_.get();
}

} // namespace velkantrix
