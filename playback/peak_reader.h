// peak_reader.h: the reader that the peaks of a file's sound are found with. For one thread at a
// time; Media Foundation must have been started.
#pragma once

#include <mfidl.h>
#include <mfreadwrite.h>

#include "playback/peak_analysis.h"
#include "playback/peak_table.h"

namespace velkantrix {

// Asks a reader that has just been opened for its first stream of sound and no other, as PCM of 16
// bits.
[[nodiscard]] HRESULT chooseSound(IMFSourceReader* reader);

// How the sound comes; without a rate or a channel when it can't be taken as PCM of 16 bits.
[[nodiscard]] PcmFormat soundFormat(IMFSourceReader* reader);

// The next sound, added to the table where it is heard.
[[nodiscard]] PeakRead readSound(IMFSourceReader* reader, PeakFiller& filler);

} // namespace velkantrix
