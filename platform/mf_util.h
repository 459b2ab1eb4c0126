// mf_util.h: small services over Media Foundation's interfaces.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <optional>

#include "base/com_ptr.h"
#include "base/ticks.h"

namespace velkantrix {

// MF_SOURCE_READER_ALL_STREAMS and its like are negative enumerators of an unsigned parameter.
inline constexpr DWORD ALL_STREAMS = static_cast<DWORD>(MF_SOURCE_READER_ALL_STREAMS);
inline constexpr DWORD FIRST_VIDEO = static_cast<DWORD>(MF_SOURCE_READER_FIRST_VIDEO_STREAM);
inline constexpr DWORD FIRST_AUDIO = static_cast<DWORD>(MF_SOURCE_READER_FIRST_AUDIO_STREAM);

// Opens a file for reading samples as they are stored.
[[nodiscard]] HRESULT openSourceReader(const wchar_t* path, ComPtr<IMFSourceReader>& reader);

// Selects one stream and no other. Indices as the reader counts.
[[nodiscard]] HRESULT selectOnlyStream(IMFSourceReader* reader, DWORD stream);

// Sets the reader's position. A time before the start means the start.
[[nodiscard]] HRESULT seekReader(IMFSourceReader* reader, Ticks time);

// The length of the source as its container says; absent when it doesn't.
[[nodiscard]] std::optional<Ticks> sourceDuration(IMFSourceReader* reader);

// The decode time that the sample carries, if it carries one.
[[nodiscard]] std::optional<Ticks> decodeTimeOf(IMFSample* sample);

[[nodiscard]] HRESULT setDecodeTime(IMFSample* sample, Ticks time);

[[nodiscard]] bool isKeyframe(IMFSample* sample);

// The sample's duration, 0 when it has none.
[[nodiscard]] Ticks durationOf(IMFSample* sample);

} // namespace velkantrix
