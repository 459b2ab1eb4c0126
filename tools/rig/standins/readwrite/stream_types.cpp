// stream_types.cpp: see stream_types.h.
#include "stream_types.h"
#include "annexb.h"
#include <cstdlib>
#include <mfapi.h>
#include <mferror.h>

namespace rig {
namespace {

std::vector<uint8_t> blobOf(IMFMediaType* type, REFGUID key) {
    UINT8* data = nullptr;
    UINT32 size = 0;
    std::vector<uint8_t> blob;
    if (SUCCEEDED(type->GetAllocatedBlob(key, &data, &size))) blob.assign(data, data + size);
    CoTaskMemFree(data);
    return blob;
}

UINT32 number(IMFMediaType* type, REFGUID key) {
    return MFGetAttributeUINT32(type, key, 0);
}

Colours coloursOf(IMFMediaType* type) {
    return {.primaries = toStandard(PRIMARIES, number(type, MF_MT_VIDEO_PRIMARIES)),
            .transfer = toStandard(TRANSFERS, number(type, MF_MT_TRANSFER_FUNCTION)),
            .matrix = toStandard(MATRICES, number(type, MF_MT_YUV_MATRIX)),
            .range = toStandard(RANGES, number(type, MF_MT_VIDEO_NOMINAL_RANGE))};
}

} // namespace

double numberAskedFor(const char* name) {
    char value[16] = "";
    return GetEnvironmentVariableA(name, value, sizeof value) ? atof(value) : 0;
}

void takeParameterSets(Mp4Track& track, const uint8_t* data, size_t size) {
    forEachNalUnit(data, size, [&](const uint8_t* unit, size_t length) {
        auto& set = nalType(unit) == NAL_SPS ? track.sps : track.pps;
        bool wanted = nalType(unit) == NAL_SPS || nalType(unit) == NAL_PPS;
        if (wanted && set.empty()) set.assign(unit, unit + length);
    });
}

HRESULT describeVideo(IMFMediaType* type, FrameRate& rate, Mp4Track& track) {
    track.video = true;
    HRESULT hr = MFGetAttributeSize(type, MF_MT_FRAME_SIZE, &track.width, &track.height);
    if (FAILED(hr) || !track.width || !track.height) return MF_E_INVALIDMEDIATYPE;
    MFGetAttributeRatio(type, MF_MT_FRAME_RATE, &rate.numerator, &rate.denominator);
    track.bitrate = number(type, MF_MT_AVG_BITRATE);
    track.rotation = number(type, MF_MT_VIDEO_ROTATION);
    track.colours = coloursOf(type);
    // Windows keeps the parameter sets in the first attribute, Wine's MP4 source in the second.
    auto header = blobOf(type, MF_MT_MPEG_SEQUENCE_HEADER);
    if (header.empty()) header = blobOf(type, MF_MT_USER_DATA);
    takeParameterSets(track, header.data(), header.size());
    return S_OK;
}

HRESULT describeAudio(IMFMediaType* type, Mp4Track& track) {
    constexpr size_t WAVE_INFO = 12; // the fields of HEAACWAVEINFO before the AudioSpecificConfig
    track.channels = number(type, MF_MT_AUDIO_NUM_CHANNELS);
    track.sampleRate = track.timescale = number(type, MF_MT_AUDIO_SAMPLES_PER_SECOND);
    track.bitrate = number(type, MF_MT_AUDIO_AVG_BYTES_PER_SECOND) * 8;
    if (!track.channels || !track.sampleRate) return MF_E_INVALIDMEDIATYPE;
    auto data = blobOf(type, MF_MT_USER_DATA);
    if (data.size() > WAVE_INFO) track.audioConfig.assign(data.begin() + WAVE_INFO, data.end());
    return S_OK;
}

// The H.264 encoder of Windows requires the frame rate and bit rate of its output type and the
// interlace mode of its input type.
HRESULT checkVideoInput(IMFMediaType* type, REFGUID subtype, const FrameRate& rate,
                        const Mp4Track& track) {
    UINT32 width = 0, height = 0, interlace = 0;
    if (subtype != MFVideoFormat_NV12) return MF_E_TOPO_CODEC_NOT_FOUND;
    MFGetAttributeSize(type, MF_MT_FRAME_SIZE, &width, &height);
    bool sameSize =
        width == track.width && height == track.height && width % 2 == 0 && height % 2 == 0;
    bool complete = rate.numerator && rate.denominator && track.bitrate;
    if (!sameSize || !complete || FAILED(type->GetUINT32(MF_MT_INTERLACE_MODE, &interlace)))
        return MF_E_INVALIDMEDIATYPE;
    return S_OK;
}

// The AAC encoder of Windows takes these rates and no others.
HRESULT checkAudioInput(IMFMediaType* type, REFGUID subtype, const Mp4Track& track) {
    UINT32 bytes = track.bitrate / 8;
    bool bitrateKnown = bytes == 12000 || bytes == 16000 || bytes == 20000 || bytes == 24000;
    bool rateKnown = track.sampleRate == 44100 || track.sampleRate == 48000;
    bool same = number(type, MF_MT_AUDIO_NUM_CHANNELS) == track.channels &&
                number(type, MF_MT_AUDIO_SAMPLES_PER_SECOND) == track.sampleRate;
    bool pcm = subtype == MFAudioFormat_PCM && number(type, MF_MT_AUDIO_BITS_PER_SAMPLE) == 16;
    return pcm && same && rateKnown && bitrateKnown && track.channels <= 2 ? S_OK
                                                                           : MF_E_INVALIDMEDIATYPE;
}

HRESULT openEncoder(const FrameRate& rate, Mp4Track& track, EncoderHandle& encoder) {
    RigEncoderOpen open = {};
    open.codec = track.video ? RIG_H264 : RIG_AAC;
    open.width = track.width;
    open.height = track.height;
    open.fpsNumerator = rate.numerator;
    open.fpsDenominator = rate.denominator;
    open.channels = track.channels;
    open.sampleRate = track.sampleRate;
    open.bitrate = track.bitrate;
    open.lossless = numberAskedFor("RIG_WRITER_LOSSLESS") != 0;
    open.countsSound = numberAskedFor("RIG_WRITER_COUNTS") != 0;
    open.primaries = track.colours.primaries;
    open.transfer = track.colours.transfer;
    open.matrix = track.colours.matrix;
    open.range = track.colours.range;
    if (codecCall(RIG_ENCODER_OPEN, &open)) return MF_E_TOPO_CODEC_NOT_FOUND;
    encoder.reset(open.handle);
    if (track.video)
        takeParameterSets(track, open.extra, open.extraSize);
    else
        track.audioConfig.assign(open.extra, open.extra + open.extraSize);
    return S_OK;
}

} // namespace rig
