// exposure_sampler.h: how bright a video is. Decodes a few of its pictures on the calling thread,
// which must be in a COM apartment; that takes as long as the seeks to them. Media Foundation must
// have been started.
#pragma once

#include <optional>

#include "playback/exposure_rules.h"

namespace velkantrix {

// Over pictures in eighths of the video of `duration` seconds (samplePictures). None when the file
// can't be opened or has no video that can be decoded; empty when no picture came.
[[nodiscard]] std::optional<LumaHistogram> sampleLuma(const wchar_t* path, double duration);

} // namespace velkantrix
