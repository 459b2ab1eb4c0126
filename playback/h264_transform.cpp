#include "playback/h264_transform.h"

#include <codecapi.h>
#include <mfapi.h>
#include <mferror.h>

#include <cstring>
#include <span>
#include <utility>

#include "platform/hresult.h"

namespace velkantrix {
namespace {

constexpr DWORD ALLOCATOR_WAIT = 1; // milliseconds
constexpr const char* ANY_DECODER_WILL_DO = "it is only a wish";

// What MFTEnumEx finds; the list and its entries are released with it.
class FoundTransforms {
public:
    FoundTransforms() = default;
    ~FoundTransforms() {
        for (IMFActivate* const one : all()) one->Release();
        CoTaskMemFree(static_cast<void*>(list_));
    }
    FoundTransforms(const FoundTransforms&) = delete;
    FoundTransforms& operator=(const FoundTransforms&) = delete;

    [[nodiscard]] HRESULT find(UINT32 flags) {
        const MFT_REGISTER_TYPE_INFO input = {MFMediaType_Video, MFVideoFormat_H264};
        const MFT_REGISTER_TYPE_INFO output = {MFMediaType_Video, MFVideoFormat_NV12};
        return MFTEnumEx(MFT_CATEGORY_VIDEO_DECODER, flags, &input, &output, &list_, &count_);
    }
    [[nodiscard]] std::span<IMFActivate*> all() const {
        return {list_, list_ ? std::size_t{count_} : 0};
    }

private:
    IMFActivate** list_ = nullptr;
    UINT32 count_ = 0;
};

UINT32 attributeOf(IMFTransform* transform, const GUID& key) {
    ComPtr<IMFAttributes> attributes;
    if (FAILED(transform->GetAttributes(attributes.put())) || !attributes) return 0;
    return MFGetAttributeUINT32(attributes.get(), key, 0);
}

ComPtr<IMFTransform> firstSynchronous(const FoundTransforms& found) {
    for (IMFActivate* const one : found.all()) {
        if (MFGetAttributeUINT32(one, MF_TRANSFORM_FLAGS_Attribute, 0) & MFT_ENUM_FLAG_ASYNCMFT)
            continue;
        ComPtr<IMFTransform> transform;
        if (FAILED(one->ActivateObject(__uuidof(IMFTransform), transform.putVoid()))) continue;
        if (transform && attributeOf(transform.get(), MF_TRANSFORM_ASYNC) == 0) return transform;
        transform.reset();
        ignoreResult(one->ShutdownObject(), "it isn't used");
    }
    return {};
}

// As the presenter's shader takes NV12. A type that says nothing is taken for that. Of a mixed one
// each picture says whether its lines are of two moments.
bool isDrawable(IMFMediaType* type) {
    const UINT32 matrix = MFGetAttributeUINT32(type, MF_MT_YUV_MATRIX, 0);
    const UINT32 range = MFGetAttributeUINT32(type, MF_MT_VIDEO_NOMINAL_RANGE, 0);
    const UINT32 lines = MFGetAttributeUINT32(type, MF_MT_INTERLACE_MODE, 0);
    return (matrix == MFVideoTransferMatrix_Unknown || matrix == MFVideoTransferMatrix_BT709) &&
           (range == MFNominalRange_Unknown || range == MFNominalRange_16_235) &&
           (lines == MFVideoInterlace_Unknown || lines == MFVideoInterlace_Progressive ||
            lines == MFVideoInterlace_MixedInterlaceOrProgressive);
}

ComPtr<IMFTransform> findDecoder() {
    constexpr UINT32 SOFTWARE = MFT_ENUM_FLAG_SYNCMFT | MFT_ENUM_FLAG_SORTANDFILTER;
    for (const UINT32 flags : {SOFTWARE | MFT_ENUM_FLAG_HARDWARE, SOFTWARE}) {
        FoundTransforms found;
        if (FAILED(found.find(flags))) continue;
        if (ComPtr<IMFTransform> decoder = firstSynchronous(found)) return decoder;
    }
    return {};
}

HRESULT makeSample(const ScrubSample& from, ComPtr<IMFSample>& sample) {
    const auto size = static_cast<DWORD>(from.data.size());
    ComPtr<IMFMediaBuffer> buffer;
    RETURN_IF_FAILED(MFCreateMemoryBuffer(size, buffer.put()));
    BYTE* bytes = nullptr;
    RETURN_IF_FAILED(buffer->Lock(&bytes, nullptr, nullptr));
    std::memcpy(bytes, from.data.data(), size);
    RETURN_IF_FAILED(buffer->Unlock());
    RETURN_IF_FAILED(buffer->SetCurrentLength(size));
    RETURN_IF_FAILED(MFCreateSample(sample.put()));
    RETURN_IF_FAILED(sample->AddBuffer(buffer.get()));
    RETURN_IF_FAILED(sample->SetSampleTime(from.pts));
    if (from.duration > 0) RETURN_IF_FAILED(sample->SetSampleDuration(from.duration));
    return from.sync ? sample->SetUINT32(MFSampleExtension_CleanPoint, TRUE) : S_OK;
}

PictureSize sizeOf(UINT32 width, UINT32 height) {
    return {static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
}

} // namespace

H264Transform::~H264Transform() {
    if (streaming_)
        ignoreResult(transform_->ProcessMessage(MFT_MESSAGE_NOTIFY_END_STREAMING, 0),
                     "it is released in any case");
}

HRESULT H264Transform::setUp(const CodedVideo& video, IMFDXGIDeviceManager* manager) {
    coded_ = video.size;
    transform_ = findDecoder();
    if (!transform_) return MF_E_TOPO_CODEC_NOT_FOUND;
    if (manager) RETURN_IF_FAILED(useDevice(manager));
    ComPtr<IMFAttributes> attributes;
    if (SUCCEEDED(transform_->GetAttributes(attributes.put())) && attributes)
        ignoreResult(attributes->SetUINT32(CODECAPI_AVLowLatencyMode, TRUE), ANY_DECODER_WILL_DO);
    RETURN_IF_FAILED(setInputType(video));
    RETURN_IF_FAILED(setOutputType());
    RETURN_IF_FAILED(transform_->ProcessMessage(MFT_MESSAGE_NOTIFY_BEGIN_STREAMING, 0));
    streaming_ = true;
    return S_OK;
}

HRESULT H264Transform::useDevice(IMFDXGIDeviceManager* manager) {
    if (attributeOf(transform_.get(), MF_SA_D3D11_AWARE) == 0) return S_OK;
    return transform_->ProcessMessage(MFT_MESSAGE_SET_D3D_MANAGER,
                                      reinterpret_cast<ULONG_PTR>(manager));
}

HRESULT H264Transform::setInputType(const CodedVideo& video) {
    ComPtr<IMFMediaType> type;
    RETURN_IF_FAILED(MFCreateMediaType(type.put()));
    RETURN_IF_FAILED(type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video));
    RETURN_IF_FAILED(type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_H264));
    if (video.size.width > 0 && video.size.height > 0)
        RETURN_IF_FAILED(MFSetAttributeSize(type.get(), MF_MT_FRAME_SIZE,
                                            static_cast<UINT32>(video.size.width),
                                            static_cast<UINT32>(video.size.height)));
    RETURN_IF_FAILED(MFSetAttributeRatio(type.get(), MF_MT_FRAME_RATE, video.rate.numerator,
                                         video.rate.denominator));
    RETURN_IF_FAILED(type->SetUINT32(MF_MT_INTERLACE_MODE, MFVideoInterlace_Progressive));
    return transform_->SetInputType(0, type.get(), 0);
}

