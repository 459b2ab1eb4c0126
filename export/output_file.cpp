#include "export/output_file.h"

#include <mfapi.h>

#include "platform/files.h"
#include "platform/hresult.h"

namespace velkantrix {

HRESULT OutputFile::create() {
    ComPtr<IMFAttributes> attributes;
    RETURN_IF_FAILED(MFCreateAttributes(attributes.put(), 2));
    // Unthrottled: the writer would otherwise hold an export back to what a player could keep up
    // with.
    RETURN_IF_FAILED(attributes->SetUINT32(MF_SINK_WRITER_DISABLE_THROTTLING, TRUE));
    RETURN_IF_FAILED(
        attributes->SetGUID(MF_TRANSCODE_CONTAINERTYPE, MFTranscodeContainerType_MPEG4));
    RETURN_IF_FAILED(
        MFCreateSinkWriterFromURL(path_.c_str(), nullptr, attributes.get(), writer_.put()));
    created_ = true;
    return S_OK;
}

HRESULT OutputFile::addCopiedStream(IMFMediaType* type, DWORD& index) {
    RETURN_IF_FAILED(writer_->AddStream(type, &index));
    return writer_->SetInputMediaType(index, type,
                                      nullptr); // input as output: samples pass through
}

void OutputFile::discard(const std::wstring& source) const {
    if (!created_) return;
    ignoreResult(deleteFileUnlessSame(path_, source),
                 "the export has failed already, and that is what the user is told");
}

} // namespace velkantrix
