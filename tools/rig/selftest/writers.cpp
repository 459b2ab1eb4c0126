// writers.cpp: see writers.h.
#include "writers.h"

namespace {

Com<IMFMediaType> newType(REFGUID major, REFGUID subtype) {
    Com<IMFMediaType> type;
    MFCreateMediaType(type.put());
    type->SetGUID(MF_MT_MAJOR_TYPE, major);
    type->SetGUID(MF_MT_SUBTYPE, subtype);
    return type;
}

} // namespace

Com<IMFSinkWriter> createWriter(const std::wstring& path) {
    Com<IMFAttributes> attributes;
    Com<IMFSinkWriter> writer;
    MFCreateAttributes(attributes.put(), 2);
    attributes->SetGUID(MF_TRANSCODE_CONTAINERTYPE, MFTranscodeContainerType_MPEG4);
    attributes->SetUINT32(MF_SINK_WRITER_DISABLE_THROTTLING, 1);
    EXPECT_OK(MFCreateSinkWriterFromURL(path.c_str(), nullptr, attributes.get(), writer.put()));
    return writer;
}

void selectOnly(IMFSourceReader* reader, DWORD stream) {
    reader->SetStreamSelection(ALL_STREAMS, FALSE);
    reader->SetStreamSelection(stream, TRUE);
}

Com<IMFMediaType> pcmType() {
    auto type = newType(MFMediaType_Audio, MFAudioFormat_PCM);
    type->SetUINT32(MF_MT_AUDIO_NUM_CHANNELS, 2);
    type->SetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, 48000);
    type->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, 16);
    type->SetUINT32(MF_MT_AUDIO_BLOCK_ALIGNMENT, 4);
    type->SetUINT32(MF_MT_AUDIO_AVG_BYTES_PER_SECOND, 192000);
    return type;
}

Com<IMFMediaType> aacType(UINT32 bytesPerSecond) {
    auto type = newType(MFMediaType_Audio, MFAudioFormat_AAC);
    type->SetUINT32(MF_MT_AUDIO_NUM_CHANNELS, 2);
    type->SetUINT32(MF_MT_AUDIO_SAMPLES_PER_SECOND, 48000);
    type->SetUINT32(MF_MT_AUDIO_BITS_PER_SAMPLE, 16);
    type->SetUINT32(MF_MT_AUDIO_AVG_BYTES_PER_SECOND, bytesPerSecond);
    type->SetUINT32(MF_MT_AUDIO_BLOCK_ALIGNMENT, 1);
    type->SetUINT32(MF_MT_AAC_AUDIO_PROFILE_LEVEL_INDICATION, 0x29);
    return type;
}

Com<IMFMediaType> pictureType(REFGUID subtype, const Encoding& to) {
    auto type = newType(MFMediaType_Video, subtype);
    MFSetAttributeSize(type.get(), MF_MT_FRAME_SIZE, to.width, to.height);
    MFSetAttributeRatio(type.get(), MF_MT_FRAME_RATE, FRAMES_PER_SECOND, 1);
    MFSetAttributeRatio(type.get(), MF_MT_PIXEL_ASPECT_RATIO, 1, 1);
    type->SetUINT32(MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive);
    return type;
}

Com<IMFMediaType> h264Type(const Encoding& to) {
    auto type = pictureType(MFVideoFormat_H264, to);
    type->SetUINT32(MF_MT_AVG_BITRATE, 2'000'000);
    type->SetUINT32(MF_MT_MPEG2_PROFILE, 100);
    return type;
}
