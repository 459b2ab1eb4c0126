// export_job.h: jobs in the real world: Windows' side of JobHost. UI thread, but for what jobs
// call.
#pragma once

#include <windows.h>

namespace velkantrix {

// Posted to the window by a job that has ended: wParam is 1 for success, 0 for failure or cancel.
// The window calls finishExport.
inline constexpr UINT WM_EXPORT_FINISHED = WM_APP + 2;

// Fills jobHost(), for jobs of this window: all but the window's own timer, the exposure and the
// save in place.
void bindExportJob(HWND window);

// Before the apartment ends, and with the window: empties jobHost(). No job runs.
void unbindExportJob();

} // namespace velkantrix
