// mf_util.h: small services over Media Foundation's interfaces.
#pragma once

#include <windows.h>

#include <mfidl.h>
#include <mfreadwrite.h>

#include <cstdint>
#include <optional>
#include <span>

#include "base/com_ptr.h"
#include "base/ticks.h"
#include "base/track_count.h"

namespace velkantrix {

// MF_SOURCE_READER_ALL_STREAMS and its like are negative enumerators of an unsigned parameter.
inline constexpr DWORD ALL_STREAMS = static_cast<DWORD>(MF_SOURCE_READER_ALL_STREAMS);
inline constexpr DWORD FIRST_VIDEO = static_cast<DWORD>(MF_SOURCE_READER_FIRST_VIDEO_STREAM);
inline constexpr DWORD FIRST_AUDIO = static_cast<DWORD>(MF_SOURCE_READER_FIRST_AUDIO_STREAM);
inline constexpr DWORD ANY_STREAM = static_cast<DWORD>(MF_SOURCE_READER_ANY_STREAM);

// Opens a file for reading: without attributes, samples as they are stored.
[[nodiscard]] HRESULT openSourceReader(const wchar_t* path, ComPtr<IMFSourceReader>& reader,
                                       IMFAttributes* attributes = nullptr);

// Selects one stream and no other. Indices as the reader counts.
[[nodiscard]] HRESULT selectOnlyStream(IMFSourceReader* reader, DWORD stream);

// Sets the reader's position. A time before the start means the start.
[[nodiscard]] HRESULT seekReader(IMFSourceReader* reader, Ticks time);

// The length of the source as its container says; absent when it doesn't.
[[nodiscard]] std::optional<Ticks> sourceDuration(IMFSourceReader* reader);

// The streams that the source offers, up to a number that no file of use has.
[[nodiscard]] TrackCount countStreams(IMFSourceReader* reader);

// The decode time that the sample carries, if it carries one.
[[nodiscard]] std::optional<Ticks> decodeTimeOf(IMFSample* sample);

[[nodiscard]] HRESULT setDecodeTime(IMFSample* sample, Ticks time);

[[nodiscard]] bool isKeyframe(IMFSample* sample);

// The sample's duration, 0 when it has none.
[[nodiscard]] Ticks durationOf(IMFSample* sample);

// A buffer's bytes, for as long as this lives. The buffer lives longer.
class LockedBytes {
public:
    explicit LockedBytes(IMFMediaBuffer* buffer)
        : buffer_(buffer), result_(buffer->Lock(&bytes_, nullptr, &length_)) {}
    ~LockedBytes() {
        if (SUCCEEDED(result_)) buffer_->Unlock(); // nothing can be done when it fails
    }
    LockedBytes(const LockedBytes&) = delete;
    LockedBytes& operator=(const LockedBytes&) = delete;

    [[nodiscard]] HRESULT result() const { return result_; }
    // Up to the buffer's current length. None when the result says failure.
    [[nodiscard]] std::span<std::uint8_t> bytes() const {
        return SUCCEEDED(result_) ? std::span<std::uint8_t>(bytes_, length_)
                                  : std::span<std::uint8_t>();
    }

private:
    IMFMediaBuffer* const buffer_;
    BYTE* bytes_ = nullptr;
    DWORD length_ = 0;
    const HRESULT result_; // comes last: it fills the others
};

} // namespace velkantrix
