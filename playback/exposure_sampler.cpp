#include "playback/exposure_sampler.h"

#include <windows.h>

#include <mfapi.h>
#include <mfidl.h>
#include <mfreadwrite.h>

#include <algorithm>
#include <cstdint>
#include <span>

#include "base/com_ptr.h"
#include "platform/hresult.h"
#include "platform/mf_util.h"

namespace velkantrix {
namespace {

HRESULT openForPictures(const wchar_t* path, ComPtr<IMFSourceReader>& reader) {
    RETURN_IF_FAILED(openSourceReader(path, reader));
    RETURN_IF_FAILED(selectOnlyStream(reader.get(), FIRST_VIDEO));
    ComPtr<IMFMediaType> type;
    RETURN_IF_FAILED(MFCreateMediaType(type.put()));
    RETURN_IF_FAILED(type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video));
    RETURN_IF_FAILED(type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_NV12));
    return reader->SetCurrentMediaType(FIRST_VIDEO, nullptr, type.get());
}

// Bytes of the luma plane, which comes first.
std::uint64_t lumaSize(IMFSourceReader* reader) {
    ComPtr<IMFMediaType> type;
    UINT32 width = 0;
    UINT32 height = 0;
    if (FAILED(reader->GetCurrentMediaType(FIRST_VIDEO, type.put())) ||
        FAILED(MFGetAttributeSize(type.get(), MF_MT_FRAME_SIZE, &width, &height)))
        return 0;
    return std::uint64_t{width} * height;
}

// The next picture. Some reads give none, though there are more.
ComPtr<IMFSample> nextPicture(IMFSourceReader* reader) {
    const DWORD last = MF_SOURCE_READERF_ENDOFSTREAM | MF_SOURCE_READERF_ERROR;
    DWORD flags = 0;
    ComPtr<IMFSample> sample;
    while (!sample && (flags & last) == 0) {
        LONGLONG time = 0;
        if (FAILED(reader->ReadSample(FIRST_VIDEO, 0, nullptr, &flags, &time, sample.put())))
            return {};
    }
    return sample;
}

bool countPicture(IMFSourceReader* reader, LumaHistogram& histogram) {
    const ComPtr<IMFSample> sample = nextPicture(reader);
    if (!sample) return false;
    ComPtr<IMFMediaBuffer> buffer;
    if (FAILED(sample->ConvertToContiguousBuffer(buffer.put()))) return false;
    BYTE* bytes = nullptr;
    DWORD length = 0;
    if (FAILED(buffer->Lock(&bytes, nullptr, &length))) return false;
    const auto luma = static_cast<std::size_t>(std::min<std::uint64_t>(length, lumaSize(reader)));
    countLuma(histogram, {bytes, luma});
    ignoreResult(buffer->Unlock(), "it has been read");
    return true;
}

} // namespace

std::optional<LumaHistogram> sampleLuma(const wchar_t* path, double duration) {
    ComPtr<IMFSourceReader> reader;
    if (FAILED(openForPictures(path, reader))) return std::nullopt;
    LumaHistogram histogram;
    samplePictures(duration, {.seek =
                                  [&](Ticks time) {
                                      ignoreResult(seekReader(reader.get(), time),
                                                   "any picture will do");
                                  },
                              .countNext =
                                  [&] {
                                      return countPicture(reader.get(), histogram);
                                  }});
    return histogram;
}

} // namespace velkantrix
