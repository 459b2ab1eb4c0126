// Threads: the export's worker.
#include "export/encode_outlet.h"

#include <mfapi.h>
#include <mftransform.h>

#include "export/sample_reads.h"
#include "platform/hresult.h"

namespace velkantrix {
namespace {

// Encoders in hardware have a device's name among their attributes. That one knows of textures
// isn't enough: one in software may too.
bool isOfDevice(IMFTransform* encoder) {
    ComPtr<IMFAttributes> attributes;
    UINT32 length = 0;
    return SUCCEEDED(encoder->GetAttributes(attributes.put())) && attributes &&
           MFGetAttributeUINT32(attributes.get(), MF_SA_D3D11_AWARE, FALSE) &&
           SUCCEEDED(attributes->GetStringLength(MFT_ENUM_HARDWARE_URL_Attribute, &length));
}

} // namespace

EncodeWait systemWait() {
    return {.now =
                [] {
                    constexpr Ticks PER_MILLISECOND = TICKS_PER_SECOND / 1000;
                    return static_cast<Ticks>(GetTickCount64()) * PER_MILLISECOND;
                },
            .pause =
                [] {
                    Sleep(2);
                }};
}

HRESULT EncodeOutlet::create(IMFMediaType* encoded, IMFMediaType* decoded) {
    return addStream(writer_, encoded, decoded, index_);
}

bool EncodeOutlet::encodesOnDevice() const {
    ComPtr<IMFSinkWriterEx> extended;
    if (FAILED(writer_->QueryInterface(__uuidof(IMFSinkWriterEx), extended.putVoid())))
        return false;
    constexpr DWORD MOST_TRANSFORMS = 16;
    bool found = false;
    for (DWORD i = 0; i < MOST_TRANSFORMS; i++) {
        GUID category = {};
        ComPtr<IMFTransform> transform;
        if (FAILED(extended->GetTransformForStream(index_, i, &category, transform.put()))) break;
        found = category == MFT_CATEGORY_VIDEO_ENCODER && transform && isOfDevice(transform.get());
        if (!found) break;
    }
    return found;
}

HRESULT EncodeOutlet::write(IMFSample* sample, Ticks time, Ticks duration, std::uint64_t size) {
    RETURN_IF_FAILED(sample->SetSampleTime(time));
    RETURN_IF_FAILED(sample->SetSampleDuration(duration));
    RETURN_IF_FAILED(writer_->WriteSample(index_, sample));
    backlog_.wrote(time, size);
    return S_OK;
}

void EncodeOutlet::waitForEncoder() {
    while (!cancelled() && backlog_.mustWait(progress(), wait_.now())) wait_.pause();
}

std::optional<EncoderProgress> EncodeOutlet::progress() const {
    MF_SINK_WRITER_STATISTICS statistics = {.cb = sizeof statistics};
    if (FAILED(writer_->GetStatistics(index_, &statistics))) return std::nullopt;
    return EncoderProgress{.encoded = statistics.qwNumSamplesEncoded,
                           .lastEncoded = statistics.llLastTimestampEncoded};
}

} // namespace velkantrix
