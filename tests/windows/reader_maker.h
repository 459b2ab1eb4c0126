// reader_maker.h: what opening a file for reading gives instead of a reader of the system's. For
// programs that are linked so that their calls of MFCreateSourceReaderFromURL get here.
#pragma once

#include <functional>

#include <mfidl.h>
#include <mfreadwrite.h>

#include "base/com_ptr.h"

namespace velkantrix {

using ReaderMaker = std::function<ComPtr<IMFSourceReader>()>;

// None: the system's own. Set while nothing else reads.
ReaderMaker& readerMaker();

} // namespace velkantrix
