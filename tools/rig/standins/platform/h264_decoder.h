// h264_decoder.h: the rig's H.264 decoder transform, on libavcodec, with pictures in textures.
#pragma once
#include "../common/com.h"
#include <mftransform.h>

namespace rig {

// As a decoder of the system's that uses the device it is given:
//  - NV12 in textures that are as large as whole macroblocks; the type says what is to be seen of
//    them (MF_MT_MINIMUM_DISPLAY_APERTURE). It does so from the first picture on, after
//    MF_E_TRANSFORM_STREAM_CHANGE.
//  - It takes no input while pictures wait, and none after a drain until a stream starts again.
//  - The samples' own times; pictures come in the order of showing.
// Without a device it gives nothing.
Com<IMFTransform> makeH264Decoder();

// A list for MFTEnumEx with that one entry.
HRESULT listH264Decoder(IMFActivate*** found, UINT32* count);

} // namespace rig
