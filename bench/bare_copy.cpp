// bare-copy INPUT OUTPUT: the peer that velkantrix-cut is measured beside: the same two passes over
// the same reader and writer, without any of its decisions. Nothing is checked beyond failure.
#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>
#include <mfreadwrite.h>

#include "base/com_ptr.h"
#include "platform/com.h"
#include "platform/hresult.h"
#include "platform/media_startup.h"
#include "platform/mf_util.h"

namespace velkantrix {
namespace {

HRESULT createWriter(const wchar_t* path, ComPtr<IMFSinkWriter>& writer) {
    ComPtr<IMFAttributes> attributes;
    RETURN_IF_FAILED(MFCreateAttributes(attributes.put(), 2));
    RETURN_IF_FAILED(attributes->SetUINT32(MF_SINK_WRITER_DISABLE_THROTTLING, TRUE));
    RETURN_IF_FAILED(
        attributes->SetGUID(MF_TRANSCODE_CONTAINERTYPE, MFTranscodeContainerType_MPEG4));
    return MFCreateSinkWriterFromURL(path, nullptr, attributes.get(), writer.put());
}

HRESULT addStream(IMFSourceReader* reader, IMFSinkWriter* writer, DWORD from, DWORD& to) {
    ComPtr<IMFMediaType> type;
    RETURN_IF_FAILED(reader->GetNativeMediaType(from, 0, type.put()));
    RETURN_IF_FAILED(writer->AddStream(type.get(), &to));
    return writer->SetInputMediaType(to, type.get(), nullptr);
}

HRESULT copyStream(IMFSourceReader* reader, IMFSinkWriter* writer, DWORD from, DWORD to) {
    RETURN_IF_FAILED(selectOnlyStream(reader, from));
    RETURN_IF_FAILED(seekReader(reader, 0));
    for (DWORD flags = 0; !(flags & MF_SOURCE_READERF_ENDOFSTREAM);) {
        ComPtr<IMFSample> sample;
        LONGLONG time = 0;
        RETURN_IF_FAILED(reader->ReadSample(from, 0, nullptr, &flags, &time, sample.put()));
        if (sample) RETURN_IF_FAILED(writer->WriteSample(to, sample.get()));
    }
    return S_OK;
}

HRESULT copy(const wchar_t* input, const wchar_t* output) {
    constexpr DWORD VIDEO = static_cast<DWORD>(MF_SOURCE_READER_FIRST_VIDEO_STREAM);
    constexpr DWORD AUDIO = static_cast<DWORD>(MF_SOURCE_READER_FIRST_AUDIO_STREAM);
    ComPtr<IMFSourceReader> reader;
    ComPtr<IMFSinkWriter> writer;
    DWORD video = 0, audio = 0;
    RETURN_IF_FAILED(openSourceReader(input, reader));
    RETURN_IF_FAILED(createWriter(output, writer));
    RETURN_IF_FAILED(addStream(reader.get(), writer.get(), VIDEO, video));
    RETURN_IF_FAILED(addStream(reader.get(), writer.get(), AUDIO, audio));
    RETURN_IF_FAILED(writer->BeginWriting());
    RETURN_IF_FAILED(copyStream(reader.get(), writer.get(), VIDEO, video));
    RETURN_IF_FAILED(copyStream(reader.get(), writer.get(), AUDIO, audio));
    return writer->Finalize();
}

HRESULT run(const wchar_t* input, const wchar_t* output) {
    const ComApartment apartment(COINIT_MULTITHREADED);
    RETURN_IF_FAILED(startMedia());
    const HRESULT hr = copy(input, output);
    stopMedia();
    return hr;
}

} // namespace
} // namespace velkantrix

int wmain(int count, wchar_t** words) {
    return count == 3 && SUCCEEDED(velkantrix::run(words[1], words[2])) ? 0 : 1;
}
