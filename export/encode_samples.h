// encode_samples.h: what becomes of decoded samples between the reader and the writer.
#pragma once

#include <windows.h>

#include <mfobjects.h>

#include <memory>

#include "base/com_ptr.h"
#include "export/encode_cutter.h"
#include "export/encode_rules.h"
#include "export/picture_effects.h"
#include "export/picture_pool.h"

namespace velkantrix {

// How an NV12 picture is given.
struct PictureForm {
    DWORD bytes = 0;   // without the padding of its lines, of which there may be more than are seen
    bool fits = false; // an encoder that was told of its size may have it as it is
};
// `onDevice`: the encoder is the graphics device's own.
[[nodiscard]] HRESULT lookAtPicture(IMFSample* picture, FrameSize size, bool onDevice,
                                    PictureForm& form);

// What becomes of a picture.
struct PictureChange {
    FrameSize size;
    FrameSize coded; // with the columns and lines that aren't seen
    PictureEffect effect;
};

// Memory for changed pictures of a size, also for those with lines and columns that aren't seen.
[[nodiscard]] std::shared_ptr<PicturePool> makePicturePool(FrameSize size);

// A copy of an NV12 picture, in memory of its own, with the effect rendered: a decoder may still
// refer to the original. Fails when there are fewer bytes than the size takes. The copy has the
// original's attributes, no times, and nothing but what is seen.
[[nodiscard]] HRESULT copyPicture(IMFSample* picture, const PictureChange& change,
                                  const std::shared_ptr<PicturePool>& pool,
                                  ComPtr<IMFSample>& changed);

// A sample of the sound's data alone, faded and, where the cut has shortened it, cut off. None,
// with success, when nothing is left. The data may be the original's, whose owner has given it up.
[[nodiscard]] HRESULT takeSound(IMFSample* sound, const EncodeCut& cut, ComPtr<IMFSample>& taken);

} // namespace velkantrix
