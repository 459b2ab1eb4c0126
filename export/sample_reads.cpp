#include "export/sample_reads.h"

#include "platform/hresult.h"

namespace velkantrix {

HRESULT readNext(IMFSourceReader* reader, DWORD stream, Read& next) {
    DWORD flags = 0;
    RETURN_IF_FAILED(
        reader->ReadSample(stream, 0, &next.stream, &flags, &next.time, next.sample.put()));
    if (flags & MF_SOURCE_READERF_ERROR) return E_FAIL;
    next.atEnd = (flags & MF_SOURCE_READERF_ENDOFSTREAM) != 0;
    next.otherType = (flags & MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED) != 0;
    return S_OK;
}

HRESULT addStream(IMFSinkWriter* writer, IMFMediaType* output, IMFMediaType* input, DWORD& index) {
    RETURN_IF_FAILED(writer->AddStream(output, &index));
    return writer->SetInputMediaType(index, input, nullptr);
}

} // namespace velkantrix
