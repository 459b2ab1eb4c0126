// bare-encode INPUT [OUTPUT]: the peer of velkantrix-cut where it encodes: the same reader, writer
// and types, without any of its decisions and effects. Without OUTPUT it only reads. Nothing is
// checked beyond failure.
#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>
#include <mfreadwrite.h>

#include <array>

#include "base/com_ptr.h"
#include "export/encode_types.h"
#include "export/export_core.h"
#include "export/output_file.h"
#include "export/sample_reads.h"
#include "platform/com.h"
#include "platform/graphics_device.h"
#include "platform/hresult.h"
#include "platform/media_startup.h"
#include "platform/mf_util.h"

namespace velkantrix {
namespace {

constexpr DWORD MOST_STREAMS = 64;
constexpr QWORD MOST_WAITING = 64; // pictures; without a limit they would fill the memory

HRESULT openReader(const wchar_t* path, IMFDXGIDeviceManager* manager,
                   ComPtr<IMFSourceReader>& reader) {
    ComPtr<IMFAttributes> attributes;
    RETURN_IF_FAILED(MFCreateAttributes(attributes.put(), 3));
    RETURN_IF_FAILED(attributes->SetUINT32(MF_READWRITE_ENABLE_HARDWARE_TRANSFORMS, TRUE));
    RETURN_IF_FAILED(
        attributes->SetUINT32(MF_SOURCE_READER_ENABLE_ADVANCED_VIDEO_PROCESSING, TRUE));
    RETURN_IF_FAILED(attributes->SetUnknown(MF_SOURCE_READER_D3D_MANAGER, manager));
    return openSourceReader(path, reader, attributes.get());
}

struct Plan {
    PicturePlan pictures;
    ComPtr<IMFMediaType> nv12, pcm;
};

HRESULT chooseTypes(IMFSourceReader* reader, const SourceStreams& streams, Plan& plan) {
    RETURN_IF_FAILED(planPictures({}, streams.videoType, plan.pictures));
    RETURN_IF_FAILED(makeNv12Type(plan.pictures, plan.nv12));
    RETURN_IF_FAILED(makePcmType(plan.pcm));
    RETURN_IF_FAILED(reader->SetCurrentMediaType(*streams.video, nullptr, plan.nv12.get()));
    return reader->SetCurrentMediaType(*streams.audio, nullptr, plan.pcm.get());
}

// The stream of the output by the number of the source's.
using Outlets = std::array<DWORD, MOST_STREAMS>;

HRESULT makeStreams(const SourceStreams& streams, const Plan& plan, IMFSinkWriter* writer,
                    Outlets& outlets) {
    ComPtr<IMFMediaType> h264, aac;
    RETURN_IF_FAILED(makeH264Type(plan.pictures, h264));
    RETURN_IF_FAILED(makeAacType(aac));
    RETURN_IF_FAILED(addStream(writer, h264.get(), plan.nv12.get(), outlets[*streams.video]));
    RETURN_IF_FAILED(addStream(writer, aac.get(), plan.pcm.get(), outlets[*streams.audio]));
    return writer->BeginWriting();
}

HRESULT waitForEncoder(IMFSinkWriter* writer, DWORD outlet) {
    for (;;) {
        MF_SINK_WRITER_STATISTICS counts = {.cb = sizeof counts};
        RETURN_IF_FAILED(writer->GetStatistics(outlet, &counts));
        if (counts.qwNumSamplesReceived < counts.qwNumSamplesEncoded + MOST_WAITING) return S_OK;
        Sleep(2);
    }
}

// `writer` may be null.
HRESULT moveAll(IMFSourceReader* reader, const SourceStreams& streams, IMFSinkWriter* writer,
                const Outlets& outlets) {
    for (int left = 2; left > 0;) {
        DWORD stream = 0, flags = 0;
        LONGLONG time = 0;
        ComPtr<IMFSample> sample;
        RETURN_IF_FAILED(reader->ReadSample(ANY_STREAM, 0, &stream, &flags, &time, sample.put()));
        if (flags & MF_SOURCE_READERF_ENDOFSTREAM) left--;
        if (!sample || !writer) continue;
        RETURN_IF_FAILED(writer->WriteSample(outlets[stream], sample.get()));
        if (stream == *streams.video) RETURN_IF_FAILED(waitForEncoder(writer, outlets[stream]));
    }
    return S_OK;
}

HRESULT encode(const wchar_t* input, const wchar_t* outputPath) {
    GraphicsDevice device;
    ComPtr<IMFSourceReader> reader;
    SourceStreams streams;
    Plan plan;
    Outlets outlets{};
    RETURN_IF_FAILED(createGraphicsDevice(device));
    RETURN_IF_FAILED(openReader(input, device.manager.get(), reader));
    RETURN_IF_FAILED(discoverStreams(reader.get(), streams));
    if (!streams.video || !streams.audio) return E_INVALIDARG;
    RETURN_IF_FAILED(chooseTypes(reader.get(), streams, plan));
    if (!outputPath) return moveAll(reader.get(), streams, nullptr, outlets);
    OutputFile output(outputPath, input);
    RETURN_IF_FAILED(output.create(device.manager.get()));
    RETURN_IF_FAILED(makeStreams(streams, plan, output.writer(), outlets));
    RETURN_IF_FAILED(moveAll(reader.get(), streams, output.writer(), outlets));
    return output.keep();
}

HRESULT run(const wchar_t* input, const wchar_t* output) {
    const ComApartment apartment(COINIT_MULTITHREADED);
    RETURN_IF_FAILED(startMedia());
    const HRESULT hr = encode(input, output);
    stopMedia();
    return hr;
}

} // namespace
} // namespace velkantrix

int wmain(int count, wchar_t** words) {
    if (count < 2 || count > 3) return 2;
    return SUCCEEDED(velkantrix::run(words[1], count == 3 ? words[2] : nullptr)) ? 0 : 1;
}
