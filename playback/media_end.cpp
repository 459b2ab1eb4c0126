#include "playback/media_end.h"

#include "platform/media_startup.h"
#include "playback/audio_peaks.h"
#include "playback/end_scan.h"
#include "playback/held_files.h"

namespace velkantrix {

bool endMedia() {
    const bool scansEnded = endAllScans();
    const bool peaksEnded = endAudioPeaks();
    const bool filesClosed = sourceFilesAreClosed();
    if (!scansEnded || !peaksEnded || !filesClosed) return false;
    stopMedia();
    return true;
}

} // namespace velkantrix
