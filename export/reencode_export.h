// reencode_export.h: decodes the spans, renders exposure and fades, and encodes them into the
// output. Cuts fall on any picture; encode_cutter decides about every sample, this moves them.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <cstdint>

#include "export/encode_outlet.h"
#include "export/encode_types.h"
#include "export/export_core.h"
#include "export/export_request.h"
#include "export/output_file.h"
#include "export/read_budget.h"

namespace velkantrix {

// The reader changes the type of its pictures, or of its sound, whenever it was asked for the one
// that the encoders were told of. (No result of the system's.)
inline constexpr HRESULT CHANGES_FOR_EVER = MAKE_HRESULT(SEVERITY_ERROR, FACILITY_ITF, 0x0A02);

// Reads the spans and writes them to `output`, which it creates once the source is open and known.
// The caller keeps or discards it. Cancelled: S_OK, with the output created but incomplete. It
// needs a graphics device: without one it fails.
[[nodiscard]] HRESULT reencode(const ExportRequest& request, OutputFile& output);

// The same from a reader whose streams were discovered to a new writer; `readsPerSpan` is the limit
// of each span.
[[nodiscard]] HRESULT encodeSpans(const ExportRequest& request, IMFSourceReader* reader,
                                  const SourceStreams& streams, const PicturePlan& plan,
                                  IMFSinkWriter* writer, const EncodeWait& wait = systemWait(),
                                  std::int64_t readsPerSpan = ReadBudget::READS_PER_PASS);

} // namespace velkantrix
