// sound_probe.h: whether a lossless copy will have any sound. A track without a sample makes the
// whole file fail, or what others make of it, and a silent sample can't be copied from anywhere.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <cstdint>

#include "export/export_core.h"
#include "export/export_request.h"
#include "export/read_budget.h"

namespace velkantrix {

// The source must have both streams. Moves the reader, and leaves another selection; `reads` is the
// limit of each pass. True too where it can't be told or the request was cancelled: the copy itself
// tells what is wrong. Threads: the export's worker.
[[nodiscard]] bool copyHasSound(const ExportRequest& request, IMFSourceReader* reader,
                                const SourceStreams& streams,
                                std::int64_t reads = ReadBudget::READS_PER_PASS);

} // namespace velkantrix
