// drawing_gdi.h: carries a drawing out with GDI. UI thread.
#pragma once

#include <windows.h>

#include "app/drawing.h"

namespace velkantrix {

// In the window's fonts, over what is there.
void carryOut(HDC dc, const Drawing& drawing);

} // namespace velkantrix
