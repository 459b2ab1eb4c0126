// encode_samples.h: what becomes of decoded samples between the reader and the writer.
#pragma once

#include <windows.h>

#include <mfobjects.h>

#include "base/com_ptr.h"
#include "export/encode_cutter.h"
#include "export/encode_rules.h"
#include "export/picture_effects.h"

namespace velkantrix {

// The bytes of an NV12 picture without the padding of its lines, of which there may be more than
// are seen.
[[nodiscard]] HRESULT pictureSize(IMFSample* picture, DWORD& size);

// What becomes of a picture.
struct PictureChange {
    FrameSize size;
    FrameSize coded;                     // with the columns and lines that aren't seen
    const LumaTable* exposure = nullptr; // none: it stays as bright as it is
    Gain gain = NO_FADE;
};

// A copy of an NV12 picture, in memory of its own, with the exposure and the fade rendered: a
// decoder may still refer to the original. Fails when there are fewer bytes than the size takes.
// The copy has the original's attributes, no times, and nothing but what is seen.
[[nodiscard]] HRESULT copyChanged(IMFSample* picture, const PictureChange& change,
                                  ComPtr<IMFSample>& changed);

// A sample of the sound's data alone, faded and, where the cut has shortened it, cut off. None,
// with success, when nothing is left. The data may be the original's, whose owner has given it up.
[[nodiscard]] HRESULT takeSound(IMFSample* sound, const EncodeCut& cut, ComPtr<IMFSample>& taken);

} // namespace velkantrix
