// Threads: the export's worker.
#include "export/encode_reader.h"

#include <mfapi.h>
#include <mferror.h>
#include <mftransform.h>

#include "platform/hresult.h"

namespace velkantrix {
namespace {

// MF_XVP_DISABLE_FRC, which not all headers have.
constexpr GUID NO_RATE_CONVERSION = {
    0x2c0afa19, 0x7a97, 0x4d5a, {0x9e, 0xe8, 0x16, 0xd4, 0xfc, 0x51, 0x8d, 0x8c}};

void keepRate(IMFTransform* processor) {
    ComPtr<IMFAttributes> attributes;
    if (FAILED(processor->GetAttributes(attributes.put()))) return;
    ignoreResult(attributes->SetUINT32(NO_RATE_CONVERSION, TRUE),
                 "a processor that can't convert the rate needn't be told not to");
}

// A container's rate is an average, and often wrong. A video processor would leave pictures out, or
// repeat them, to keep to it. Readers of old systems have neither this interface nor the attribute.
void keepRates(IMFSourceReader* reader, DWORD stream) {
    ComPtr<IMFSourceReaderEx> extended;
    if (FAILED(reader->QueryInterface(__uuidof(IMFSourceReaderEx), extended.putVoid()))) return;
    constexpr DWORD MOST_TRANSFORMS = 16;
    for (DWORD i = 0; i < MOST_TRANSFORMS; i++) {
        GUID category = {};
        ComPtr<IMFTransform> transform;
        if (FAILED(extended->GetTransformForStream(stream, i, &category, transform.put()))) return;
        if (category == MFT_CATEGORY_VIDEO_PROCESSOR && transform) keepRate(transform.get());
    }
}

} // namespace

HRESULT EncodeReader::setTypes() {
    RETURN_IF_FAILED(makeNv12Type(plan_, pictures_));
    RETURN_IF_FAILED(askForPictures());
    PictureDelivery delivery;
    RETURN_IF_FAILED(lookAtPictures(delivery));
    if (!delivery.usable) return MF_E_INVALIDMEDIATYPE;
    kept_ = delivery;
    if (!streams_.audio) return S_OK;
    RETURN_IF_FAILED(makePcmType(sound_));
    RETURN_IF_FAILED(reader_->SetCurrentMediaType(*streams_.audio, nullptr, sound_.get()));
    bool asAsked = false;
    RETURN_IF_FAILED(checkSound(asAsked));
    return asAsked ? S_OK : MF_E_INVALIDMEDIATYPE;
}

HRESULT EncodeReader::askForPictures() {
    RETURN_IF_FAILED(reader_->SetCurrentMediaType(*streams_.video, nullptr, pictures_.get()));
    keepRates(reader_, *streams_.video);
    return S_OK;
}

HRESULT EncodeReader::read(DWORD stream, Read& next) {
    picturesAskedAgain_ = soundAskedAgain_ = false;
    RETURN_IF_FAILED(readNext(reader_, stream, next));
    if (!next.otherType) return S_OK;
    RETURN_IF_FAILED(takeNewPictures());
    return streams_.audio ? takeNewSound() : S_OK;
}

// Bytes of another size or form than the encoders were told would come out as garbage.
HRESULT EncodeReader::takeNewPictures() {
    PictureDelivery delivery;
    RETURN_IF_FAILED(lookAtPictures(delivery));
    if (delivery.asAsked || (delivery.usable && delivery == kept_)) return S_OK;
    const HRESULT asked = askForPictures();
    picturesAskedAgain_ = SUCCEEDED(asked);
    RETURN_IF_FAILED(lookAtPictures(delivery));
    kept_ = delivery;
    if (delivery.usable) return S_OK;
    return FAILED(asked) ? asked : MF_E_INVALIDMEDIATYPE;
}

HRESULT EncodeReader::takeNewSound() {
    bool asAsked = false;
    RETURN_IF_FAILED(checkSound(asAsked));
    if (asAsked) return S_OK;
    RETURN_IF_FAILED(reader_->SetCurrentMediaType(*streams_.audio, nullptr, sound_.get()));
    soundAskedAgain_ = true;
    RETURN_IF_FAILED(checkSound(asAsked));
    return asAsked ? S_OK : MF_E_INVALIDMEDIATYPE;
}

HRESULT EncodeReader::lookAtPictures(PictureDelivery& delivery) {
    ComPtr<IMFMediaType> current;
    RETURN_IF_FAILED(reader_->GetCurrentMediaType(*streams_.video, current.put()));
    delivery = pictureDelivery(current.get(), plan_.size);
    if (delivery.usable && delivery.coded != plan_.size) coded_ = delivery.coded;
    return S_OK;
}

HRESULT EncodeReader::checkSound(bool& asAsked) const {
    ComPtr<IMFMediaType> current;
    RETURN_IF_FAILED(reader_->GetCurrentMediaType(*streams_.audio, current.put()));
    asAsked = deliversSound(current.get());
    return S_OK;
}

} // namespace velkantrix
