// sample_reads.h: what every way of exporting does with its reader and its writer.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include "base/com_ptr.h"
#include "base/ticks.h"

namespace velkantrix {

// A span with more samples than may be read would come out cut short; then it mustn't come out.
inline constexpr HRESULT TOO_MANY_READS = HRESULT_FROM_WIN32(ERROR_FILE_TOO_LARGE);

struct Read {
    DWORD stream = 0;         // of which the sample, or the flags, are
    ComPtr<IMFSample> sample; // may be empty: a gap or a change of type is announced without one
    Ticks time = 0;
    bool atEnd = false;     // the stream has no more
    bool otherType = false; // from here on its samples are of another type
};

// Reads from one stream, or from whichever comes next (ANY_STREAM).
[[nodiscard]] HRESULT readNext(IMFSourceReader* reader, DWORD stream, Read& next);

// Adds a stream that gets samples of type `input` and writes `output`.
[[nodiscard]] HRESULT addStream(IMFSinkWriter* writer, IMFMediaType* output, IMFMediaType* input,
                                DWORD& index);

} // namespace velkantrix
