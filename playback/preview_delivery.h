// preview_delivery.h: how a decoded frame becomes the preview that the presenter draws.
//
// All under the device lock of the picture's owner, by decoder threads.
#pragma once

#include <cstdint>
#include <vector>

#include "playback/h264_transform.h"
#include "playback/presenter.h"
#include "playback/scrub_loop.h"

namespace velkantrix {

// Copies an NV12 picture into the preview texture, which is made by the first one. Nothing happens
// to a frame that isn't fresh any more. Unusable: no picture of this kind can be shown so, because
// of its size or format, or the device has no views of planes.
[[nodiscard]] ScrubOutcome deliverTexture(Presenter& presenter, ScrubRequest& scrub,
                                          const DecodedTexture& decoded, PreviewFrame frame);

// Exchanges `waiting`, the pixels that the presenter takes over, for those of a fresh frame: BGRA,
// top row first. `waiting` is guarded by a lock of its own, which the caller holds too.
[[nodiscard]] ScrubOutcome deliverPixels(const Presenter& presenter, ScrubRequest& scrub,
                                         std::vector<std::uint8_t>& waiting,
                                         std::vector<std::uint8_t>& pixels, PictureSize size,
                                         PreviewFrame frame);

} // namespace velkantrix
