// export_core.h: writes one output file from one source and an ordered list of its spans. The only
// place where output videos are made.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <optional>
#include <string>

#include "base/com_ptr.h"
#include "export/export_request.h"

namespace velkantrix {

// Writes `request.outputPath`. On a worker thread, never on the one that owns windows; several
// calls may run at once with outputs of their own. Media Foundation has been started.
//
// False on failure or cancel: then the output is deleted where the writer could be created, also
// one that stood there before (unless it can't be: another program may have it open), and
// `*errorText`, if given, says why. True on success: the output is complete, and `*errorText` is
// left as it was. An empty span list or path returns false and does nothing, the text included. The
// source is never written to, deleted or replaced, by whatever name the output path may mean it.
[[nodiscard]] bool ExportFile(const ExportRequest& request, std::wstring* errorText);

// The system's message for a result as it stands, line end included, or "Media Foundation export
// failed" when it has none, then the code: " (0x8007000E)".
[[nodiscard]] std::wstring FormatExportError(HRESULT code);

// There is no picture of the source's within any of the spans. A file without one is no video, and
// what writes it refuses to. (No result of the system's.)
inline constexpr HRESULT NO_PICTURES = MAKE_HRESULT(SEVERITY_ERROR, FACILITY_ITF, 0x0A01);

// The streams that exports use: the first video and the first audio stream that tell their type.
struct SourceStreams {
    std::optional<DWORD> video; // indices as the reader counts; the audio may come first
    std::optional<DWORD> audio;
    ComPtr<IMFMediaType> videoType; // the video stream's native type
};

// Finds the streams and selects them: the video, and the audio only beside a video.
[[nodiscard]] HRESULT discoverStreams(IMFSourceReader* reader, SourceStreams& streams);

// The user asked for the export to end.
[[nodiscard]] inline bool isCancelled(const ExportRequest& request) {
    return request.cancel && request.cancel->load();
}

} // namespace velkantrix
