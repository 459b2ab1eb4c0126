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

HRESULT EncodeOutlet::write(IMFSample* sample, Ticks time, Ticks duration) {
    RETURN_IF_FAILED(sample->SetSampleTime(time));
    RETURN_IF_FAILED(sample->SetSampleDuration(duration));
    return writer_->WriteSample(index_, sample);
}

void EncodeOutlet::waitForEncoder() {
    while (!cancelled() && backlog_.mustWait(counts(), wait_.now())) wait_.pause();
}

std::optional<WriterCounts> EncodeOutlet::counts() const {
    MF_SINK_WRITER_STATISTICS statistics = {.cb = sizeof statistics};
    if (FAILED(writer_->GetStatistics(index_, &statistics))) return std::nullopt;
    return WriterCounts{.received = statistics.qwNumSamplesReceived,
                        .encoded = statistics.qwNumSamplesEncoded,
                        .lastReceived = statistics.llLastTimestampReceived,
                        .lastEncoded = statistics.llLastTimestampEncoded};
}

} // namespace velkantrix
