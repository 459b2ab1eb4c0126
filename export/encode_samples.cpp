#include "export/encode_samples.h"

#include <d3d11.h>
#include <mfapi.h>
#include <mferror.h>

#include <algorithm>
#include <cstdint>
#include <optional>
#include <span>

#include "export/encode_types.h"
#include "export/picture_buffer.h"
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

std::optional<D3D11_TEXTURE2D_DESC> textureOf(IMF2DBuffer* buffer) {
    ComPtr<IMFDXGIBuffer> onDevice;
    ComPtr<ID3D11Texture2D> texture;
    D3D11_TEXTURE2D_DESC description = {};
    if (FAILED(buffer->QueryInterface(__uuidof(IMFDXGIBuffer), onDevice.putVoid()))) return {};
    if (FAILED(onDevice->GetResource(__uuidof(ID3D11Texture2D), texture.putVoid()))) return {};
    texture->GetDesc(&description);
    return description;
}

// Textures have the alignment of what has made them, of 128 lines and columns with some decoders,
// whatever the media type states: only they know.
std::optional<Nv12Layout> layoutOf2d(IMF2DBuffer* buffer, DWORD bytes,
                                     const PictureChange& change) {
    const auto texture = textureOf(buffer);
    if (!texture) return nv12LayoutOfLines(bytes, change.size, change.coded);
    if (texture->Format == DXGI_FORMAT_NV12) {
        const FrameSize whole = {texture->Width, texture->Height};
        if (const auto found = nv12LayoutWithin(bytes, change.size, whole)) return found;
    }
    return nv12Layout(bytes, change.size, change.coded);
}

// That encoders in hardware take the media type's size from the top left of a larger texture is
// what they do, and not documented. What they must know is the coded size of their own pictures, of
// whole macroblocks (ISO/IEC 14496-10), which decoders of the same devices give: 1088 lines for
// 1080. An encoder in software reads the texture's bytes one behind the other, and knows of none
// but the seen lines. Textures of any other size are copied: that takes time, but can't go wrong.
bool fitsEncoder(const D3D11_TEXTURE2D_DESC& texture, FrameSize size, bool onDevice) {
    const auto isSeenOrCoded = [onDevice](UINT given, UINT seen) {
        return given == seen || (onDevice && given == (seen + 15) / 16 * 16);
    };
    return texture.Format == DXGI_FORMAT_NV12 && isSeenOrCoded(texture.Width, size.width) &&
           isSeenOrCoded(texture.Height, size.height);
}

std::size_t seenSize(FrameSize size) {
    return std::size_t{size.width} * size.height * 3 / 2;
}

// Memory for so many bytes: the pool's where they fit.
HRESULT makeBuffer(std::size_t bytes, const std::shared_ptr<PicturePool>& pool,
                   ComPtr<IMFMediaBuffer>& buffer) {
    if (bytes > pool->blockSize()) {
        return MFCreateMemoryBuffer(static_cast<DWORD>(bytes), buffer.put());
    }
    ComPtr<PictureBuffer> pooled;
    RETURN_IF_FAILED(PictureBuffer::make(pool, pooled));
    buffer = ComPtr<IMFMediaBuffer>::adopt(pooled.detach());
    return S_OK;
}

// Calls `fill` with the buffer's first bytes.
template <class Fill>
HRESULT fillBuffer(IMFMediaBuffer* buffer, std::size_t bytes, const Fill& fill) {
    RETURN_IF_FAILED(buffer->SetCurrentLength(static_cast<DWORD>(bytes)));
    const LockedBytes locked(buffer);
    RETURN_IF_FAILED(locked.result());
    return fill(locked.bytes());
}

// Lines come without the padding between them, but with those that aren't seen.
HRESULT copyOf2d(IMF2DBuffer* from, const PictureChange& change,
                 const std::shared_ptr<PicturePool>& pool, ComPtr<IMFMediaBuffer>& copy) {
    DWORD size = 0;
    RETURN_IF_FAILED(from->GetContiguousLength(&size));
    const auto layout = layoutOf2d(from, size, change);
    if (!layout) return MF_E_BUFFERTOOSMALL;
    RETURN_IF_FAILED(makeBuffer(size, pool, copy));
    return fillBuffer(copy.get(), size, [&](Bytes to) {
        RETURN_IF_FAILED(from->ContiguousCopyTo(to.data(), size));
        velkantrix::change(to, *layout, change.size, change.effect);
        return S_OK;
    });
}

HRESULT copyOfPlain(IMFSample* picture, const PictureChange& change,
                    const std::shared_ptr<PicturePool>& pool, ComPtr<IMFMediaBuffer>& copy) {
    ComPtr<IMFMediaBuffer> whole;
    RETURN_IF_FAILED(picture->ConvertToContiguousBuffer(whole.put()));
    const LockedBytes from(whole.get());
    RETURN_IF_FAILED(from.result());
    const auto layout = nv12Layout(from.bytes().size(), change.size, change.coded);
    if (!layout) return MF_E_BUFFERTOOSMALL;
    RETURN_IF_FAILED(makeBuffer(seenSize(change.size), pool, copy));
    return fillBuffer(copy.get(), seenSize(change.size), [&](Bytes to) {
        copyChanged(from.bytes(), *layout, change.size, change.effect, to);
        return S_OK;
    });
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

HRESULT lookAtPicture(IMFSample* picture, FrameSize size, bool onDevice, PictureForm& form) {
    const ComPtr<IMF2DBuffer> lines = buffer2d(picture);
    RETURN_IF_FAILED(lines ? lines->GetContiguousLength(&form.bytes)
                           : picture->GetTotalLength(&form.bytes));
    const auto texture = lines ? textureOf(lines.get()) : std::nullopt;
    const bool exact = form.bytes == seenSize(size);
    form.fits = texture ? fitsEncoder(*texture, size, onDevice) && (onDevice || exact) : exact;
    return S_OK;
}

std::shared_ptr<PicturePool> makePicturePool(FrameSize size) {
    constexpr std::size_t ALIGNMENT = 128;
    const auto aligned = [](std::size_t length) {
        return (length + ALIGNMENT - 1) / ALIGNMENT * ALIGNMENT;
    };
    return std::make_shared<PicturePool>(aligned(size.width) * aligned(size.height) * 3 / 2);
}

HRESULT copyPicture(IMFSample* picture, const PictureChange& change,
                    const std::shared_ptr<PicturePool>& pool, ComPtr<IMFSample>& changed) {
    ComPtr<IMFMediaBuffer> copy;
    const ComPtr<IMF2DBuffer> lines = buffer2d(picture);
    RETURN_IF_FAILED(lines ? copyOf2d(lines.get(), change, pool, copy)
                           : copyOfPlain(picture, change, pool, copy));
    RETURN_IF_FAILED(copy->SetCurrentLength(static_cast<DWORD>(seenSize(change.size))));
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
