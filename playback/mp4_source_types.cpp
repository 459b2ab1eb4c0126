// mp4_source_types.cpp: how the program's own media source describes itself and its streams.
#include <mfapi.h>
#include <mferror.h>

#include <new>
#include <utility>

#include "mp4/avc.h"
#include "platform/hresult.h"
#include "playback/mp4_media_source.h"

namespace velkantrix {
namespace {

// Fixed, whatever the file holds: decoders of AAC go by the configuration, but want to see some.
constexpr UINT32 AAC_BITS_PER_SAMPLE = 16;
constexpr UINT32 AAC_BYTES_PER_SECOND = 16'000;
constexpr UINT32 AAC_BITRATE = 128'000;
constexpr UINT32 AAC_RAW = 0;
constexpr UINT32 AAC_UNKNOWN_PROFILE = 0;

HRESULT setBlob(IMFMediaType* type, const GUID& key, const std::vector<std::uint8_t>& bytes) {
    return type->SetBlob(key, bytes.data(), static_cast<UINT32>(bytes.size()));
}

HRESULT createType(const GUID& major, const GUID& subtype, ComPtr<IMFMediaType>& type) {
    RETURN_IF_FAILED(MFCreateMediaType(type.put()));
    RETURN_IF_FAILED(type->SetGUID(MF_MT_MAJOR_TYPE, major));
    return type->SetGUID(MF_MT_SUBTYPE, subtype);
}

HRESULT describeVideo(const SourceTrack& track, ComPtr<IMFMediaType>& type) {
    const VideoTrackIndex& index = track.reader().index();
    RETURN_IF_FAILED(createType(MFMediaType_Video, MFVideoFormat_H264, type));
    RETURN_IF_FAILED(MFSetAttributeSize(type.get(), MF_MT_FRAME_SIZE, index.width, index.height));
    RETURN_IF_FAILED(MFSetAttributeRatio(type.get(), MF_MT_PIXEL_ASPECT_RATIO, 1, 1));
    RETURN_IF_FAILED(
        type->SetUINT32(MF_MT_INTERLACE_MODE, MFVideoInterlace_MixedInterlaceOrProgressive));
    if (const std::uint32_t duration = track.middleDuration(); duration > 0) {
        RETURN_IF_FAILED(
            MFSetAttributeRatio(type.get(), MF_MT_FRAME_RATE, index.timescale, duration));
    }
    std::vector<std::uint8_t> header;
    std::uint32_t nalLengthSize = 0;
    if (!AvcConfigToAnnexB(index.avcConfig, header, nalLengthSize))
        return MF_E_UNSUPPORTED_BYTESTREAM_TYPE;
    return setBlob(type.get(), MF_MT_MPEG_SEQUENCE_HEADER, header);
}

HRESULT describeSound(const SourceTrack& track, ComPtr<IMFMediaType>& type) {
    const AudioTrackInfo& sound = track.sound();
    RETURN_IF_FAILED(createType(MFMediaType_Audio, MFAudioFormat_AAC, type));
    const struct {
        const GUID& key;
        UINT32 value;
    } numbers[] = {
        {MF_MT_AUDIO_SAMPLES_PER_SECOND, sound.sampleRate},
        {MF_MT_AUDIO_NUM_CHANNELS, sound.channels},
        {MF_MT_AUDIO_BITS_PER_SAMPLE, AAC_BITS_PER_SAMPLE},
        {MF_MT_AAC_PAYLOAD_TYPE, AAC_RAW},
        {MF_MT_AAC_AUDIO_PROFILE_LEVEL_INDICATION, AAC_UNKNOWN_PROFILE},
        {MF_MT_ALL_SAMPLES_INDEPENDENT, TRUE},
        {MF_MT_AUDIO_BLOCK_ALIGNMENT, 1},
        {MF_MT_AUDIO_AVG_BYTES_PER_SECOND, AAC_BYTES_PER_SECOND},
        {MF_MT_AVG_BITRATE, AAC_BITRATE},
        {MF_MT_AUDIO_PREFER_WAVEFORMATEX, TRUE},
        {MF_MT_FIXED_SIZE_SAMPLES, TRUE},
        {MF_MT_SAMPLE_SIZE, 1},
    };
    for (const auto& [key, value] : numbers) RETURN_IF_FAILED(type->SetUINT32(key, value));
    return setBlob(type.get(), MF_MT_USER_DATA, aacUserData(sound.audioConfig));
}

HRESULT createStream(SourceTrack track, const ComPtr<IMFMediaType>& type,
                     std::vector<ComPtr<Mp4MediaStream>>& streams) {
    const auto number = static_cast<DWORD>(streams.size());
    ComPtr<IMFStreamDescriptor> descriptor;
    ComPtr<IMFMediaTypeHandler> handler;
    ComPtr<IMFMediaEventQueue> events;
    IMFMediaType* types[] = {type.get()};
    RETURN_IF_FAILED(MFCreateStreamDescriptor(number + 1, 1, types, descriptor.put()));
    RETURN_IF_FAILED(descriptor->GetMediaTypeHandler(handler.put()));
    RETURN_IF_FAILED(handler->SetCurrentMediaType(type.get()));
    RETURN_IF_FAILED(MFCreateEventQueue(events.put()));
    streams.push_back(ComPtr<Mp4MediaStream>::adopt(
        new Mp4MediaStream(number, std::move(track), std::move(descriptor), std::move(events))));
    return S_OK;
}

HRESULT createPresentation(const std::vector<ComPtr<Mp4MediaStream>>& streams, Ticks duration,
                           ComPtr<IMFPresentationDescriptor>& presentation) {
    std::vector<IMFStreamDescriptor*> descriptors;
    descriptors.reserve(streams.size());
    for (const ComPtr<Mp4MediaStream>& stream : streams)
        descriptors.push_back(stream->descriptor());
    const auto count = static_cast<DWORD>(descriptors.size());
    RETURN_IF_FAILED(MFCreatePresentationDescriptor(count, descriptors.data(), presentation.put()));
    for (DWORD i = 0; i < count; ++i) RETURN_IF_FAILED(presentation->SelectStream(i));
    return presentation->SetUINT64(MF_PD_DURATION, static_cast<UINT64>(duration));
}

HRESULT create(const FilePath& path, SourceSound sound, ComPtr<IMFMediaSource>& source) {
    std::optional<SourceTracks> tracks = openServedTracks(path, sound);
    if (!tracks) return MF_E_UNSUPPORTED_BYTESTREAM_TYPE;
    const Ticks duration = tracks->video.duration();
    std::vector<ComPtr<Mp4MediaStream>> streams;
    ComPtr<IMFMediaType> type;
    RETURN_IF_FAILED(describeVideo(tracks->video, type));
    RETURN_IF_FAILED(createStream(std::move(tracks->video), type, streams));
    if (tracks->sound) {
        RETURN_IF_FAILED(describeSound(*tracks->sound, type));
        RETURN_IF_FAILED(createStream(std::move(*tracks->sound), type, streams));
    }
    ComPtr<IMFPresentationDescriptor> presentation;
    RETURN_IF_FAILED(createPresentation(streams, duration, presentation));
    ComPtr<IMFMediaEventQueue> events;
    RETURN_IF_FAILED(MFCreateEventQueue(events.put()));
    const auto created = ComPtr<Mp4MediaSource>::adopt(
        new Mp4MediaSource(streams, std::move(presentation), std::move(events)));
    for (const ComPtr<Mp4MediaStream>& stream : streams) stream->belongTo(created);
    source = ComPtr<IMFMediaSource>::share(created.get());
    return S_OK;
}

} // namespace

HRESULT createMp4MediaSource(const FilePath& path, SourceSound sound,
                             ComPtr<IMFMediaSource>& source) {
    try {
        return create(path, sound, source);
    } catch (const std::bad_alloc&) { return E_OUTOFMEMORY; }
}

} // namespace velkantrix
