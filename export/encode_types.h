// encode_types.h: the media types of a re-encode: what the reader is asked to decode to, and what
// the writer is asked to encode to.
#pragma once

#include <windows.h>

#include <mfobjects.h>

#include "base/com_ptr.h"
#include "export/encode_rules.h"
#include "export/export_request.h"
#include "export/sound_line.h"

namespace velkantrix {

// What is decided of the pictures before the output is created.
struct PicturePlan {
    ComPtr<IMFMediaType> native; // the source's own type
    FrameSize size;
    Ratio rate;
    UINT32 bitrate = 0;
};

// From the video stream's native type. Fails when neither it nor the request tells a size, and when
// there is no video.
[[nodiscard]] HRESULT planPictures(const ExportRequest& request, ComPtr<IMFMediaType> native,
                                   PicturePlan& plan);

// Both have the picture as it is coded: a rotation is handed on, for players to apply, and not
// carried out. What the source states of its colours is handed on too; its levels become those of
// video range, also where only the coded pictures state others.
[[nodiscard]] HRESULT makeNv12Type(const PicturePlan& plan, ComPtr<IMFMediaType>& type);
[[nodiscard]] HRESULT makeH264Type(const PicturePlan& plan, ComPtr<IMFMediaType>& type);

[[nodiscard]] HRESULT makePcmType(ComPtr<IMFMediaType>& type);
[[nodiscard]] HRESULT makeAacType(ComPtr<IMFMediaType>& type);

// What a reader delivers that was asked for pictures of a size.
struct PictureDelivery {
    bool asAsked = false;
    bool usable = false; // as asked, or with lines and columns more that aren't to be seen
    FrameSize coded;     // with those; where they are usable

    bool operator==(const PictureDelivery&) const = default;
};
[[nodiscard]] PictureDelivery pictureDelivery(IMFMediaType* current, FrameSize size);

// Whether the sound that a reader delivers as `current` is what was asked for.
[[nodiscard]] bool deliversSound(IMFMediaType* current);

} // namespace velkantrix
