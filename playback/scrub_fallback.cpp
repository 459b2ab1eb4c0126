// scrub_fallback.cpp: runs on a scrub decoder thread. It touches its own reader, the scrub request
// and, by way of the host, the preview's pixels under the locks.
#include "playback/scrub_fallback.h"

#include <mfapi.h>
#include <mferror.h>

#include <algorithm>
#include <new>
#include <span>
#include <utility>

#include "platform/hresult.h"
#include "platform/mf_util.h"

namespace velkantrix {
namespace {

constexpr UINT32 BYTES_PER_PIXEL = 4;
constexpr HRESULT NOTHING_COMES = E_PENDING; // nor is an end or a failure told

} // namespace

HRESULT FallbackReader::openReader() {
    ComPtr<IMFAttributes> attributes;
    RETURN_IF_FAILED(MFCreateAttributes(attributes.put(), 4));
    if (host_.manager)
        RETURN_IF_FAILED(attributes->SetUnknown(MF_SOURCE_READER_D3D_MANAGER, host_.manager.get()));
    RETURN_IF_FAILED(
        attributes->SetUINT32(MF_SOURCE_READER_ENABLE_ADVANCED_VIDEO_PROCESSING, TRUE));
    RETURN_IF_FAILED(attributes->SetUINT32(MF_READWRITE_ENABLE_HARDWARE_TRANSFORMS, TRUE));
    RETURN_IF_FAILED(attributes->SetUINT32(MF_SOURCE_READER_DISABLE_DXVA, FALSE));
    RETURN_IF_FAILED(
        MFCreateSourceReaderFromURL(host_.path.c_str(), attributes.get(), reader_.put()));
    return selectOnlyStream(reader_.get(), FIRST_VIDEO);
}

HRESULT FallbackReader::setType(PictureSize size) {
    const auto width = static_cast<UINT32>(size.width);
    ComPtr<IMFMediaType> type;
    RETURN_IF_FAILED(MFCreateMediaType(type.put()));
    RETURN_IF_FAILED(type->SetGUID(MF_MT_MAJOR_TYPE, MFMediaType_Video));
    RETURN_IF_FAILED(type->SetGUID(MF_MT_SUBTYPE, MFVideoFormat_RGB32));
    RETURN_IF_FAILED(
        MFSetAttributeSize(type.get(), MF_MT_FRAME_SIZE, width, static_cast<UINT32>(size.height)));
    RETURN_IF_FAILED(type->SetUINT32(MF_MT_DEFAULT_STRIDE, width * BYTES_PER_PIXEL));
    RETURN_IF_FAILED(reader_->SetCurrentMediaType(FIRST_VIDEO, nullptr, type.get()));
    size_ = size;
    RETURN_IF_FAILED(readGrantedType());
    return granted_.size == size_ ? S_OK : MF_E_INVALIDMEDIATYPE;
}

HRESULT FallbackReader::readGrantedType() {
    ComPtr<IMFMediaType> type;
    UINT32 width = 0;
    UINT32 height = 0;
    RETURN_IF_FAILED(reader_->GetCurrentMediaType(FIRST_VIDEO, type.put()));
    RETURN_IF_FAILED(MFGetAttributeSize(type.get(), MF_MT_FRAME_SIZE, &width, &height));
    const UINT32 stride =
        MFGetAttributeUINT32(type.get(), MF_MT_DEFAULT_STRIDE, width * BYTES_PER_PIXEL);
    granted_.size = {static_cast<std::int32_t>(width), static_cast<std::int32_t>(height)};
    granted_.stride = static_cast<std::int32_t>(stride); // signed, in an unsigned attribute
    return S_OK;
}

HRESULT FallbackReader::prepare() {
    const PictureSize size = host_.videoSize();
    if (size.width <= 0 || size.height <= 0) return E_FAIL;
    if (reader_ && size == size_ && granted_.size == size) return S_OK;
    if (!reader_) RETURN_IF_FAILED(openReader());
    return setType(size);
}

HRESULT FallbackReader::seekTo(double seconds, const Stopped& stopped) {
    best_ = {};
    ahead_ = {};
    sought_.reset();
    RETURN_IF_FAILED(prepare());
    RETURN_IF_FAILED(seekToFrame(seconds, stopped));
    RETURN_IF_FAILED(read(ahead_, stopped));
    sought_ = seconds;
    return S_OK;
}

// Behind the last frame a reader is at its end at once, or fails, as a source may that can't start
// there: then that frame is looked for further and further in front. A reader that has failed isn't
// called any more; when a new one fails too, the first one's age wasn't the reason.
HRESULT FallbackReader::seekToFrame(double seconds, const Stopped& stopped) {
    double back = 0;
    bool isNew = false;
    while (true) {
        if (stopped()) return E_ABORT;
        const double position = std::max(seconds - back, 0.0);
        const HRESULT got = firstFrameFrom(position, stopped);
        if (got == E_ABORT || got == NOTHING_COMES) return got;
        if (SUCCEEDED(got) && best_.sample) return S_OK;
        if (!(position > 0) && (SUCCEEDED(got) || isNew))
            return FAILED(got) ? got : MF_E_END_OF_STREAM;
        if (FAILED(got)) {
            reader_.reset();
            RETURN_IF_FAILED(prepare());
        }
        if (SUCCEEDED(got) || isNew) back = back * 2 + 1;
        isNew = isNew || FAILED(got);
    }
}

HRESULT FallbackReader::firstFrameFrom(double seconds, const Stopped& stopped) {
    RETURN_IF_FAILED(seekReader(reader_.get(), nearestTicks(seconds)));
    return read(best_, stopped);
}

// Some reads give no sample, though there are more.
HRESULT FallbackReader::read(Frame& frame, const Stopped& stopped) {
    frame = {};
    for (int empty = 0; empty < MOST_EMPTY_READS; ++empty) {
        if (stopped()) return E_ABORT;
        DWORD flags = 0;
        LONGLONG time = 0;
        RETURN_IF_FAILED(
            reader_->ReadSample(FIRST_VIDEO, 0, nullptr, &flags, &time, frame.sample.put()));
        frame.time = time;
        if (flags & MF_SOURCE_READERF_ERROR) return E_FAIL;
        if (flags & MF_SOURCE_READERF_CURRENTMEDIATYPECHANGED) RETURN_IF_FAILED(readGrantedType());
        frame.layout = granted_;
        if (frame.sample || (flags & MF_SOURCE_READERF_ENDOFSTREAM)) return S_OK;
    }
    return NOTHING_COMES;
}

HRESULT FallbackReader::copyPixels(const Frame& frame) {
    if (frame.layout.size != size_) return MF_E_INVALIDMEDIATYPE;
    ComPtr<IMFMediaBuffer> buffer;
    RETURN_IF_FAILED(frame.sample->ConvertToContiguousBuffer(buffer.put()));
    const LockedBytes locked(buffer.get());
    RETURN_IF_FAILED(locked.result());
    try {
        return copyRows(locked.bytes(), frame.layout.stride, size_, pixels_) ? S_OK : E_FAIL;
    } catch (const std::bad_alloc&) { return E_OUTOFMEMORY; }
}

// A reader that failed may never work again, as on a device that is gone: the next request has one
// of its own. One that was given up, or has no frame at all, is as good as before.
DecodedPreview FallbackReader::missFor(HRESULT result) {
    if (result != E_ABORT && result != MF_E_END_OF_STREAM) return miss();
    sought_.reset();
    best_ = {};
    ahead_ = {};
    return {};
}

DecodedPreview FallbackReader::miss() {
    reader_.reset();
    return missFor(E_ABORT);
}

DecodedPreview FallbackReader::take(const Frame& frame, bool exact) {
    if (FAILED(copyPixels(frame))) return miss();
    return {.outcome = ScrubOutcome::Done, .seconds = secondsOf(frame.time), .exact = exact};
}

// Newer requests don't end it, or none would ever be answered while the hand moves.
DecodedPreview FallbackReader::decodeKey(double seconds) {
    const HRESULT sought = seekTo(seconds, [this] { return !host_.scrub->decodersRunning; });
    if (FAILED(sought)) return missFor(sought);
    const Ticks target = addTicks(nearestTicks(seconds), SCRUB_SLACK);
    return take(best_, !ahead_.sample || ahead_.time > target);
}

DecodedPreview FallbackReader::decodeExact(double seconds,
                                           const std::function<bool()>& superseded) {
    if (sought_ != seconds) {
        const HRESULT sought = seekTo(seconds, superseded);
        if (FAILED(sought)) return missFor(sought);
    }
    const Ticks target = addTicks(nearestTicks(seconds), SCRUB_SLACK);
    while (ahead_.sample && ahead_.time <= target) {
        if (superseded()) return {};
        best_ = std::exchange(ahead_, {});
        const HRESULT got = read(ahead_, superseded);
        if (FAILED(got)) return missFor(got);
    }
    return take(best_, true);
}

void runScrubFallback(const ScrubHost& host, std::optional<ClaimedPreview> unfinished) {
    FallbackReader reader(host);
    runScrubLoop(*host.scrub,
                 {.decodeKey = [&](double seconds) { return reader.decodeKey(seconds); },
                  .decodeExact =
                      [&](double seconds, const std::function<bool()>& superseded) {
                          return reader.decodeExact(seconds, superseded);
                      },
                  .deliver =
                      [&](const PreviewFrame& frame) {
                          return host.deliverPixels(reader.pixels(), reader.size(), frame);
                      },
                  .sleep = sleepThread},
                 unfinished);
}

} // namespace velkantrix
