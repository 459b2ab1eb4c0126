#include "playback/peak_reader.h"

#include <windows.h>

#include <mfapi.h>

#include <cstddef>
#include <span>

#include "base/com_ptr.h"
#include "platform/hresult.h"
#include "platform/mf_util.h"

namespace velkantrix {
namespace {

constexpr UINT32 SAMPLE_BITS = 16;

HRESULT askForSamples(IMFSourceReader* reader) {
    ComPtr<IMFMediaType> type;
    RETURN_IF_FAILED(MFCreateMediaType(type.put()));
    RETURN_IF_FAILED(type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Audio));
    RETURN_IF_FAILED(type->SetGUID(MF_MT_SUBTYPE, MFAudioFormat_PCM));
    RETURN_IF_FAILED(type->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, SAMPLE_BITS));
    return reader->SetCurrentMediaType(FIRST_AUDIO, nullptr, type.get());
}

HRESULT addSample(IMFSample* sample, PeakFiller& filler) {
    ComPtr<IMFMediaBuffer> buffer;
    RETURN_IF_FAILED(sample->ConvertToContiguousBuffer(buffer.put()));
    BYTE* bytes = nullptr;
    DWORD length = 0;
    RETURN_IF_FAILED(buffer->Lock(&bytes, nullptr, &length));
    filler.add(std::as_bytes(std::span(bytes, length)));
    ignoreResult(buffer->Unlock(), "it has been read");
    return S_OK;
}

} // namespace

HRESULT chooseSound(IMFSourceReader* reader) {
    RETURN_IF_FAILED(selectOnlyStream(reader, FIRST_AUDIO));
    return askForSamples(reader);
}

PcmFormat soundFormat(IMFSourceReader* reader) {
    ComPtr<IMFMediaType> type;
    GUID subtype = GUID_NULL;
    if (FAILED(reader->GetCurrentMediaType(FIRST_AUDIO, type.put())) ||
        FAILED(type->GetGUID(MF_MT_SUBTYPE, &subtype)) ||
        !IsEqualGUID(subtype, MFAudioFormat_PCM) ||
        MFGetAttributeUINT32(type.get(), MF_MT_AUDIO_BITS_PER_SAMPLE, SAMPLE_BITS) != SAMPLE_BITS)
        return {};
    return usableFormat(
        {.rate = MFGetAttributeUINT32(type.get(), MF_MT_AUDIO_SAMPLES_PER_SECOND, 0),
         .channels = MFGetAttributeUINT32(type.get(), MF_MT_AUDIO_NUM_CHANNELS, 0)});
}

PeakRead readSound(IMFSourceReader* reader, PeakFiller& filler) {
    DWORD flags = 0;
    LONGLONG time = 0;
    ComPtr<IMFSample> sample;
    if (FAILED(reader->ReadSample(FIRST_AUDIO, 0, nullptr, &flags, &time, sample.put())) ||
        (flags & MF_SOURCE_READERF_ERROR) != 0)
        return PeakRead::Failed;
    if ((flags & MF_SOURCE_READERF_ENDOFSTREAM) != 0) return PeakRead::Ended;
    if ((flags & MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED) != 0) {
        PcmFormat format = soundFormat(reader);
        if (format.rate == 0) {
            // What came with this read is no such sound; what is still to come can be.
            sample.reset();
            if (FAILED(askForSamples(reader))) return PeakRead::Failed;
            format = soundFormat(reader);
        }
        if (format.rate == 0) return PeakRead::Failed;
        filler.changeFormat(format);
    }
    if (!sample) return PeakRead::GoesOn;
    filler.continueAt(time);
    if (SUCCEEDED(addSample(sample.get(), filler))) return PeakRead::GoesOn;
    LONGLONG duration = 0;
    ignoreResult(sample->GetSampleDuration(&duration), "then the next one's time tells");
    return filler.passOver(duration) ? PeakRead::GoesOn : PeakRead::Failed;
}

} // namespace velkantrix
