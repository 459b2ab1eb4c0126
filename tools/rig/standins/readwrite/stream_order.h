// stream_order.h: a source reader that numbers a file's sound tracks as the file does. Wine 10
// numbers them backwards.
#pragma once
#include "../common/com.h"
#include <mfidl.h>
#include <mfreadwrite.h>
#include <windows.h>

namespace rig {

// The reader itself where there is nothing to reorder. Takes over the reference.
Com<IMFSourceReader> soundInFileOrder(Com<IMFSourceReader> reader);

} // namespace rig
