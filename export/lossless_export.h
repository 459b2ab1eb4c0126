// lossless_export.h: copies compressed samples of the source into the output, without decoding.
// Cuts fall on keyframes; span_cutter decides about every sample, this moves them.
#pragma once

#include <windows.h>

#include "export/export_request.h"
#include "export/output_file.h"

namespace velkantrix {

// Reads the spans and writes them to `output`, which it creates once the source is open and known.
// The caller finalizes. Cancelled: S_OK, with the output created but incomplete.
[[nodiscard]] HRESULT copyLosslessly(const ExportRequest& request, OutputFile& output);

} // namespace velkantrix
