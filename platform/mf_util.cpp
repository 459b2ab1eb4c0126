#include "platform/mf_util.h"

#include <algorithm>

#include <cguid.h>
#include <mfapi.h>
#include <mferror.h>

#include "platform/hresult.h"

namespace velkantrix {

HRESULT openSourceReader(const wchar_t* path, ComPtr<IMFSourceReader>& reader,
                         IMFAttributes* attributes) {
    return MFCreateSourceReaderFromURL(path, attributes, reader.put());
}

HRESULT selectOnlyStream(IMFSourceReader* reader, DWORD stream) {
    RETURN_IF_FAILED(reader->SetStreamSelection(ALL_STREAMS, FALSE));
    return reader->SetStreamSelection(stream, TRUE);
}

HRESULT seekReader(IMFSourceReader* reader, Ticks time) {
    PROPVARIANT position;
    PropVariantInit(&position);
    position.vt = VT_I8;
    position.hVal.QuadPart = std::max<Ticks>(0, time);
    return reader->SetCurrentPosition(GUID_NULL, position); // a plain number: nothing to clear
}

TrackCount countStreams(IMFSourceReader* reader) {
    constexpr DWORD MOST_STREAMS = 64;
    TrackCount count;
    for (DWORD i = 0; i < MOST_STREAMS; i++) {
        ComPtr<IMFMediaType> type;
        GUID major{};
        const HRESULT hr = reader->GetNativeMediaType(i, 0, type.put());
        if (hr == MF_E_INVALIDSTREAMNUMBER) break;
        count.all++;
        if (FAILED(hr) || FAILED(type->GetMajorType(&major))) continue;
        if (major == MFMediaType_Video) count.video++;
        if (major == MFMediaType_Audio) count.sound++;
    }
    return count;
}

std::optional<Ticks> sourceDuration(IMFSourceReader* reader) {
    PROPVARIANT value;
    PropVariantInit(&value);
    const HRESULT hr = reader->GetPresentationAttribute(
        static_cast<DWORD>(MF_SOURCE_READER_MEDIASOURCE), MF_PD_DURATION, &value);
    std::optional<Ticks> duration;
    if (SUCCEEDED(hr) && value.vt == VT_UI8) duration = static_cast<Ticks>(value.uhVal.QuadPart);
    ignoreResult(PropVariantClear(&value), "it was read or is empty");
    return duration;
}

std::optional<Ticks> decodeTimeOf(IMFSample* sample) {
    UINT64 time = 0;
    if (FAILED(sample->GetUINT64(MFSampleExtension_DecodeTimestamp, &time))) return std::nullopt;
    return static_cast<Ticks>(time); // the attribute is unsigned, its value isn't
}

HRESULT setDecodeTime(IMFSample* sample, Ticks time) {
    return sample->SetUINT64(MFSampleExtension_DecodeTimestamp, static_cast<UINT64>(time));
}

bool isKeyframe(IMFSample* sample) {
    return MFGetAttributeUINT32(sample, MFSampleExtension_CleanPoint, FALSE) != FALSE;
}

Ticks durationOf(IMFSample* sample) {
    LONGLONG duration = 0;
    return SUCCEEDED(sample->GetSampleDuration(&duration)) ? duration : 0;
}

} // namespace velkantrix
