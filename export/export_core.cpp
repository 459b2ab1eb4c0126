// Threads: the worker that called ExportFile. Nothing here is shared between calls.
#include "export/export_core.h"

#include <cstdio>
#include <utility>

#include <mfapi.h>
#include <mferror.h>

#include "export/job_texts.h"
#include "export/lossless_export.h"
#include "export/output_file.h"
#include "export/reencode_export.h"
#include "platform/com.h"
#include "platform/files.h"
#include "platform/hresult.h"
#include "platform/mf_util.h"
#include "platform/system_text.h"

namespace velkantrix {
namespace {

constexpr DWORD MOST_STREAMS = 64;

constexpr wchar_t NO_PICTURES_TEXT[] =
    L"No picture of the video lies within what was to be exported.";

constexpr wchar_t CHANGES_FOR_EVER_TEXT[] =
    L"The format of the pictures or of the sound changes again and again: it can't be encoded.";

// A way of filling the output: opens the source, creates the output, writes the spans. It returns
// early, with success, when the export is cancelled.
using FillOutput = HRESULT (*)(const ExportRequest&, OutputFile&);

void setText(std::wstring* target, std::wstring text) {
    if (target) *target = std::move(text);
}

std::wstring textOfFailure(HRESULT hr) {
    if (hr == NO_PICTURES) return NO_PICTURES_TEXT;
    if (hr == CHANGES_FOR_EVER) return CHANGES_FOR_EVER_TEXT;
    return FormatExportError(hr);
}

// What every way of exporting has in common: the apartment, the end of the output, the clean-up.
bool exportBy(FillOutput fill, const ExportRequest& request, std::wstring* errorText) {
    const ComApartment apartment(COINIT_MULTITHREADED);
    OutputFile output(request.outputPath, request.sourcePath);
    HRESULT hr = fill(request, output);
    const bool cancelled = isCancelled(request);
    if (SUCCEEDED(hr) && !cancelled) hr = output.keep();
    if (FAILED(hr) || cancelled) {
        output.discard();
        setText(errorText, cancelled ? EXPORT_CANCELLED : textOfFailure(hr));
        return false;
    }
    if (request.progress) request.progress(totalSeconds(request.spans));
    return true;
}

// Both paths absolute: they go to services that would also take a URL, to anywhere.
ExportRequest withAbsolutePaths(ExportRequest request) {
    if (!request.sourcePath.empty()) request.sourcePath = absolutePath(request.sourcePath);
    if (!request.outputPath.empty()) request.outputPath = absolutePath(request.outputPath);
    return request;
}

} // namespace

bool ExportFile(const ExportRequest& asGiven, std::wstring* errorText) {
    const ExportRequest request = withAbsolutePaths(asGiven);
    if (sameFile(request.sourcePath, request.outputPath)) {
        setText(errorText, WOULD_OVERWRITE_SOURCE);
        return false;
    }
    if (request.spans.empty() || request.sourcePath.empty() || request.outputPath.empty()) {
        return false;
    }
    return exportBy(request.losslessAllowed ? copyLosslessly : reencode, request, errorText);
}

std::wstring FormatExportError(HRESULT code) {
    std::wstring text = systemText(static_cast<DWORD>(code));
    if (text.empty()) text = L"Media Foundation export failed";
    wchar_t number[16];
    std::swprintf(number, 16, L" (0x%08lX)", static_cast<unsigned long>(code));
    return text + number;
}

HRESULT discoverStreams(IMFSourceReader* reader, SourceStreams& streams) {
    RETURN_IF_FAILED(reader->SetStreamSelection(ALL_STREAMS, FALSE));
    for (DWORD i = 0; i < MOST_STREAMS; i++) {
        ComPtr<IMFMediaType> type;
        GUID major{};
        const HRESULT hr = reader->GetNativeMediaType(i, 0, type.put());
        if (hr == MF_E_INVALIDSTREAMNUMBER) break;
        if (FAILED(hr) || FAILED(type->GetMajorType(&major))) continue;
        if (major == MFMediaType_Video && !streams.video) {
            streams.video = i;
            streams.videoType = std::move(type);
        } else if (major == MFMediaType_Audio && !streams.audio) {
            streams.audio = i;
        }
    }
    if (!streams.video) return S_OK;
    RETURN_IF_FAILED(reader->SetStreamSelection(*streams.video, TRUE));
    if (!streams.audio) return S_OK;
    return reader->SetStreamSelection(*streams.audio, TRUE);
}

} // namespace velkantrix
