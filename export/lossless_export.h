// lossless_export.h: copies compressed samples of the source into the output, without decoding.
// Cuts fall on keyframes; span_cutter decides about every sample, this moves them.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <cstdint>

#include "export/export_core.h"
#include "export/export_request.h"
#include "export/output_file.h"
#include "export/read_budget.h"

namespace velkantrix {

// Reads the spans and writes them to `output`, which it creates once the source is open and known.
// The caller keeps or discards it. Cancelled: S_OK, with the output created but incomplete.
[[nodiscard]] HRESULT copyLosslessly(const ExportRequest& request, OutputFile& output);

// The same from a reader whose streams were discovered to a new writer; `silent`: a sound is left
// out, because none of it would come out. `readsPerPass` is the limit of each video pass.
[[nodiscard]] HRESULT copySpans(const ExportRequest& request, IMFSourceReader* reader,
                                const SourceStreams& streams, bool silent, IMFSinkWriter* writer,
                                std::int64_t readsPerPass = ReadBudget::READS_PER_PASS);

} // namespace velkantrix
