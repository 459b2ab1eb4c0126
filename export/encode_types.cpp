#include "export/encode_types.h"

#include <mfapi.h>
#include <mferror.h>

#include <initializer_list>
#include <utility>

#include "platform/hresult.h"

namespace velkantrix {
namespace {

constexpr UINT32 SOUND_CHANNELS = 2;
constexpr UINT32 SOUND_BITS = 16;
constexpr UINT32 SOUND_BYTES_PER_SECOND = 20'000; // encoded: 160 kbit/s
constexpr UINT32 AAC_PROFILE_LEVEL = 0x29;        // AAC LC, level 2
constexpr UINT32 H264_HIGH_PROFILE = 100;

struct Number {
    const GUID& key;
    UINT32 value;
};

HRESULT setNumbers(IMFMediaType* type, std::initializer_list<Number> numbers) {
    for (const auto& [key, value] : numbers) RETURN_IF_FAILED(type->SetUINT32(key, value));
    return S_OK;
}

HRESULT makeType(const GUID& major, const GUID& subtype, ComPtr<IMFMediaType>& type) {
    RETURN_IF_FAILED(MFCreateMediaType(type.put()));
    RETURN_IF_FAILED(type->SetGUID(MF_MT_MAJOR_TYPE, major));
    return type->SetGUID(MF_MT_SUBTYPE, subtype);
}

UINT32 numberOf(IMFMediaType* type, const GUID& key) {
    return MFGetAttributeUINT32(type, key, 0);
}

FrameSize sizeOf(IMFMediaType* type) {
    FrameSize size;
    if (FAILED(MFGetAttributeSize(type, MF_MT_FRAME_SIZE, &size.width, &size.height))) return {};
    return size;
}

Ratio ratioOf(IMFMediaType* type, const GUID& key) {
    Ratio ratio;
    if (FAILED(MFGetAttributeRatio(type, key, &ratio.numerator, &ratio.denominator))) return {};
    return ratio;
}

// What the source doesn't state isn't stated of the output either: players then assume the same of
// both.
HRESULT handOn(IMFMediaType* native, IMFMediaType* type) {
    for (const GUID& key :
         {MF_MT_VIDEO_ROTATION, MF_MT_YUV_MATRIX, MF_MT_VIDEO_PRIMARIES, MF_MT_TRANSFER_FUNCTION}) {
        const UINT32 value = numberOf(native, key);
        if (value != 0) RETURN_IF_FAILED(type->SetUINT32(key, value));
    }
    return S_OK;
}

HRESULT stateVideoRange(IMFMediaType* type) {
    return type->SetUINT32(MF_MT_VIDEO_NOMINAL_RANGE, MFNominalRange_16_235);
}

HRESULT makePictureType(const PicturePlan& plan, const GUID& subtype, ComPtr<IMFMediaType>& type) {
    RETURN_IF_FAILED(makeType(MFMediaType_Video, subtype, type));
    IMFMediaType* const made = type.get();
    RETURN_IF_FAILED(MFSetAttributeSize(made, MF_MT_FRAME_SIZE, plan.size.width, plan.size.height));
    RETURN_IF_FAILED(
        MFSetAttributeRatio(made, MF_MT_FRAME_RATE, plan.rate.numerator, plan.rate.denominator));
    RETURN_IF_FAILED(MFSetAttributeRatio(made, MF_MT_PIXEL_ASPECT_RATIO, 1, 1));
    RETURN_IF_FAILED(made->SetUINT32(MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive));
    return handOn(plan.native.get(), made);
}

// The part of each picture that is to be seen: its first columns and lines.
bool showsOnly(IMFMediaType* type, FrameSize size) {
    MFVideoArea area = {};
    UINT32 length = 0;
    const HRESULT hr = type->GetBlob(MF_MT_MINIMUM_DISPLAY_APERTURE,
                                     reinterpret_cast<UINT8*>(&area), sizeof area, &length);
    const auto isZero = [](const MFOffset& offset) {
        return offset.value == 0 && offset.fract == 0;
    };
    return SUCCEEDED(hr) && length == sizeof area && isZero(area.OffsetX) && isZero(area.OffsetY) &&
           area.Area.cx == static_cast<LONG>(size.width) &&
           area.Area.cy == static_cast<LONG>(size.height);
}

bool isOf(IMFMediaType* type, const GUID& wanted) {
    GUID subtype = {};
    return SUCCEEDED(type->GetGUID(MF_MT_SUBTYPE, &subtype)) && IsEqualGUID(subtype, wanted);
}

} // namespace

HRESULT planPictures(const ExportRequest& request, ComPtr<IMFMediaType> native, PicturePlan& plan) {
    if (!native) return MF_E_MEDIA_SOURCE_NO_STREAMS_SELECTED;
    const FrameSize coded = sizeOf(native.get());
    const Ratio aspect = ratioOf(native.get(), MF_MT_PIXEL_ASPECT_RATIO);
    const auto size =
        encodedSize(inSquarePixels(coded, aspect), request.maxWidth, request.maxHeight);
    if (!size) return MF_E_INVALIDMEDIATYPE;
    plan.size = *size;
    plan.rate = encodedRate(ratioOf(native.get(), MF_MT_FRAME_RATE));
    plan.bitrate =
        videoBitrate(plan.size, plan.rate, coded, numberOf(native.get(), MF_MT_AVG_BITRATE));
    plan.native = std::move(native);
    return S_OK;
}

HRESULT makeNv12Type(const PicturePlan& plan, ComPtr<IMFMediaType>& type) {
    RETURN_IF_FAILED(makePictureType(plan, MFVideoFormat_NV12, type));
    return stateVideoRange(type.get());
}

HRESULT makeH264Type(const PicturePlan& plan, ComPtr<IMFMediaType>& type) {
    RETURN_IF_FAILED(makePictureType(plan, MFVideoFormat_H264, type));
    if (numberOf(plan.native.get(), MF_MT_VIDEO_NOMINAL_RANGE) != MFNominalRange_Unknown) {
        RETURN_IF_FAILED(stateVideoRange(type.get()));
    }
    return setNumbers(
        type.get(), {{MF_MT_AVG_BITRATE, plan.bitrate}, {MF_MT_MPEG2_PROFILE, H264_HIGH_PROFILE}});
}

HRESULT makePcmType(ComPtr<IMFMediaType>& type) {
    RETURN_IF_FAILED(makeType(MFMediaType_Audio, MFAudioFormat_PCM, type));
    return setNumbers(type.get(),
                      {{MF_MT_AUDIO_NUM_CHANNELS, SOUND_CHANNELS},
                       {MF_MT_AUDIO_SAMPLES_PER_SECOND, SOUND_RATE},
                       {MF_MT_AUDIO_BITS_PER_SAMPLE, SOUND_BITS},
                       {MF_MT_AUDIO_BLOCK_ALIGNMENT, SOUND_FRAME_SIZE},
                       {MF_MT_AUDIO_AVG_BYTES_PER_SECOND, SOUND_RATE * SOUND_FRAME_SIZE}});
}

HRESULT makeAacType(ComPtr<IMFMediaType>& type) {
    RETURN_IF_FAILED(makeType(MFMediaType_Audio, MFAudioFormat_AAC, type));
    return setNumbers(type.get(), {{MF_MT_AUDIO_NUM_CHANNELS, SOUND_CHANNELS},
                                   {MF_MT_AUDIO_SAMPLES_PER_SECOND, SOUND_RATE},
                                   {MF_MT_AUDIO_BITS_PER_SAMPLE, SOUND_BITS},
                                   {MF_MT_AUDIO_AVG_BYTES_PER_SECOND, SOUND_BYTES_PER_SECOND},
                                   {MF_MT_AUDIO_BLOCK_ALIGNMENT, 1},
                                   {MF_MT_AAC_AUDIO_PROFILE_LEVEL_INDICATION, AAC_PROFILE_LEVEL}});
}

PictureDelivery pictureDelivery(IMFMediaType* current, FrameSize size) {
    PictureDelivery delivery{.coded = sizeOf(current)};
    if (!isOf(current, MFVideoFormat_NV12)) return delivery;
    const FrameSize& coded = delivery.coded;
    const bool larger = coded.width >= size.width && coded.height >= size.height;
    delivery.usable = coded == size || (larger && showsOnly(current, size));
    delivery.asAsked =
        coded == size && numberOf(current, MF_MT_VIDEO_NOMINAL_RANGE) != MFNominalRange_0_255;
    return delivery;
}

bool deliversSound(IMFMediaType* current) {
    return isOf(current, MFAudioFormat_PCM) &&
           numberOf(current, MF_MT_AUDIO_NUM_CHANNELS) == SOUND_CHANNELS &&
           numberOf(current, MF_MT_AUDIO_SAMPLES_PER_SECOND) == SOUND_RATE &&
           numberOf(current, MF_MT_AUDIO_BITS_PER_SAMPLE) == SOUND_BITS;
}

} // namespace velkantrix