HRESULT H264Transform::setOutputType() {
    for (DWORD i = 0;; ++i) {
        ComPtr<IMFMediaType> type;
        RETURN_IF_FAILED(transform_->GetOutputAvailableType(0, i, type.put()));
        GUID subtype = {};
        if (FAILED(type->GetGUID(MF_MT_SUBTYPE, &subtype))) continue;
        if (!IsEqualGUID(subtype, MFVideoFormat_NV12)) continue;
        RETURN_IF_FAILED(transform_->SetOutputType(0, type.get(), 0));
        takeSize(type.get());
        return S_OK;
    }
}

void H264Transform::takeSize(IMFMediaType* type) {
    UINT32 width = 0;
    UINT32 height = 0;
    output_ = coded_;
    if (SUCCEEDED(MFGetAttributeSize(type, MF_MT_FRAME_SIZE, &width, &height)))
        output_ = sizeOf(width, height);
    shown_ = output_;
    atCorner_ = true;
    drawable_ = isDrawable(type);
    MFVideoArea area = {};
    if (FAILED(type->GetBlob(MF_MT_MINIMUM_DISPLAY_APERTURE, reinterpret_cast<UINT8*>(&area),
                             sizeof area, nullptr)))
        return;
    if (area.Area.cx <= 0 || area.Area.cy <= 0) return;
    shown_ = {area.Area.cx, area.Area.cy};
    atCorner_ = area.OffsetX.value == 0 && area.OffsetX.fract == 0 && area.OffsetY.value == 0 &&
                area.OffsetY.fract == 0;
}

