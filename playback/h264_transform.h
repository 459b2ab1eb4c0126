// h264_transform.h: the system's H.264 decoder, giving NV12 pictures in textures of the shared
// device.
//
// Used by one thread at a time, which is in a multithreaded apartment. It takes no lock: the device
// itself is protected against several threads.
#pragma once

#include <windows.h>

#include <d3d11.h>
#include <mfidl.h>
#include <mftransform.h>

#include <cstdint>

#include "base/com_ptr.h"
#include "playback/preview_rules.h"
#include "playback/scrub_samples.h"

namespace velkantrix {

// What is known of a video before anything of it is decoded.
struct CodedVideo {
    PictureSize size; // 0 where it isn't known
    FrameRate rate;
};

// A picture as it came out: with what its own output type said, for the next may have another.
struct DecodedPicture {
    ComPtr<IMFSample> sample;
    PictureSize shown;    // of what is to be seen of it
    bool atCorner = true; // that begins at the top left
};

// A picture in a texture.
struct DecodedTexture {
    ComPtr<IMFSample> sample; // nothing else is decoded into the texture before it goes
    ComPtr<ID3D11Texture2D> texture;
    UINT slice = 0; // of a texture array
    PictureSize shown;
    bool atCorner = true; // what is shown begins at the top left
};

class H264Transform {
public:
    H264Transform() = default;
    ~H264Transform();
    H264Transform(const H264Transform&) = delete;
    H264Transform& operator=(const H264Transform&) = delete;

    // Takes the system's first decoder that can be used here: hardware before software, none that
    // works by events of its own. A decoder that isn't asked to use the device, or doesn't, gives
    // pictures in memory: see textureOf.
    [[nodiscard]] HRESULT setUp(const CodedVideo& video, IMFDXGIDeviceManager* manager);

    // Forgets all that was fed and all pictures: a new stream begins.
    [[nodiscard]] HRESULT restart();

    // MF_E_NOTACCEPTING: pictures are to be taken first.
    [[nodiscard]] HRESULT feed(const ScrubSample& sample);
    // Nothing more is fed before the next restart: all pictures come out.
    [[nodiscard]] HRESULT drain();

    // The next picture. MF_E_TRANSFORM_NEED_MORE_INPUT: there is none. MF_E_SAMPLEALLOCATOR_EMPTY:
    // there is no room for it, and waiting a little didn't help. E_NOTIMPL: this decoder can't be
    // used for this stream; it wants memory from its caller, has no NV12 any more, or gives
    // pictures that the presenter would draw in wrong colours or as the lines of two moments.
    [[nodiscard]] HRESULT pull(DecodedPicture& picture);

    // Where the picture lies; fails when it isn't in a texture.
    [[nodiscard]] static HRESULT textureOf(const DecodedPicture& picture, DecodedTexture& decoded);

    // Of the pictures, as the decoder says.
    [[nodiscard]] PictureSize outputSize() const { return output_; }

private:
    [[nodiscard]] HRESULT useDevice(IMFDXGIDeviceManager* manager);
    [[nodiscard]] HRESULT setInputType(const CodedVideo& video);
    [[nodiscard]] HRESULT setOutputType();
    void takeSize(IMFMediaType* type);
    [[nodiscard]] HRESULT accept(DecodedPicture& picture, ComPtr<IMFSample> sample) const;

    ComPtr<IMFTransform> transform_;
    PictureSize coded_;  // the track's
    PictureSize output_; // of a picture as it is decoded
    PictureSize shown_;  // of what is to be seen of it
    bool atCorner_ = true;
    bool drawable_ = true; // as the presenter draws NV12
    bool streaming_ = false;
};

inline constexpr int MOST_STREAM_CHANGES = 64; // for one picture
inline constexpr int MOST_ALLOCATOR_WAITS = 50;
inline constexpr int MOST_EMPTY_OUTPUTS = 64;

} // namespace velkantrix
