// Threads: the export's worker.
#include "export/encode_outlet.h"

#include "export/sample_reads.h"
#include "platform/hresult.h"

namespace velkantrix {

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
