// encode_outlet.h: a stream of a re-encode's output: what is written to it, and how the export
// waits for its encoder.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <cstdint>
#include <functional>
#include <optional>

#include "base/ticks.h"
#include "export/export_core.h"
#include "export/export_request.h"
#include "export/writer_backlog.h"

namespace velkantrix {

// How an export waits for its encoder.
struct EncodeWait {
    std::function<Ticks()> now;  // of a clock that never goes back
    std::function<void()> pause; // returns soon
};
[[nodiscard]] EncodeWait systemWait();

// Used by the export's thread. All that it is given outlives it.
class EncodeOutlet {
public:
    EncodeOutlet(const ExportRequest& request, IMFSinkWriter* writer, const EncodeWait& wait)
        : request_(request), writer_(writer), wait_(wait) {}

    // Adds the stream to the writer.
    [[nodiscard]] HRESULT create(IMFMediaType* encoded, IMFMediaType* decoded);

    // The stream's encoder, which the writer has found, is the graphics device's own, and gets what
    // is written as it is. Behind the writer's BeginWriting.
    [[nodiscard]] bool encodesOnDevice() const;

    // The sample, of so many bytes, gets these times.
    [[nodiscard]] HRESULT write(IMFSample* sample, Ticks time, Ticks duration, std::uint64_t size);

    // Until there is room for more, or the export is cancelled.
    void waitForEncoder();

    // The last wait ended because the encoder didn't get on.
    [[nodiscard]] bool encoderStands() const { return backlog_.lostPatience(); }

    [[nodiscard]] bool cancelled() const { return isCancelled(request_); }

private:
    [[nodiscard]] std::optional<EncoderProgress> progress() const;

    const ExportRequest& request_;
    IMFSinkWriter* const writer_;
    const EncodeWait& wait_;
    WriterBacklog backlog_;
    DWORD index_ = 0; // as the writer counts
};

} // namespace velkantrix