HRESULT H264Transform::restart() {
    RETURN_IF_FAILED(transform_->ProcessMessage(MFT_MESSAGE_COMMAND_FLUSH, 0));
    return transform_->ProcessMessage(MFT_MESSAGE_NOTIFY_START_OF_STREAM, 0);
}

HRESULT H264Transform::feed(const ScrubSample& sample) {
    ComPtr<IMFSample> made;
    RETURN_IF_FAILED(makeSample(sample, made));
    return transform_->ProcessInput(0, made.get(), 0);
}

HRESULT H264Transform::drain() {
    return transform_->ProcessMessage(MFT_MESSAGE_COMMAND_DRAIN, 0);
}

HRESULT H264Transform::pull(DecodedPicture& picture) {
    constexpr DWORD GIVES_SAMPLES =
        MFT_OUTPUT_STREAM_PROVIDES_SAMPLES | MFT_OUTPUT_STREAM_CAN_PROVIDE_SAMPLES;
    int changes = 0;
    int waits = 0;
    int empty = 0;
    picture = {};
    while (true) {
        MFT_OUTPUT_STREAM_INFO info = {};
        RETURN_IF_FAILED(transform_->GetOutputStreamInfo(0, &info));
        if ((info.dwFlags & GIVES_SAMPLES) == 0) return E_NOTIMPL;
        MFT_OUTPUT_DATA_BUFFER buffer = {};
        DWORD status = 0;
        const HRESULT result = transform_->ProcessOutput(0, 1, &buffer, &status);
        auto sample = ComPtr<IMFSample>::adopt(buffer.pSample);
        const auto events = ComPtr<IMFCollection>::adopt(buffer.pEvents);
        if (result == MF_E_TRANSFORM_STREAM_CHANGE) {
            if (++changes > MOST_STREAM_CHANGES) return result;
            if (FAILED(setOutputType())) return E_NOTIMPL;
            continue;
        }
        if (result == MF_E_SAMPLEALLOCATOR_EMPTY) {
            if (++waits > MOST_ALLOCATOR_WAITS) return result;
            Sleep(ALLOCATOR_WAIT);
            continue;
        }
        RETURN_IF_FAILED(result);
        if (sample) return accept(picture, std::move(sample));
        if (++empty > MOST_EMPTY_OUTPUTS) return MF_E_TRANSFORM_NEED_MORE_INPUT;
    }
}

HRESULT H264Transform::accept(DecodedPicture& picture, ComPtr<IMFSample> sample) const {
    if (!drawable_ || MFGetAttributeUINT32(sample.get(), MFSampleExtension_Interlaced, FALSE))
        return E_NOTIMPL;
    picture = {std::move(sample), shown_, atCorner_};
    return S_OK;
}

HRESULT H264Transform::textureOf(const DecodedPicture& picture, DecodedTexture& decoded) {
    ComPtr<IMFMediaBuffer> buffer;
    ComPtr<IMFDXGIBuffer> place;
    RETURN_IF_FAILED(picture.sample->GetBufferByIndex(0, buffer.put()));
    RETURN_IF_FAILED(buffer->QueryInterface(__uuidof(IMFDXGIBuffer), place.putVoid()));
    RETURN_IF_FAILED(place->GetSubresourceIndex(&decoded.slice));
    RETURN_IF_FAILED(place->GetResource(__uuidof(ID3D11Texture2D), decoded.texture.putVoid()));
    decoded.sample = picture.sample;
    decoded.shown = picture.shown;
    decoded.atCorner = picture.atCorner;
    return S_OK;
}

} // namespace velkantrix
