// reader_maker.h: what opening a file for reading gives instead of a reader of the system's. For
// programs that are linked so that their calls of MFCreateSourceReaderFromURL get here.
#pragma once

#include <functional>
#include <string>

#include <mfidl.h>
#include <mfreadwrite.h>

#include "base/com_ptr.h"

namespace velkantrix {

// How a reader was asked for.
struct ReaderRequest {
    std::wstring url;
    ComPtr<IMFAttributes> attributes{}; // a copy; none: without
};

using ReaderMaker = std::function<ComPtr<IMFSourceReader>(const ReaderRequest&)>;

// None: the system's own. Set while nothing else reads.
ReaderMaker& readerMaker();

} // namespace velkantrix
