#include "export/output_file.h"

#include <mfapi.h>

#include "platform/files.h"
#include "platform/hresult.h"

namespace velkantrix {

HRESULT OutputFile::create(IMFDXGIDeviceManager* encodeOn) {
    ComPtr<IMFAttributes> attributes;
    RETURN_IF_FAILED(MFCreateAttributes(attributes.put(), 4));
    // Unthrottled: the writer would otherwise hold an export back to what a player could keep up
    // with.
    RETURN_IF_FAILED(attributes->SetUINT32(MF_SINK_WRITER_DISABLE_THROTTLING, TRUE));
    RETURN_IF_FAILED(
        attributes->SetGUID(MF_TRANSCODE_CONTAINERTYPE, MFTranscodeContainerType_MPEG4));
    if (encodeOn) {
        RETURN_IF_FAILED(attributes->SetUINT32(MF_READWRITE_ENABLE_HARDWARE_TRANSFORMS, TRUE));
        RETURN_IF_FAILED(attributes->SetUnknown(MF_SINK_WRITER_D3D_MANAGER, encodeOn));
    }
    RETURN_IF_FAILED(MFCreateSinkWriterFromURL(nameForSystem(path_).c_str(), nullptr,
                                               attributes.get(), writer_.put()));
    created_ = true;
    return S_OK;
}

void OutputFile::close() {
    writer_.reset();
    while (!feeders_.empty()) feeders_.pop_back();
}

HRESULT OutputFile::keep() {
    RETURN_IF_FAILED(writer_->Finalize());
    close();
    created_ = false;
    return S_OK;
}

void OutputFile::discard() {
    close(); // a file that is open can't be deleted
    if (!created_) return;
    created_ = false;
    ignoreResult(deleteFileUnlessSame(path_, source_),
                 "the export has failed already, and that is what the user is told");
}

} // namespace velkantrix
