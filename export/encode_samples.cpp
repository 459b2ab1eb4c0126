#include "export/encode_samples.h"

#include <mfapi.h>
#include <mferror.h>

#include <algorithm>
#include <cstdint>
#include <span>

#include "export/encode_types.h"
#include "platform/hresult.h"
#include "platform/mf_util.h"

namespace velkantrix {
namespace {

using Bytes = std::span<std::uint8_t>;

// A buffer of the picture's when it knows of lines, as those in graphics memory do.
ComPtr<IMF2DBuffer> buffer2d(IMFSample* picture) {
    DWORD count = 0;
    ComPtr<IMFMediaBuffer> only;
    ComPtr<IMF2DBuffer> found;
    if (FAILED(picture->GetBufferCount(&count)) || count != 1) return {};
    if (FAILED(picture->GetBufferByIndex(0, only.put()))) return {};
    if (FAILED(only->QueryInterface(__uuidof(IMF2DBuffer), found.putVoid()))) return {};
    return found;
}

HRESULT makeBuffer(DWORD size, ComPtr<IMFMediaBuffer>& buffer) {
    RETURN_IF_FAILED(MFCreateMemoryBuffer(size, buffer.put()));
    return buffer->SetCurrentLength(size);
}

// All lines of the picture, without padding between them, in a buffer of our own.
HRESULT copyOf2d(IMF2DBuffer* from, ComPtr<IMFMediaBuffer>& copy) {
    DWORD size = 0;
    RETURN_IF_FAILED(from->GetContiguousLength(&size));
    RETURN_IF_FAILED(makeBuffer(size, copy));
    const LockedBytes to(copy.get());
    RETURN_IF_FAILED(to.result());
    return from->ContiguousCopyTo(to.bytes().data(), size);
}

HRESULT copyOfPlain(IMFSample* picture, ComPtr<IMFMediaBuffer>& copy) {
    ComPtr<IMFMediaBuffer> whole;
    RETURN_IF_FAILED(picture->ConvertToContiguousBuffer(whole.put()));
    const LockedBytes from(whole.get());
    RETURN_IF_FAILED(from.result());
    const Bytes bytes = from.bytes();
    RETURN_IF_FAILED(makeBuffer(static_cast<DWORD>(bytes.size()), copy));
    const LockedBytes to(copy.get());
    RETURN_IF_FAILED(to.result());
    std::ranges::copy(bytes, to.bytes().begin());
    return S_OK;
}

HRESULT copyPicture(IMFSample* picture, ComPtr<IMFMediaBuffer>& copy) {
    const ComPtr<IMF2DBuffer> lines = buffer2d(picture);
    return lines ? copyOf2d(lines.get(), copy) : copyOfPlain(picture, copy);
}

void render(Bytes bytes, FrameSize size, const LumaTable* exposure, Gain gain) {
    const std::size_t lumaSize = std::size_t{size.width} * size.height;
    const Bytes luma = bytes.first(lumaSize);
    if (exposure) applyTable(luma, *exposure);
    if (gain == NO_FADE) return;
    fadeLuma(luma, gain);
    fadeChroma(bytes.subspan(lumaSize), gain);
}

HRESULT changeIn(IMFMediaBuffer* copy, const PictureChange& change) {
    const std::size_t length = std::size_t{change.size.width} * change.size.height * 3 / 2;
    {
        const LockedBytes locked(copy);
        RETURN_IF_FAILED(locked.result());
        const Bytes bytes = locked.bytes();
        const auto layout = nv12Layout(bytes.size(), change.size, change.coded);
        if (!layout) return MF_E_BUFFERTOOSMALL;
        closeUp(bytes, change.size, *layout);
        render(bytes.first(length), change.size, change.exposure, change.gain);
    }
    return copy->SetCurrentLength(static_cast<DWORD>(length));
}

// How much of the sound fits into the time, which is no longer than the sound.
DWORD sizeWithin(DWORD size, Ticks duration) {
    const Ticks frames = (duration * SOUND_RATE + TICKS_PER_SECOND / 2) / TICKS_PER_SECOND;
    const Ticks most = size / SOUND_FRAME_SIZE;
    return static_cast<DWORD>(std::clamp(frames, Ticks{0}, most)) * SOUND_FRAME_SIZE;
}

HRESULT fadeIn(IMFMediaBuffer* buffer, Gain gain) {
    const LockedBytes locked(buffer);
    RETURN_IF_FAILED(locked.result());
    const Bytes bytes = locked.bytes();
    fadeSound({reinterpret_cast<std::int16_t*>(bytes.data()), bytes.size() / 2}, gain);
    return S_OK;
}

} // namespace

HRESULT pictureSize(IMFSample* picture, DWORD& size) {
    const ComPtr<IMF2DBuffer> lines = buffer2d(picture);
    return lines ? lines->GetContiguousLength(&size) : picture->GetTotalLength(&size);
}

HRESULT copyChanged(IMFSample* picture, const PictureChange& change, ComPtr<IMFSample>& changed) {
    ComPtr<IMFMediaBuffer> copy;
    RETURN_IF_FAILED(copyPicture(picture, copy));
    RETURN_IF_FAILED(changeIn(copy.get(), change));
    RETURN_IF_FAILED(MFCreateSample(changed.put()));
    RETURN_IF_FAILED(picture->CopyAllItems(changed.get()));
    return changed->AddBuffer(copy.get());
}

HRESULT takeSound(IMFSample* sound, const EncodeCut& cut, ComPtr<IMFSample>& taken) {
    ComPtr<IMFMediaBuffer> data;
    DWORD size = 0;
    RETURN_IF_FAILED(sound->ConvertToContiguousBuffer(data.put()));
    RETURN_IF_FAILED(data->GetCurrentLength(&size));
    size -= size % SOUND_FRAME_SIZE;
    if (cut.shortened) size = sizeWithin(size, cut.duration);
    if (size == 0) return S_OK;
    RETURN_IF_FAILED(data->SetCurrentLength(size));
    if (cut.gain != NO_FADE) RETURN_IF_FAILED(fadeIn(data.get(), cut.gain));
    RETURN_IF_FAILED(MFCreateSample(taken.put()));
    return taken->AddBuffer(data.get());
}

} // namespace velkantrix
