#include "playback/media_end.h"

#include "platform/media_startup.h"
#include "playback/audio_peaks.h"
#include "playback/end_scan.h"

namespace velkantrix {

bool endMedia() {
    const bool scansEnded = endAllScans();
    const bool peaksEnded = endAudioPeaks();
    if (!scansEnded || !peaksEnded) return false;
    stopMedia();
    return true;
}

} // namespace velkantrix
